#!/usr/bin/env bash
# Static analysis of what runs on the router: src/, libdomainsocket/ and bus/, as a release build compiles them.
#   lint.sh clang-tidy|cppcheck BUILD_FOLDER [FILE...]
# The checks asked for, and those left out, stand in .clang-tidy and scripts/cppcheck-suppressions.txt. Status 77 where the
# tool is not installed.
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$1 build=$(realpath "$2")
shift 2
command -v "$tool" >/dev/null || {
    echo "$tool is not installed"
    exit 77
}
[ -e "$build/compile_commands.json" ] || {
    echo "$build is no build folder"
    exit 1
}

# One file; silent where nothing is found.
tidy() {
    local build=$1 file=$2 output arguments=()
    case $file in
    *.h) arguments=(-- -x c -std=gnu17 -Wall -Wextra -Wno-unused-function -Ibus/ubox/include -Ibus/ubus/include) ;;
    *) arguments=(-p "$build") ;;
    esac
    if ! output=$(clang-tidy --quiet "$file" "${arguments[@]}" 2>&1); then
        printf '%s\n' "$output" | grep -v ' warnings\? generated\.$'
        return 1
    fi
}

run_clang-tidy() {
    export -f tidy
    [ $# -gt 0 ] || set -- $(git ls-files 'src/*.cpp' 'libdomainsocket/*.cpp' 'bus/*.cpp' \
        'libdomainsocket/include/*.h' 'bus/*/include/*.h')
    printf '%s\n' "$@" | xargs -P "$(nproc)" -I '{}' bash -c 'tidy "$0" "$1"' "$build" '{}'
}

# The definition stands in for the header's own, which takes a member's type through a null pointer.
run_cppcheck() {
    local filters=()
    [ $# -gt 0 ] || set -- 'src/*' 'libdomainsocket/*' 'bus/*'
    local file
    for file in "$@"; do
        filters+=("--file-filter=$PWD/$file")
    done
    cppcheck --quiet -j "$(nproc)" --project="$build/compile_commands.json" "${filters[@]}" --library=posix \
        --enable=warning,performance,portability,style --inconclusive --inline-suppr \
        --suppressions-list=scripts/cppcheck-suppressions.txt --error-exitcode=1 \
        '-Dcontainer_of(ptr, type, member)=reinterpret_cast<type *>(reinterpret_cast<char *>(ptr) - offsetof(type, member))'
}

"run_$tool" "$@"
