#!/bin/bash
# The docs build refuses what it must: in a scratch copy of the header and the
# guides, each fault below makes doxygen fail and name the fault.
#   docs_gate.sh <doxygen> <source dir>
set -euo pipefail
doxygen=$1
src=$(cd "$2" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# fault name | file | sed script that plants it | text the failure must show
faults=(
  "undocumented function|include/zelto_sdk.h|/^#endif \/\* ZELTO_SDK_H \*\//i int32_t zelScratchUndocumented(void);|zelScratchUndocumented"
  "undocumented parameter|include/zelto_sdk.h|s/^int32_t zelGetCSQ(zelString \*\*out);/int32_t zelGetCSQ(zelString **out, int32_t extra);/|extra"
  "broken reference|docs/index.md|\$a See @ref no_such_family.|no_such_family"
)
for fault in "${faults[@]}"; do
    IFS='|' read -r name file plant expect <<<"$fault"
    rm -rf "$tmp/tree" "$tmp/out"
    mkdir -p "$tmp/tree" "$tmp/out"
    cp -r "$src/include" "$src/docs" "$tmp/tree/"
    sed -i "$plant" "$tmp/tree/$file"
    cmp -s "$src/$file" "$tmp/tree/$file" && { echo "FAIL: $name: nothing planted"; exit 1; }
    if (cd "$tmp/tree" && ZEL_VERSION=0 ZEL_DOCS_OUT="$tmp/out" "$doxygen" docs/Doxyfile) >"$tmp/log" 2>&1; then
        echo "FAIL: $name: the docs build passed"
        exit 1
    fi
    grep -q -- "$expect" "$tmp/log" || { echo "FAIL: $name: the failure does not name it:"; cat "$tmp/log"; exit 1; }
    echo "refused: $name: $(grep -m1 -- "$expect" "$tmp/log" | sed "s|$tmp/tree/||")"
done
