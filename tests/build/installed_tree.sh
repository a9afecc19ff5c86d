#!/bin/sh
# The places of `cmake --install`: every file of every component, its mode and, of programs and libraries, what they need.
# The router's programs ask for nothing but the bus, the messaging library and the C library, from where the system looks.
#   installed_tree.sh BUILD_FOLDER
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# needs FILE: the libraries, and with a mark a path to look for them in, of a program or a library.
needs() {
    readelf -dW "$1" 2>/dev/null |
        sed -n '/ld-[^ ]*\]/d; s/.*(NEEDED).*\[\(.*\)\]/ \1/p; s/.*(\(RPATH\|RUNPATH\)).*/ \1!/p' | LC_ALL=C sort | tr -d '\n'
}

# describe FOLDER: a line for each file.
describe() {
    (cd "$1" && find . -type f | LC_ALL=C sort | while read -r file; do
        needed=
        case $file in
        */orvcd | */labhttpd) ;; # which runs beside the router, and needs what it likes
        *) needed=$(needs "$file") ;;
        esac
        echo "$(stat -c %a "$file") ${file#./}$needed"
    done)
}

# expect COMPONENT: compares with the list on standard input.
expect() {
    DESTDIR=$work/$1 cmake --install "$build" --component "$1" --prefix /usr >"$work/log" 2>&1 || {
        cat "$work/log"
        exit 1
    }
    describe "$work/$1" | sed "s| usr/$libdir/| usr/lib/|" >"$work/$1.files"
    diff -u - "$work/$1.files"
}

libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build/CMakeCache.txt")

expect router <<END
755 etc/init.d/wexond
644 usr/lib/libdomainsocket.so libc.so.6
755 usr/sbin/wexond libc.so.6 libdomainsocket.so libubox.so libubus.so
644 usr/share/acl.d/wexond-read.json
644 usr/share/acl.d/wexond-secrets.json
644 usr/share/acl.d/wexond-write.json
644 usr/share/rpcd/acl.d/wexond.json
END
expect development <<END
644 usr/include/domainsocket.h
END
expect bus <<END
755 usr/bin/ubus libblobmsg_json.so libc.so.6 libubox.so libubus.so
644 usr/include/libubox/avl-cmp.h
644 usr/include/libubox/avl.h
644 usr/include/libubox/blob.h
644 usr/include/libubox/blobmsg.h
644 usr/include/libubox/blobmsg_json.h
644 usr/include/libubox/list.h
644 usr/include/libubox/uloop.h
644 usr/include/libubox/utils.h
644 usr/include/libubox/vlist.h
644 usr/include/libubus.h
644 usr/include/ubus_common.h
644 usr/include/ubusmsg.h
644 usr/lib/libblobmsg_json.so libc.so.6 libjson-c.so.5 libubox.so
644 usr/lib/libubox.so libc.so.6
644 usr/lib/libubus.so libc.so.6 libubox.so
755 usr/sbin/ubusd libblobmsg_json.so libc.so.6 libubox.so
END
{
    echo '755 usr/bin/labhttpd'
    echo '755 usr/bin/orvcd'
    source=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$build/CMakeCache.txt")
    (cd "$source" && ls api/*.json && cd lab/http && find page -type f) | sed 's|^|644 usr/share/wexond-lab/|'
    echo '644 usr/share/wexond-lab/wexond.json'
} | LC_ALL=C sort -k2 | expect lab

# There is nothing beside the components, and another prefix holds everything.
cat "$work"/*.files | sed 's| usr/| |' | LC_ALL=C sort >"$work/components"
cmake --install "$build" --prefix "$work/all" >/dev/null
describe "$work/all" | sed "s| $libdir/| lib/|" | LC_ALL=C sort | diff -u "$work/components" -
