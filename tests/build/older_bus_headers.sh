#!/bin/sh
# Every source of the daemon compiles, without a warning, with the bus libraries' headers of all years and both compilers.
#   older_bus_headers.sh SOURCE_FOLDER
set -eu
cd "$1"
. tests/build/older_headers.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

flags='-std=gnu++20 -fno-exceptions -fno-rtti -Wall -Wextra -Werror -Wno-missing-field-initializers -fsyntax-only
    -Isrc -Ilibdomainsocket/include'
for year in $header_years; do
    mkdir "$work/$year"
    cp -r bus/ubox/include/. bus/ubus/include/. "$work/$year"
    make_older_headers "$year" "$work/$year"
    for compiler in g++ 'clang++ -Wno-gnu-statement-expression'; do
        echo "$year, $compiler"
        find src -name '*.cpp' | sort | xargs -P "$(nproc)" -n 4 $compiler $flags -I"$work/$year"
    done
    # Functions that the daemon avoids would not compile.
    printf '#include "core/bus.h"\nubus_method m[1];\nubus_object_type t = UBUS_OBJECT_TYPE("", m);\n' >"$work/refused.cpp"
    if g++ $flags -I"$work/$year" "$work/refused.cpp" 2>/dev/null; then
        echo "The headers of $year are none of an older form"
        exit 1
    fi
done
