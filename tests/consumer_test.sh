#!/bin/bash
# Installs the built library into a temporary prefix and builds an application
# against it twice, with pkg-config and with find_package, then runs both
# (under the build's emulator when cross-built). Builds the Debian packages and
# checks their fields, file lists and lintian verdict.
#   consumer_test.sh <build dir> <C compiler> <toolchain file or ""> <install libdir> [emulator...]
set -euo pipefail
build=$(cd "$1" && pwd)
cc=$2
toolchain=$3
pkglib=/usr/$4
shift 4
run=("$@")
here=$(cd "$(dirname "$0")" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

# --- install: prefix and DESTDIR ---------------------------------------------
cmake --install "$build" --prefix "$tmp/prefix" >/dev/null
DESTDIR="$tmp/dest" cmake --install "$build" --prefix /opt/zel >/dev/null
pc=$(find "$tmp/prefix" -name zelto_sdk.pc)
libdir=$(dirname "$(dirname "$pc")")
for f in include/zelto_sdk.h; do [ -f "$tmp/prefix/$f" ] || fail "$f not installed"; done
for f in libzelto_sdk.so.2.2.5 libzelto_sdk.so.2 libzelto_sdk.so cmake/zelto_sdk/zelto_sdkConfig.cmake \
         cmake/zelto_sdk/zelto_sdkConfigVersion.cmake; do
    [ -e "$libdir/$f" ] || fail "$f not installed in $libdir"
done
[ "$(readlink "$libdir/libzelto_sdk.so")" = libzelto_sdk.so.2 ] || fail "unversioned link"
[ "$(readlink "$libdir/libzelto_sdk.so.2")" = libzelto_sdk.so.2.2.5 ] || fail "soname link"
[ -f "$tmp/dest/opt/zel/include/zelto_sdk.h" ] || fail "DESTDIR and prefix not honoured"
[ -z "$(find "$tmp/prefix" -name '*test*' -o -name '*bench*' -o -name '*fuzz*' -o -name '*gtest*')" ] ||
    fail "tests, benchmarks or fuzz targets installed"

# --- an application, with pkg-config and with find_package ------------------
export PKG_CONFIG_LIBDIR="$(dirname "$pc")"
# shellcheck disable=SC2046
"$cc" "$here/consumer/consumer.c" $(pkg-config --cflags --libs zelto_sdk) -Wl,-rpath,"$libdir" -o "$tmp/app_pc"
want="zelto_sdk 2.2.5 ok"
[ "$(${run[@]+"${run[@]}"} "$tmp/app_pc")" = "$want" ] || fail "pkg-config application"

cmake_args=(-S "$here/consumer" -G Ninja -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$tmp/prefix"
            -DCMAKE_BUILD_RPATH="$libdir")
[ -n "$toolchain" ] && cmake_args+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain")
cmake "${cmake_args[@]}" -B "$tmp/app_cmake" >/dev/null
cmake --build "$tmp/app_cmake" >/dev/null
[ "$(${run[@]+"${run[@]}"} "$tmp/app_cmake/consumer")" = "$want" ] || fail "find_package application"
# 2.x serves 2.2 and 2.0; a newer minor or another major does not.
for v in 2.3 3.0; do
    if cmake "${cmake_args[@]}" -B "$tmp/app_$v" -DWANT=$v >/dev/null 2>&1; then
        fail "find_package accepted version $v"
    fi
done
echo "installed application runs: $want"

# --- the firmware update's completion time, before and after January 2038 ----
# Built with the C library's default time_t and with a 64-bit one: on 32-bit
# Arm these are two layouts of zelOTAStatus and two symbols of the library.
wire="$here/../core/wire.h"
socket="$(sed -n 's/^#define ZEL_WIRE_DIR "\(.*\)"/\1/p' "$wire")/$(sed -n 's/^#define ZEL_WIRE_SERVER_SOCKET "\(.*\)"/\1/p' "$wire")"
for bits in default 64; do
    flags=()
    [ $bits = 64 ] && flags=(-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
    # shellcheck disable=SC2046
    "$cc" "${flags[@]}" -DSERVER_SOCKET="\"$socket\"" "$here/consumer/ota_status.c" $(pkg-config --cflags --libs zelto_sdk) \
        -Wl,-rpath,"$libdir" -o "$tmp/ota_$bits"
    wide=$(printf '#include <time.h>\n_Static_assert(sizeof(time_t) == 8, "");\n' |
        "$cc" "${flags[@]}" -x c - -fsyntax-only 2>/dev/null && echo yes || echo no)
    for when in "2030-01-01 00:00:00 1893456000" "2040-01-01 00:00:00 2208988800"; do
        text=${when% *}
        seconds=${when##* }
        [ $wide = no ] && [ "$seconds" -gt 2147483647 ] && seconds=0  # past 2038 reads as 0 with a 32-bit time_t
        got=$(TZ=UTC ${run[@]+"${run[@]}"} "$tmp/ota_$bits" "$text") || fail "ota_status ($bits-bit time_t) exit $?"
        [ "$got" = "1 $seconds $text 0 intact" ] || fail "ota_status ($bits-bit time_t, $text): $got"
    done
    symbol=$(readelf --dyn-syms -W "$tmp/ota_$bits" | awk '$8 ~ /^zelOTAGetStatus/ { sub(/@.*/, "", $8); print $8 }')
    [ -n "$toolchain" ] && [ $bits = 64 ] && [ "$symbol" != zelOTAGetStatus_time64 ] && fail "64-bit time_t calls $symbol"
    echo "completion times 2030 and 2040 read with time_t $bits through $symbol"
done

# --- Debian packages ---------------------------------------------------------
(cd "$tmp" && cpack --config "$build/CPackConfig.cmake" -B "$tmp/deb" >/dev/null)
arch=amd64
[ -n "$toolchain" ] && arch=armhf
field() { dpkg-deb -f "$1" "$2"; }
files() { dpkg-deb -c "$1" | awk '{ print $6 }' | grep -v '/$' | sed 's/^\.//' | LC_ALL=C sort | tr '\n' ' '; }
sorted() { printf '%s\n' $1 | LC_ALL=C sort | tr '\n' ' '; }
expect_pkg() {  # package, file list
    local deb
    deb=$(ls "$tmp"/deb/"$1"_2.2.5_"$arch".deb 2>/dev/null) || fail "no package $1 for $arch"
    [ "$(field "$deb" Architecture)" = "$arch" ] || fail "$1 architecture"
    [ "$(field "$deb" Version)" = 2.2.5 ] || fail "$1 version"
    [ "$(files "$deb")" = "$(sorted "$2")" ] || fail "$1 files: $(files "$deb")"
    echo "$1: $(field "$deb" Depends)"
}
doc=/usr/share/doc
targets=$(cd "$libdir/cmake/zelto_sdk" && ls zelto_sdkTargets-*.cmake)  # named after the build type
expect_pkg libzelto-sdk2 "$doc/libzelto-sdk2/changelog.gz $doc/libzelto-sdk2/copyright $pkglib/libzelto_sdk.so.2 $pkglib/libzelto_sdk.so.2.2.5 "
expect_pkg libzelto-sdk-dev "/usr/include/zelto_sdk.h $pkglib/cmake/zelto_sdk/zelto_sdkConfig.cmake $pkglib/cmake/zelto_sdk/zelto_sdkConfigVersion.cmake $pkglib/cmake/zelto_sdk/$targets $pkglib/cmake/zelto_sdk/zelto_sdkTargets.cmake $pkglib/libzelto_sdk.so $pkglib/pkgconfig/zelto_sdk.pc $doc/libzelto-sdk-dev/changelog.gz $doc/libzelto-sdk-dev/copyright "
# Its symbols file lists what the shared object exports, both time_t symbols
# on 32-bit Arm.
exported=$(readelf --dyn-syms -W "$libdir/libzelto_sdk.so.2.2.5" |
    awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") && $4 != "SECTION" { sub(/@.*/, "", $8); print " " $8 "@Base 2.2.5" }' | LC_ALL=C sort)
[ "$(dpkg-deb -I "$tmp"/deb/libzelto-sdk2_*.deb symbols)" = "libzelto_sdk.so.2 libzelto-sdk2 #MINVER#
$exported" ] || fail "the symbols file is not the library's exports"
[ -z "$toolchain" ] || grep -q "zelOTAGetStatus_time64@Base" <<<"$exported" || fail "no zelOTAGetStatus_time64"
echo "libzelto-sdk2 symbols: $(grep -c @Base <<<"$exported")"
[[ "$(field "$tmp"/deb/libzelto-sdk2_*.deb Depends)" =~ ^libc6\ \(\>=\ 2\.[0-9]+\)$ ]] ||
    fail "the runtime package must depend on the C library only"
[ "$(field "$tmp"/deb/libzelto-sdk-dev_*.deb Depends)" = "libzelto-sdk2 (= 2.2.5)" ] || fail "dev depends"
tools=()
for t in zelctl zelsim zeltap; do
    [ -n "$(find "$build" -maxdepth 3 -type f -name "$t" -perm -u+x)" ] && tools+=("/usr/bin/$t" "/usr/share/man/man1/$t.1.gz")
done
if [ ${#tools[@]} -gt 0 ]; then
    expect_pkg zelto-sdk-tools "$doc/zelto-sdk-tools/changelog.gz $doc/zelto-sdk-tools/copyright $(printf '%s ' "${tools[@]}")"
fi
# The documentation, arch-independent, once `ninja docs` has built it.
docdeb=$tmp/deb/libzelto-sdk-doc_2.2.5_all.deb
if [ -f "$build/docs/html/index.html" ]; then
    [ -f "$docdeb" ] || fail "no package libzelto-sdk-doc"
    [ "$(field "$docdeb" Architecture)" = all ] || fail "libzelto-sdk-doc architecture"
    [ "$(field "$docdeb" Version)" = 2.2.5 ] || fail "libzelto-sdk-doc version"
    listed=$(files "$docdeb")
    html=$doc/libzelto-sdk-doc/html
    for f in $doc/libzelto-sdk-doc/copyright $doc/libzelto-sdk-doc/changelog.gz /usr/share/doc-base/libzelto-sdk-doc \
             $html/index.html $html/getting_started.html $html/threads.html $html/errors.html $html/logging.html \
             $html/deploying.html $html/testing.html $html/recordings.html $html/zelto__sdk_8h.html; do
        [[ " $listed " == *" $f "* ]] || fail "libzelto-sdk-doc lacks $f"
    done
    [ -z "$(echo "$listed" | tr ' ' '\n' | grep -v "^$doc/libzelto-sdk-doc/\|^/usr/share/doc-base/\|^$")" ] ||
        fail "libzelto-sdk-doc holds files outside its directories"
    echo "libzelto-sdk-doc: $(echo "$listed" | wc -w) files"
else
    [ ! -e "$docdeb" ] || fail "libzelto-sdk-doc without the HTML"
fi
if command -v lintian >/dev/null; then
    # lintian leaves its scratch files in TMPDIR: keep them in ours.
    TMPDIR="$tmp" lintian --fail-on error "$tmp"/deb/*.deb || fail "lintian"
fi
echo "packages: $(ls "$tmp/deb" | grep -c '\.deb$') for $arch"
