#!/bin/sh
# run_fuzzer.sh PROGRAM SEEDS fresh|kept OPTION...
# Runs a fuzzer from its seeds. What it finds of use beside them goes into a folder of its own next to the program,
# which begins empty (fresh: so that every run is the same) or goes on from the last time (kept). An input that fails
# is left there under the name of its kind.
set -eu
program=$1 seeds=$2 corpus=$3
shift 3
work=$program.$corpus
[ "$corpus" = kept ] || rm -rf "$work"
mkdir -p "$work/corpus"
exec "$program" -artifact_prefix="$work/" "$@" "$work/corpus" "$seeds"
