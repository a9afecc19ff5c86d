#!/usr/bin/env bash
# The tests on another processor, emulated by qemu.
#   scripts/foreign.sh s390x|armhf|mips [CTEST OPTION...]   builds in build/PROCESSOR and runs the tests
#   scripts/foreign.sh s390x|armhf|mips --build             only builds
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

processor=${1-}
case $processor in
s390x) compiler=s390x-linux-gnu ;;
armhf) compiler=arm-linux-gnueabihf ;;
mips) compiler=mips-linux-gnu ;;
*) sed -n '2,4s/^# \{0,1\}//p' "$0" && exit 2 ;;
esac
shift
foreign=$PWD/build/$processor/foreign
root=$foreign/root
toolchain=$PWD/cmake/toolchains/$processor.cmake
mkdir -p "$root"

# logged NAME COMMAND...: quiet, but for a failure.
logged() {
    local log=$foreign/$1.log
    shift
    "$@" >"$log" 2>&1 || {
        cat "$log"
        return 1
    }
}

# apt for the foreign processor, with a state of its own: this machine's stays as it is, and no right is needed.
foreign_apt() {
    apt-get -q -o APT::Architecture="$processor" -o APT::Architectures="$processor" -o APT::Sandbox::User= \
        -o Dir::State="$foreign/apt" -o Dir::State::status="$foreign/apt/status" -o Dir::Cache="$foreign/apt/cache" "$@"
}

fetch_json_c() {
    mkdir -p "$foreign/apt/lists/partial" "$foreign/apt/cache/archives/partial" "$foreign/packages"
    : >"$foreign/apt/status"
    foreign_apt update # a mirror may lack one of the lists for a while; what counts is the download
    (cd "$foreign/packages" && foreign_apt download libjson-c5 libjson-c-dev) &&
        for package in libjson-c5 libjson-c-dev; do
            dpkg-deb -x "$foreign/packages/$package"_*.deb "$root" || return
        done
}

build_gtest() {
    cmake -S /usr/src/googletest -B "$foreign/googletest" -G Ninja --toolchain "$toolchain" \
        -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF &&
        cmake --build "$foreign/googletest" --parallel "$(nproc)" -- --quiet &&
        cmake --install "$foreign/googletest" --prefix "$root/usr"
}

need_packages "${build_packages[@]}" "${foreign_packages[@]}" "g++-$compiler"
echo "== Building build/$processor ($compiler-g++)"
logged googletest build_gtest
# Headers only, good for every processor.
cp -r --preserve=timestamps --parents /usr/include/{nlohmann,CLI} /usr/share/cmake/{nlohmann_json,CLI11} "$root"
# Debian 12 has no libraries for this MIPS, which shows that the daemon does without json-c.
options=()
if [ "$processor" = mips ]; then
    options=(-DWEXOND_LAB=OFF)
elif [ ! -d "$root/usr/include/json-c" ]; then
    logged json-c fetch_json_c
fi

logged configure cmake -S . -B "build/$processor" -G Ninja --toolchain "$toolchain" \
    -DCMAKE_FIND_ROOT_PATH="$root" -DWEXOND_BUS=bundled -DWEXOND_WERROR=ON -DWEXOND_TESTS=ON -DWEXOND_BENCH=OFF \
    "${options[@]}"
cmake --build "build/$processor" --parallel "$(nproc)" -- --quiet

[ "${1-}" = --build ] || exec ctest --test-dir "build/$processor" --output-on-failure -j 16 "$@"
