#!/usr/bin/env bash
# The tests on another processor, emulated by qemu, and with another C library.
#   scripts/foreign.sh s390x|armhf|mips [CTEST OPTION...]   builds in build/PROCESSOR and runs the tests
#   scripts/foreign.sh musl [CTEST OPTION...]               builds libraries, broker and daemon with musl in build/musl, for
#                                                           armhf in build/armhf_musl, and runs what tests the daemon
#   scripts/foreign.sh s390x|armhf|mips|musl --build        only builds
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

processor=${1-}
case $processor in
s390x) compiler=s390x-linux-gnu ;;
armhf) compiler=arm-linux-gnueabihf ;;
mips) compiler=mips-linux-gnu ;;
musl) compiler= ;;
*) sed -n '2,6s/^# \{0,1\}//p' "$0" && exit 2 ;;
esac
shift
foreign=$PWD/build/$processor/foreign
root=$foreign/root
toolchain=$PWD/cmake/toolchains/$processor.cmake
mkdir -p "$root"

# run_tests [--build | CTEST OPTION...]
run_tests() {
    [ "${1-}" = --build ] || exec ctest --test-dir "build/$processor" --output-on-failure -j 16 "$@"
}

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
    apt-get -q -o APT::Architecture="$architecture" -o APT::Architectures="$architecture" -o APT::Sandbox::User= \
        -o Dir::State="$foreign/apt" -o Dir::State::status="$foreign/apt/status" -o Dir::Cache="$foreign/apt/cache" "$@"
}

architecture=$processor

# fetch PACKAGE...: unpacks them below the build folder.
fetch() {
    mkdir -p "$foreign/apt/lists/partial" "$foreign/apt/cache/archives/partial" "$foreign/packages"
    : >"$foreign/apt/status"
    foreign_apt update # a mirror may lack one of the lists for a while; what counts is the download
    (cd "$foreign/packages" && foreign_apt download "$@") &&
        for package in "$@"; do
            dpkg-deb -x "$foreign/packages/$package"_*.deb "$root" || return
        done
}

# The file that tells the compiler of musl's folders names them where they are now, and the library stands beside its archive.
fetch_musl() {
    fetch musl musl-dev &&
        sed -i "s,/usr/\(include\|lib\)/,$root&,g" "$root"/usr/lib/*-linux-musl*/musl-gcc.specs &&
        cp -f "$root"/lib/*-linux-musl*/libc.so "$root"/usr/lib/*-linux-musl*/
}

# build_with_musl FOLDER TARGET... [-- CMAKE OPTION...]
build_with_musl() {
    local folder=$1 targets=()
    shift
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        targets+=("$1")
        shift
    done
    echo "== Building build/$folder"
    logged "$folder" cmake -S . -B "build/$folder" -G Ninja --toolchain "$PWD/cmake/toolchains/$folder.cmake" \
        -DWEXOND_BUS=bundled -DWEXOND_DOMAINSOCKET=bundled -DWEXOND_JSON=off -DWEXOND_WERROR=ON "${@:2}"
    cmake --build "build/$folder" --parallel "$(nproc)" --target "${targets[@]}" -- --quiet
}

# The test programs are those of the build with this machine's C library, beside the daemons that they are to start. One test
# of CTest runs a suite. What tests the shipped daemon is left out: it differs in its paths, not by the C library.
list_musl_tests() {
    local program suite
    for program in handler_tests event_tests fault_tests; do
        ln -f build/bin/$program "build/musl/bin/$program" &&
            for suite in $("build/bin/$program" --gtest_list_tests | sed -n 's/^\([^ ]*\.\).*/\1/p'); do
                [ "$suite" = ShippedDaemonTest. ] && continue
                echo "add_test(musl.${suite%.} $PWD/build/musl/bin/$program --gtest_filter=$suite*)"
                echo "set_tests_properties(musl.${suite%.} PROPERTIES TIMEOUT 600 ENVIRONMENT WEXOND_TESTS_MUSL=1)"
            done
    done >build/musl/CTestTestfile.cmake
}

if [ "$processor" = musl ]; then
    need_packages "${build_packages[@]}" "${test_packages[@]}" "${musl_packages[@]}"
    build_with_musl musl wexond wexond-test wexond-starved ubusd
    architecture=armhf
    grep -qs "$root" "$root"/usr/lib/*/musl-gcc.specs || logged musl-armhf fetch_musl
    build_with_musl armhf_musl wexond ubusd -- -DMUSL_ROOT="$root"
    arm-linux-gnueabihf-strip -o "$foreign/wexond" build/armhf_musl/bin/wexond
    echo "The daemon for armhf, stripped: $(($(stat -c %s "$foreign/wexond") / 1024)) KiB"
    [ -f build/CMakeCache.txt ] ||
        logged tests cmake -S . -B build -G Ninja -DWEXOND_BUS=bundled -DWEXOND_DOMAINSOCKET=bundled
    cmake --build build --parallel "$(nproc)" --target handler_tests event_tests fault_tests ubus-cli -- --quiet
    ln -f build/bin/ubus build/musl/bin/ubus
    list_musl_tests
    run_tests "$@"
    exit
fi

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
options=(-DWEXOND_LAB=ON)
if [ "$processor" = mips ]; then
    options=(-DWEXOND_LAB=OFF)
elif [ ! -d "$root/usr/include/json-c" ]; then
    logged json-c fetch libjson-c5 libjson-c-dev
fi

logged configure cmake -S . -B "build/$processor" -G Ninja --toolchain "$toolchain" \
    -DCMAKE_FIND_ROOT_PATH="$root" -DWEXOND_BUS=bundled -DWEXOND_DOMAINSOCKET=bundled -DWEXOND_WERROR=ON \
    -DWEXOND_TESTS=ON -DWEXOND_BENCH=OFF "${options[@]}"
cmake --build "build/$processor" --parallel "$(nproc)" -- --quiet

run_tests "$@"
