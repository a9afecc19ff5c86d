#!/bin/sh
# The recipes of the feed put into their packages what `cmake --install` gives as the component `router`, and depend on
# what is needed there.
#   packages.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*"
    exit 1
}

# describe FOLDER...: the files of all, with their modes and contents.
describe() {
    for folder in "$@"; do
        (cd "$folder" && find . -type f -exec stat -c '%a %n' {} + -exec md5sum {} +)
    done | sort
}

# recipe TARGET [VARIABLE=VALUE...]: through a link, as a feed has it.
mkdir "$work/feed"
ln -s "$source/packaging/openwrt/wexond" "$work/feed/wexond"
recipe() {
    make --no-print-directory -C "$work/feed/wexond" TOPDIR="$source/tests/build/openwrt" DESTINATION="$work/packages" \
        PKG_INSTALL_DIR="$work/installed" PKG_BUILD_DIR="$work/prepared" "$@"
}

for component in router development; do
    DESTDIR=$work/installed cmake --install "$build" --component $component --prefix /usr >/dev/null
done
# On a router libraries are in lib, in whatever folder this machine has them.
if [ ! -d "$work/installed/usr/lib" ] || [ -z "$(find "$work/installed/usr/lib" -maxdepth 1 -name '*.so')" ]; then
    mkdir -p "$work/installed/usr/lib"
    find "$work/installed/usr" -name '*.so' -exec mv {} "$work/installed/usr/lib" ';'
    find "$work/installed/usr" -type d -empty -delete
fi
recipe install >"$work/log"

find "$work/installed" -name include -exec rm -r {} +
describe "$work/installed" >"$work/expected"
describe "$work/packages/wexond" "$work/packages/libdomainsocket" | diff -u "$work/expected" -
[ "$(ls "$work/packages" | tr '\n' ' ')" = 'libdomainsocket wexond ' ] || fail 'there are other packages'

# The version is the project's, and whatever the daemon needs, its package depends on.
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:.*=//p' "$build/CMakeCache.txt")
grep -q "^wexond $version-1 " "$work/log" && grep -q "^libdomainsocket $version-1 " "$work/log" || fail "no version $version"
depends=$(sed -n 's/^wexond .* DEPENDS//p' "$work/log" | tr -d + | tr ' ' '\n' | sort | xargs)
needs=$(readelf -dW "$work/packages/wexond/usr/sbin/wexond" | sed -n 's/.*(NEEDED).*\[\(.*\)\.so\]/\1/p' | sort | xargs)
[ "$depends" = "$needs" ] || fail "it depends on $depends and needs $needs"

# The source is this tree, without what was built in it.
recipe prepare >"$work/log"
cmp "$source/CMakeLists.txt" "$work/prepared/CMakeLists.txt"
[ ! -e "$work/prepared/build" ] && [ ! -e "$work/prepared/.git" ] || fail 'more than the source is copied'
[ -e "$work/prepared/tests/build/packages.sh" ] || fail 'not all of the source is copied'

# Of a commit the build system fetches the source itself, and with the maker's library there is one package less.
rm -r "$work/packages" "$work/prepared"
recipe prepare WEXOND_GIT=https://example.com/wexond.git WEXOND_COMMIT=0 >"$work/log"
[ ! -e "$work/prepared" ] || fail 'the tree is copied all the same'
recipe install WEXOND_DOMAINSOCKET=system >"$work/log"
[ "$(ls "$work/packages")" = wexond ] || fail 'the maker'"'"'s library gets a rival'
