#!/bin/sh
# A small agent: sh, awk and the tool ubus, which every router has.
#   agent.sh stations               lists the stations
#   agent.sh switch NAME on|off     switches the networks of this name, whichever radio they are on
#   agent.sh passwords              tells of wrong passwords, until it is ended
set -eu

fail() {
    printf 'agent: %s\n' "$*" >&2
    exit 1
}

# call OBJECT METHOD [ARGUMENTS]: the reply; a failure stands in it, and no reply is one too.
call() {
    reply=$(ubus call "$@") || fail "$1 $2: no answer"
    case $reply in
        *'"result": "1"'*) fail "$1 $2: $(printf '%s\n' "$reply" | sed -n 's/.*"failreason": "\(.*\)"/\1/p')" ;;
    esac
    printf '%s\n' "$reply"
}

# rows KEY...: of a reply that is a list of tables, the values of these keys, a line for each table, tabs between them. The tool
# prints each key on a line of its own. Texts stay as JSON has them: \" is a quotation mark.
rows() {
    awk -v wanted="$*" '
        BEGIN { count = split(wanted, keys, " ") }
        match($0, /^\t+"[^"]+": /) {
            key = $0; gsub(/^\t+"|": .*/, "", key)
            value = substr($0, RLENGTH + 1); gsub(/^"|"?,?$/, "", value)
            values[key] = value
        }
        /^\t\t},?$/ { for (i = 1; i <= count; i++) printf "%s%s", values[keys[i]], i < count ? "\t" : "\n" }'
}

stations() {
    list=$(call wexond.laninfo list)
    printf '%s\n' "$list" | rows mac ipaddr devname | tr '\t' ' '
}

switch_network() {
    case $2 in on) enable=yes ;; off) enable=no ;; *) fail "neither on nor off: $2" ;; esac
    wanted=$(printf '%s' "$1" | sed 's/["\\]/\\&/g') tab=$(printf '\t')
    for radio in wexond.wifi.1.ap wexond.wifi.2.ap; do
        list=$(call $radio list)
        for index in $(printf '%s\n' "$list" | rows idx ssid | WANTED=$wanted awk -F "$tab" '$2 == ENVIRON["WANTED"] { print $1 }'); do
            call $radio.$index set "{\"enable\": \"$enable\"}" >/dev/null
            printf '%s\n' "$radio.$index"
            found=yes
        done
    done
    [ -n "${found-}" ] || fail "no network $1"
}

# Notifications of the daemon and news of the bus come on one pipe. When the daemon starts anew, its objects are new: what was
# subscribed to is no more.
passwords() {
    folder=$(mktemp -d)
    trap 'kill $listener $subscriber 2>/dev/null || true; rm -rf "$folder"' EXIT
    trap 'exit 0' INT TERM HUP
    mkfifo "$folder/pipe"
    ubus listen ubus.object.add >"$folder/pipe" & listener=$!
    ubus subscribe wexond.wifi >"$folder/pipe" 2>/dev/null & subscriber=$!
    while read -r line; do
        case $line in
            *ubus.object.add*'"wexond.wifi"'*)
                kill $subscriber 2>/dev/null || true
                ubus subscribe wexond.wifi >"$folder/pipe" & subscriber=$! ;;
            *passworderror*) printf '%s\n' "$line" | sed 's/.*"stamac": *"\([^"]*\)".*/wrong password: \1/' ;;
        esac
    done <"$folder/pipe"
    fail 'no bus, or none that tells of its objects'
}

case "$#-${1-}" in
    1-stations) stations ;;
    3-switch) switch_network "$2" "$3" ;;
    1-passwords) passwords ;;
    *) sed -n '3,5s/^# *//p' "$0" >&2; exit 2 ;;
esac
