#!/bin/sh
# run_fuzzer.sh fresh|kept FOLDER PROGRAM SEEDS OPTION...
# Runs a fuzzer from its seeds. What it finds of use beside them goes into FOLDER/corpus, which begins empty (fresh: so
# that every run begins alike) or goes on from the last time (kept). An input that fails is left in FOLDER.
set -eu
corpus=$1 folder=$2 program=$3 seeds=$4
shift 4
[ "$corpus" = kept ] || rm -rf "$folder"
mkdir -p "$folder/corpus"
# Freed memory is held back for as long as one input takes, not a hundred thousand.
export ASAN_OPTIONS="quarantine_size_mb=16${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
exec "$program" -artifact_prefix="$folder/" "$@" "$folder/corpus" "$seeds"
