#!/bin/bash
# Every scenario given starts the simulator (in a directory of its own, not
# at the library's fixed paths): the scenarios of the guides stay valid.
#   check_scenarios.sh ZELSIM SCENARIO...
set -uo pipefail
zelsim=$1
shift
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
for scenario in "$@"; do
    "$zelsim" --dir "$tmp" --no-modem-link --scenario "$scenario" 2>"$tmp/log" &
    pid=$!
    started=0
    for _ in $(seq 50); do
        "$zelsim" ctl --dir "$tmp" status 2>/dev/null | grep -q '^ok' && { started=1; break; }
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    kill "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    [ "$started" = 1 ] || { echo "FAIL: $scenario:"; cat "$tmp/log"; exit 1; }
    echo "ok: $(basename "$scenario")"
done
