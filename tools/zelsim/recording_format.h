// What a recording holds beyond a hand-written scenario: written by zeltap,
// read by zelsim. Header-only, so that zeltap's device build needs no YAML
// library.
#ifndef ZELSIM_RECORDING_FORMAT_H
#define ZELSIM_RECORDING_FORMAT_H

namespace zelsim {
namespace format {

// The scenario format's version; a file may say `version: 1`, none other is read.
constexpr int kVersion = 1;
// Stands in a recorded command for a secret (a PIN, a password): it matches
// any field there, up to the next comma or double quote.
constexpr char kMasked[] = "<masked>";

}  // namespace format
}  // namespace zelsim

#endif
