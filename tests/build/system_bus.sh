#!/bin/sh
# The daemon builds and starts against installed bus libraries, as it would on a router: the bundled ones, installed into a
# folder, stand in for them.
#   system_bus.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/root" >/dev/null
cmake -S "$source" -B "$work/build" -DWEXOND_BUS=system -DCMAKE_PREFIX_PATH="$work/root" -DWEXOND_WERROR=ON \
    -DWEXOND_LAB=OFF -DWEXOND_TESTS=OFF -DWEXOND_BENCH=OFF >"$work/log"
grep -q 'bundled is FALSE' "$work/log"
cmake --build "$work/build" --target wexond >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

# Nothing of the bundled libraries was built, and the daemon uses the installed ones.
[ ! -e "$work/build/bus" ]
LD_LIBRARY_PATH=$(dirname "$(find "$work/root" -name libubus.so)") ldd "$work/build/bin/wexond" | grep -q "$work/root.*libubus.so"

# Without a bus it says so and ends with status 0.
UBUS_SOCKET=$work/none LD_LIBRARY_PATH=$(dirname "$(find "$work/root" -name libubus.so)") "$work/build/bin/wexond" 2>"$work/log"
[ "$(cat "$work/log")" = 'Failed to connect to ubus' ]

# Where they are not installed, insisting on them fails.
if [ -e /usr/include/libubus.h ] || [ -e /usr/local/include/libubus.h ]; then
    exit 0
fi
if cmake -S "$source" -B "$work/other" -DWEXOND_BUS=system -DWEXOND_TESTS=OFF >/dev/null 2>"$work/log"; then
    echo 'WEXOND_BUS=system was configured without the libraries'
    exit 1
fi
grep -q 'libubox and libubus are not installed' "$work/log"
