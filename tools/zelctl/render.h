// What zelctl prints: status-code texts, the human view of a result
// document, tables, the progress bar and spinner, and the checks of
// command-line values. Pure functions, testable without the library.
#ifndef ZELCTL_RENDER_H
#define ZELCTL_RENDER_H

#include <cstdint>
#include <string>

#include "replies.h"

namespace zelctl {

// What a library status code means.
const char *statusMeaning(int32_t status);
// "zelGetCSQ failed with status 5 (<meaning>)".
std::string failureText(const std::string &function, int32_t status);

// Human view of a result object: scalars as aligned "label  value" lines,
// arrays of objects as tables, nested objects as indented blocks.
std::string human(const Json &doc);
// Rows of objects as a table with one column per key (first-seen order).
std::string table(const Json &rows);
// "[#######-------------]  35%" (percent clamped to 0..100).
std::string progressBar(int percent, int width = 30);
// One line for an event of `watch`: "<time>  <name>  key=value ...".
std::string eventLine(const Json &event);
// One frame of the waiting spinner.
char spinnerFrame(unsigned tick);

// Checks of command-line values; each returns "" when the value is fine,
// else a sentence naming what is wrong.
std::string checkInt(const std::string &text, long lo, long hi);
std::string checkDigits(const std::string &text, size_t min, size_t max);
// A phone number: optional '+', then 3 to 20 digits.
std::string checkPhone(const std::string &text);
// An AT command line: starts with "AT", at most 1021 characters, one line.
std::string checkAtCommand(const std::string &text);
// Text for a command argument: 1 to `max` bytes and none of the characters
// in `forbidden` (those that would end or break the command).
std::string checkText(const std::string &text, size_t max, const std::string &forbidden);

}  // namespace zelctl

#endif
