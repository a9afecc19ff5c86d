#!/usr/bin/env bash
# two_hundred_labs.sh RUN: two hundred labs that are all up at once, each of which answers, and of which nothing is left.
set -euo pipefail
run=$1
count=200
meeting=$(mktemp -d /tmp/wexond-labs.XXXXXX)
export WEXOND_LABS=$meeting.labs
trap 'rm -rf "$meeting"' EXIT

# Each says that it is up, waits until all are, and calls a method then.
for ((i = 1; i <= count; i++)); do
    "$run" --life 0 -- bash -c '
        echo "$UBUS_SOCKET" >"$0/$1"
        for ((tries = 0; tries < 3000; tries++)); do
            [ ! -e "$0/all" ] || break
            sleep 0.1
        done
        [ -e "$0/all" ] && ubus -t 60 -S call wexond.ledswitch get >/dev/null' "$meeting" "$i" &
    pids[i]=$!
done
up=0
for ((tries = 0; tries < 3000 && up < count; tries++)); do
    sleep 0.1
    names=("$meeting"/*)
    up=${#names[@]}
done
echo "$up labs were up at once after $SECONDS s"
touch "$meeting/all"

failed=0
for pid in "${pids[@]}"; do
    wait "$pid" || failed=$((failed + 1))
done
left=0
for ((i = 1; i <= count; i++)); do
    [ ! -e "$meeting/$i" ] || [ ! -e "$(dirname "$(cat "$meeting/$i")")" ] || left=$((left + 1))
done
echo "$failed failed, $left left something; $SECONDS s in all"
[ "$up" -eq "$count" ] && [ "$failed" -eq 0 ] && [ "$left" -eq 0 ]
