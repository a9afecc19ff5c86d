#!/bin/bash
# The init script's words to procd, and that a daemon under it is back within 1.1 s of the bus's return, however often it was
# started in vain before.
#   init_script.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1 bin=$2/bin
work=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT

fail() {
    echo "$*"
    exit 1
}

# procd's side of the script, which rc.common brings in on a router.
instances=0
declare -A parameters
procd_open_instance() { instances=$((instances + 1)); }
procd_set_param() { parameters[$1]=${*:2}; }
procd_close_instance() { :; }
. "$source/packaging/wexond.init"
start_service

[ "$USE_PROCD" = 1 ] && [[ $START =~ ^[0-9][0-9]$ ]] && [ $instances = 1 ] || fail 'it is no script of one instance for procd'
[ "${parameters[command]}" = /usr/sbin/wexond ] || fail "it starts ${parameters[command]}"
[ "${parameters[stderr]}" = 1 ] && [ "${parameters[term_timeout]}" = 1 ] || fail 'messages are lost, or a stop lasts'
read -r threshold pause tries <<<"${parameters[respawn]}"
[ "$tries" = 0 ] && [ "$threshold" -gt 0 ] || fail "it is given up after $tries tries"

# As procd does it: an end is followed by a pause and a start.
supervise() {
    trap 'kill -KILL $daemon; exit' TERM
    while true; do
        WEXOND_TEST_DIR=$work "$bin/wexond-test" 2>>"$work/errors" &
        daemon=$!
        wait $daemon || true
        sleep "$pause"
    done
}
now() { date +%s%3N; }
start_broker() {
    "$bin/ubusd" --open -s "$work/ubus.sock" &
    broker=$!
    pids=("$supervisor" $service $broker)
}

"$bin/orvcd" --socket "$work/orvc.sock" --events "$work/events.sock" --state "$work/home.json" &
service=$!
supervise &
supervisor=$!
pids=("$supervisor" $service)
sleep 1.3 # tries in vain
for round in first second; do
    start_broker
    until [ -S "$work/ubus.sock" ]; do sleep 0.01; done
    returned=$(now)
    until "$bin/ubus" -s "$work/ubus.sock" -S list wexond.ledswitch >/dev/null 2>&1; do
        [ $(($(now) - returned)) -le 1100 ] || fail "$round: not back within 1.1 s of the bus's return"
        sleep 0.02
    done
    "$bin/ubus" -s "$work/ubus.sock" -S -t 30 call wexond.ledswitch get >/dev/null || fail "$round: it does not answer"
    kill -KILL $broker
    wait $broker 2>/dev/null || true
    rm -f "$work/ubus.sock"
done
[ "$(grep -c 'Failed to connect to ubus' "$work/errors")" -ge 2 ] || fail 'it was never started in vain'
