#!/bin/sh
# Checks the shared object as it ships: SONAME major 2, no libstdc++ at run
# time, and exported names exactly within the export list.
#   check_library.sh <libzelto_sdk.so> <exports.txt> [sanitized]
# A sanitized build links the sanitizer runtime, which brings libstdc++.
set -eu
lib=$1
list=$2
sanitized=${3:-}
fail=0

soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = "libzelto_sdk.so.2" ] || { echo "SONAME is '$soname'"; fail=1; }

if [ -z "$sanitized" ] && readelf -d "$lib" | grep -q 'NEEDED.*libstdc++'; then
    echo "the library needs libstdc++"; fail=1
fi

exported=$(readelf --dyn-syms -W "$lib" |
    awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") && $4 != "SECTION" && $4 != "FILE" { sub(/@.*/, "", $8); print $8 }' |
    sort -u)
extra=$(printf '%s\n' "$exported" | LC_ALL=C sort | LC_ALL=C comm -23 - "$list")
missing=$(printf '%s\n' "$exported" | LC_ALL=C sort | LC_ALL=C comm -13 - "$list")
if [ -n "$extra" ]; then
    echo "exported but not in the export list:"; echo "$extra"; fail=1
fi
echo "exported: $(printf '%s\n' "$exported" | grep -c .) of $(grep -c . "$list") listed names"
if [ -n "$missing" ]; then
    echo "listed, not yet defined: $(printf '%s\n' "$missing" | grep -c .)"
fi
[ $fail -eq 0 ] && echo "1 passed, 0 failed" || echo "0 passed, 1 failed"
exit $fail
