#!/bin/bash
# Builds the library and runs every test: natively, under AddressSanitizer
# with UndefinedBehaviorSanitizer, under ThreadSanitizer, and cross-built for
# 32-bit Arm under qemu-user (each including an install, an application built
# against the installed library, and the Debian packages); then runs each fuzz
# target for a short while.
# Installs what it needs on Debian 12 (and node-pdu from npm into build/node).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc)

need=()
for pkg in cmake ninja-build g++ googletest g++-arm-linux-gnueabihf qemu-user binutils clang-14 libclang-rt-14-dev pkgconf lintian \
    libyaml-cpp-dev libcli11-dev nlohmann-json3-dev libre2-dev doxygen; do
    dpkg -s "$pkg" >/dev/null 2>&1 || need+=("$pkg")
done
# node and npm for the SMS PDU cross-check (any install of them will do).
command -v node >/dev/null && command -v npm >/dev/null || need+=(nodejs npm)
if [ ${#need[@]} -gt 0 ]; then
    echo "== installing: ${need[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${need[@]}" >/dev/null
fi

# ThreadSanitizer cannot map its shadow memory with the widest address-space
# randomisation some kernels use; run its tests without randomisation there.
tsan_run=()
if [ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 28)" -gt 28 ]; then
    tsan_run=(setarch "$(uname -m)" -R)
fi

run_suite() {  # name, build dir, cmake args...
    local name=$1 dir=$2
    shift 2
    echo "== $name: configure and build"
    cmake -S "$root" -B "$dir" -G Ninja -Wno-dev -DZEL_NODE_DIR="$root/build/node" "$@" >/dev/null
    ninja -C "$dir" -j "$jobs" >/dev/null
    # Targets outside `all` that this suite checks too (the docs fail on any warning).
    [ -z "${EXTRA_TARGETS:-}" ] || ninja -C "$dir" -j "$jobs" $EXTRA_TARGETS
    echo "== $name: test"
    (cd "$dir" && ${RUN_PREFIX:-} ctest --output-on-failure -j "$jobs")
}

# node-pdu from the npm registry decodes the library's SMS PDUs in every suite.
echo "== node-pdu: install into build/node"
scripts/node_pdu.sh "$root/build/node"

EXTRA_TARGETS=docs run_suite native build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr
run_suite asan-ubsan build/asan -DCMAKE_BUILD_TYPE=Debug -DZEL_SANITIZE=address,undefined
# The shared object as the device package ships it (stripped) must fit 64 KiB.
device_size() {
    local so stripped size
    so=$(find build/armhf -maxdepth 1 -name 'libzelto_sdk.so.*.*.*' | head -1)
    stripped=$(mktemp)
    arm-linux-gnueabihf-strip --strip-unneeded -o "$stripped" "$so"
    size=$(stat -c %s "$stripped")
    rm -f "$stripped"
    echo "== armhf: $(basename "$so") stripped is $size bytes ($((size * 100 / 65536))% of 64 KiB)"
    [ "$size" -le 65536 ] || { echo "== armhf: the shared object grew past 64 KiB"; return 1; }
}

RUN_PREFIX="${tsan_run[*]}" run_suite tsan build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEL_SANITIZE=thread
run_suite armhf-qemu build/armhf -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" \
    -DCMAKE_INSTALL_PREFIX=/usr
device_size
echo "== fuzz: build"
cmake -S "$root" -B build/fuzz -G Ninja -Wno-dev -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEL_SANITIZE=address,undefined -DZEL_FUZZ=ON -DZEL_TESTS=OFF >/dev/null
ninja -C build/fuzz -j "$jobs" >/dev/null
for target in build/fuzz/fuzz_*; do
    echo "== fuzz: $(basename "$target") for ${FUZZ_SECONDS:-20} s"
    "$target" -max_total_time="${FUZZ_SECONDS:-20}" -rss_limit_mb=1024 2>&1 | tail -1
done
echo "== all suites passed"
