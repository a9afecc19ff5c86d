#!/bin/sh
# The router's programs are hardened: each loads anywhere, has no memory that is both written and executed, and finds
# overrun buffers.
#   hardening.sh FILE... [-- FILE...]
# The files after `--` make no call that could be checked against the size of its buffer.
set -u
status=0
fortified=yes

# require TEXT COMMAND...: what is missing in the file, and a way to find out.
require() {
    text=$1
    shift
    "$@" || {
        echo "$file: $text"
        status=1
    }
}

# has WHERE PATTERN
has() {
    printf '%s\n' "$1" | grep -q -- "$2"
}

has_not() {
    ! has "$1" "$2"
}

for file in "$@"; do
    if [ "$file" = -- ]; then
        fortified=no
        continue
    fi
    header=$(readelf -hlW "$file") && dynamic=$(readelf -dW "$file") && symbols=$(nm -D --undefined-only "$file") || exit 1
    require 'loads at a fixed address' has "$header" 'Type: *DYN '
    has "$header" ' INTERP ' && require 'is no position-independent program' has "$dynamic" '(FLAGS_1).* PIE'
    require 'has relocated code' has_not "$dynamic" '(TEXTREL)'
    require 'leaves what is relocated writable' has "$header" ' GNU_RELRO '
    require 'binds symbols late' has "$dynamic" '(FLAGS).* BIND_NOW'
    require 'says nothing of its stack' has "$header" ' GNU_STACK '
    require 'has an executable stack' has_not "$header" ' GNU_STACK .* RWE '
    require 'has memory that is written and executed' has_not "$header" ' LOAD .* RWE '
    require 'has no stack protector' has "$symbols" ' __stack_chk_fail\(@\|$\)'
    [ $fortified = yes ] && require 'has no checked library calls' has "$symbols" ' __[a-z]*_chk\(@\|$\)'
done
exit $status
