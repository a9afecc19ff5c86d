#!/usr/bin/env bash
# Whether the tests notice: changes one thing at a time in what runs on the router and in the broker, at random, and runs what
# could notice.
#   mutate.sh N SEED [--minutes M] [--without REGEX] [--keep-survivors] [FILE...]
# N changes in FILE..., otherwise in src/, libdomainsocket/ and bus/ubusd/; the tests that REGEX finds are not asked.
# The same SEED takes the same changes. It works in a copy of the tree, build/mutate/tree, and keeps its verdicts beside it: what
# was ended, by a signal or after M minutes, goes on where it was; after a change of tests/ only the survivors are tried again.
# Tests use fixed paths: run none beside it. Status 1 where the unchanged tree does not pass.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 2 ] || {
    sed -n '2,8s/^# \{0,1\}//p' "$0"
    exit 2
}
. scripts/packages.sh
need_packages "${build_packages[@]}" "${test_packages[@]}"
exec /usr/bin/python3 scripts/mutate.py "$@"
