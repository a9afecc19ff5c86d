#!/usr/bin/env bash
# layers.sh SOURCES: every module of the broker includes only what README.md's table of layers names before it.
set -euo pipefail
cd "$1"

declare -A place
count=0
for module in $(sed -n '/^## Layers/,$ s/^| [a-z ]*| \(`[^|]*\) |.*/\1/p' README.md | tr -d '`,'); do
    place[$module]=$((++count))
done
[ "$count" -gt 10 ] || { echo 'README.md names no modules' >&2 && exit 1; }

status=0
for file in *.cpp *.h; do
    module=${file%.*}
    [ -n "${place[$module]:-}" ] || { echo "$file is in no layer" >&2 && status=1 && continue; }
    for included in $(sed -n 's/^#include "\(.*\)\.h"/\1/p' "$file"); do
        [ "${place[$included]:-99}" -le "${place[$module]}" ] || { echo "$file includes $included.h" >&2 && status=1; }
    done
done
exit $status
