#!/usr/bin/env bash
# Hunts with the fuzzers, one after another: without sanitizers, which is fast, and with short inputs first. What they find
# of use is then minimised and replayed under AddressSanitizer with UndefinedBehaviorSanitizer.
#   scripts/fuzz.sh [MINUTES] [TARGET...]   so many minutes for each (5; also a fraction), all of fuzz/ or these
# Prints a line for each: executions, executions in a second, edges reached, inputs that failed. Those are left in
# build/fuzz/findings/TIME/TARGET, with what was said about them; the corpus, from which the next hunt goes on, in
# build/fuzz/corpus/TARGET. Fails where an input failed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

minutes=5
if [[ ${1-} =~ ^[0-9]+(\.[0-9]+)?$ ]]; then
    minutes=$1
    shift
elif [[ ${1-} = -* ]]; then
    sed -n '2,8s/^# \{0,1\}//p' "$0"
    exit 2
fi
readonly short=256     # bytes of an input, for three quarters of the time
readonly most_failed=10 # of a fuzzer, then it is given up
export ASAN_OPTIONS="quarantine_size_mb=16${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
# Large pieces of memory are kept, not given back to the kernel for each input.
export MALLOC_TRIM_THRESHOLD_=1000000000 MALLOC_MMAP_THRESHOLD_=1000000000

need_packages "${build_packages[@]}" "${test_packages[@]}"

# build_fuzzers FOLDER CMAKE_OPTION...
build_fuzzers() {
    local folder=$1
    shift
    mkdir -p "$folder"
    {
        cmake -S . -B "$folder" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DWEXOND_BUS=bundled \
            -DWEXOND_DOMAINSOCKET=bundled -DWEXOND_WERROR=ON -DWEXOND_TESTS=ON -DWEXOND_BENCH=OFF -DWEXOND_FUZZ=ON "$@" &&
            cmake --build "$folder" --target fuzzers --parallel "$(nproc)" -- --quiet
    } >"$folder/fuzzers.log" 2>&1 || {
        cat "$folder/fuzzers.log"
        return 1
    }
}

build_fuzzers build/fuzz
build_fuzzers build/address -DWEXOND_SANITIZE=address
list=build/fuzz/fuzz/fuzzers.txt
[ $# -gt 0 ] || mapfile -t all < <(cut -d' ' -f1 $list)
targets=("${@:-${all[@]}}")

milliseconds() { date +%s%3N; }

failed() { find "$findings" -type f ! -name '*.log' ! -name 'slow-unit-*' | wc -l; }

given_up() { [ "$(failed)" -ge "$most_failed" ]; }

# tried PROGRAM OPTION...: false where an input failed; then its log stays.
tried() {
    log=$findings/$((++runs)).log
    local program=$1 result=0 executed
    shift
    "$program-$target" "${options[@]}" "$@" >"$log" 2>&1 || result=1
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    executions=$((executions + ${executed:-0}))
    [ $result = 1 ] || rm "$log"
    return $result
}

# hunt LENGTH MILLISECONDS: goes on behind an input that failed.
hunt() {
    local end=$(($(milliseconds) + $2)) left
    while left=$(((end - $(milliseconds)) / 1000)) && [ "$left" -gt 0 ] && ! given_up; do
        tried build/fuzz/bin/fuzz -max_len="$1" -max_total_time="$left" "$corpus" "${seeds[@]}" || true
    done
}

# Of the inputs that reach the same, the smallest.
minimise() {
    log=$findings/minimise.log
    rm -rf "$corpus.minimal"
    mkdir "$corpus.minimal"
    build/fuzz/bin/fuzz-"$target" "${options[@]}" -merge=1 "$corpus.minimal" "$corpus" "${seeds[@]}" >"$log" 2>&1 || return 0
    edges=$(sed -n 's/.* \([0-9]*\) new coverage edges$/\1/p' "$log")
    rm -r "$corpus" "$log"
    mv "$corpus.minimal" "$corpus"
}

# An input that fails leaves the corpus, so that the next is looked at.
replay() {
    until tried build/address/bin/fuzz -runs=0 "$corpus" "${seeds[@]}" || given_up; do
        rm "$corpus/$(sed -n 's/.*Test unit written to .*-\([0-9a-f]*\)$/\1/p' "$log")" 2>/dev/null || return 0
    done
}

start=$(date +%Y%m%d-%H%M%S)
printf '%-12s %14s %12s %8s %9s\n' fuzzer executions 'in a second' edges failed
status=0
for target in "${targets[@]}"; do
    read -r _ length dictionary < <(grep "^$target " $list) || {
        echo "$target: no such fuzzer" >&2
        exit 2
    }
    corpus=build/fuzz/corpus/$target findings=build/fuzz/findings/$start/$target seeds=()
    mkdir -p "$corpus" "$findings"
    [ ! -d fuzz/seeds/"$target" ] || seeds=(fuzz/seeds/"$target")
    options=(-timeout=20 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$findings/")
    [ -z "$dictionary" ] || options+=(-dict="fuzz/$dictionary.dict")

    executions=0 runs=0 edges=0
    time=$(awk -v minutes="$minutes" 'BEGIN { printf "%d", minutes * 60000 }')
    begin=$(milliseconds)
    hunt "$short" $((time * 3 / 4))
    hunt "$length" $((time / 4))
    took=$(($(milliseconds) - begin)) hunted=$executions
    minimise
    replay
    printf '%-12s %14d %12d %8d %9d\n' "$target" "$hunted" $((hunted * 1000 / took)) "$edges" "$(failed)"
    [ "$(failed)" -eq 0 ] || status=1
    rmdir --ignore-fail-on-non-empty -p "$findings"
done
exit $status
