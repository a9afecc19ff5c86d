#!/usr/bin/env bash
# run_folder.sh SOURCE_FOLDER: ./run does not follow a symbolic link that lies where its folder below /tmp would be, nor
# does it use a folder that others may enter.
set -euo pipefail
run=$1/run
lab=/tmp/wexond-lab-$(id -u)

[ ! -e "$lab" ] && [ ! -L "$lab" ] || { echo "skipped: a lab is there"; exit 77; }
elsewhere=$(mktemp -d)
trap 'rm -rf "$lab" "$elsewhere"' EXIT

# refused COMMAND...: it fails and says why.
refused() {
    if "$@" >"$elsewhere/said" 2>&1; then
        echo "$* was not refused" && exit 1
    fi
    grep -q "$words" "$elsewhere/said" || { cat "$elsewhere/said" && exit 1; }
}

mkdir -m 700 "$elsewhere/target"
ln -s "$elsewhere/target" "$lab"
words='no private folder' refused "$run" tour
words='no lab is running' refused "$run" ubus list
[ -z "$(ls -A "$elsewhere/target")" ] || { echo 'the link was followed'; exit 1; }
[ -L "$lab" ] || { echo 'the link is gone'; exit 1; }
rm "$lab"

mkdir -m 755 "$lab"
words='no private folder' refused "$run" tour
[ -z "$(ls -A "$lab")" ] || { echo 'a folder open to others was used'; exit 1; }
