#!/bin/sh
# The daemon builds with what a router's SDK says, and nothing else: a toolchain file, a staging folder with bus libraries
# (their headers of the oldest form) and with the router maker's libdomainsocket, flags of its own.
#   sdk.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
. "$source/tests/build/older_headers.sh"

fail() {
    echo "$*"
    [ ! -e "$work/log" ] || tail -n 20 "$work/log"
    exit 1
}

# The SDK. The installed bundled libraries stand in for the router's, an installed libdomainsocket for the maker's.
for component in bus router development; do
    cmake --install "$build" --component $component --prefix "$work/staging/usr" >/dev/null
done
rm -r "$work/staging/usr/etc" "$work/staging/usr/sbin/wexond"
libraries=$(dirname "$(find "$work/staging" -name libubus.so)")
make_older_headers 2017 "$work/staging/usr/include"
edit "$work/staging/usr/include/domainsocket.h" '/^enum {/,/^};/d; /^#define SOCKET_/d' # the maker's has functions alone
mkdir "$work/empty"
cat >"$work/sdk.cmake" <<END
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR $(uname -m))
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_FIND_ROOT_PATH \$ENV{STAGING})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
END
flags='-Os -pipe -Wformat -fstack-protector -D_FORTIFY_SOURCE=1'

# configure FOLDER STAGING [OPTION...]
configure() {
    folder=$1
    STAGING=$2
    export STAGING
    shift 2
    cmake -S "$source" -B "$work/$folder" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/sdk.cmake" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS_RELEASE=-DNDEBUG \
        -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG -DCMAKE_EXE_LINKER_FLAGS=-Wl,-z,now -DCMAKE_SHARED_LINKER_FLAGS=-Wl,-z,now \
        -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_RPATH=TRUE "$@" >"$work/log" 2>&1
}

# refused TEXT FOLDER STAGING [OPTION...]: a configuration that ends with that text.
refused() {
    text=$1
    shift
    ! configure "$@" || fail "this is configured: $*"
    tr -s ' \n' ' ' <"$work/log" | grep -q -- "$text" || fail "no word of: $text"
}

# Missing parts are not taken for granted, and a compiler that is too old is told so.
refused 'libubox and libubus are not installed' without "$work/empty" -DWEXOND_BUS=system
refused 'libdomainsocket is not installed' without "$work/empty" -DWEXOND_BUS=bundled -DWEXOND_DOMAINSOCKET=system
cat >"$work/old-g++" <<'END'
#!/bin/sh
exec g++ -U__GNUC__ -D__GNUC__=10 "$@"
END
chmod +x "$work/old-g++"
sed -i "s|(CMAKE_CXX_COMPILER g++)|(CMAKE_CXX_COMPILER $work/old-g++)|" "$work/sdk.cmake"
refused 'needs GCC 11 or Clang 13 at least; .*/old-g++ is release 10\.' old "$work/staging"
sed -i 's|(CMAKE_CXX_COMPILER .*|(CMAKE_CXX_COMPILER g++)|' "$work/sdk.cmake"

configure build "$work/staging" || fail 'the line of an SDK is not configured'
grep -q 'Bus libraries: bundled is FALSE' "$work/log" || fail 'the bus libraries of the SDK are not taken'
grep -q 'Messaging library: bundled is FALSE' "$work/log" || fail 'the libdomainsocket of the SDK is not taken'

# Lab, tests and what is installed already stay out, and the SDK's flags hold.
commands=$work/commands
ninja -C "$work/build" -t commands | grep -- ' -c ' >"$commands"
! grep -v -- " -c $source/src/[^ ]*\$" "$commands" || fail 'more than the daemon would be built'
! grep -v -- "-Os -pipe -Wformat -fstack-protector -D_FORTIFY_SOURCE=1 -DNDEBUG" "$commands" ||
    fail 'flags of the SDK are missing'
! grep -- '-O[0-3gz]\|-g1\|-fstack-protector-strong\|_FORTIFY_SOURCE=2\|-U_FORTIFY' "$commands" ||
    fail 'flags of the SDK are overruled'

cmake --build "$work/build" --parallel "$(nproc)" -- --quiet >"$work/log" 2>&1 || fail 'the daemon does not build'
! grep -i 'warning:' "$work/log" || fail 'the daemon builds with warnings'
DESTDIR=$work/image cmake --install "$work/build" >/dev/null
lists='./usr/share/acl.d/wexond-read.json ./usr/share/acl.d/wexond-secrets.json ./usr/share/acl.d/wexond-write.json'
[ "$(cd "$work/image" && find . -type f | sort | xargs)" = \
    "./etc/init.d/wexond ./usr/sbin/wexond $lists ./usr/share/rpcd/acl.d/wexond.json" ] ||
    fail "$(find "$work/image" -type f) is what is installed"

# It runs with those libraries: without a bus it says so and ends with status 0.
LD_LIBRARY_PATH=$libraries
export LD_LIBRARY_PATH
for library in ubus ubox domainsocket; do
    ldd "$work/image/usr/sbin/wexond" | grep -q "lib$library.so => $libraries/" || fail "$library is another one"
done
UBUS_SOCKET=$work/none "$work/image/usr/sbin/wexond" 2>"$work/log"
[ "$(cat "$work/log")" = 'Failed to connect to ubus' ] || fail 'the daemon does not run'
