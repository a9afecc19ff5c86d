#!/bin/sh
# With installed bus libraries everything outside bus/ is built, and links: the bundled ones, installed into a folder, stand
# in for them. (What is built so runs all its tests in `./check --long`.)
#   system_bus.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*"
    cat "$work/log"
    exit 1
}

cmake --install "$build" --component bus --prefix "$work/root" >/dev/null
# Said, or found.
for bus in system auto; do
    rm -rf "$work/build"
    cmake -S "$source" -B "$work/build" -G Ninja -DWEXOND_BUS=$bus -DCMAKE_PREFIX_PATH="$work/root" >"$work/log" 2>&1 ||
        fail "WEXOND_BUS=$bus is not configured"
    grep -q 'Bus libraries: bundled is FALSE' "$work/log" || fail "WEXOND_BUS=$bus does not take the installed libraries"
done
ninja -C "$work/build" -t targets all | sed 's/:.*//' >"$work/targets"
for target in wexond wexond-test orvcd wexond-bench handler_tests fault_tests lab_test; do
    grep -qx "bin/$target" "$work/targets" || fail "$target is no target"
done
! grep -q '^bus/\|ubus_bus_test\|ubox_blob_test' "$work/targets" || fail 'something of bus/ is built'
grep -q "^UBUSD_PROGRAM:FILEPATH=$work/root/sbin/ubusd" "$work/build/CMakeCache.txt" || fail 'the broker is not found'

# A program that calls both libraries and names libubus alone.
cmake --build "$work/build" --target bench-bare -- --quiet >"$work/log" 2>&1 || fail 'a program of the bus does not link'
ldd "$work/build/bin/bench-bare" | grep -q "libubus.so => $work/root" || fail 'it uses other libraries'
