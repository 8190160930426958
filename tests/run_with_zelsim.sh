#!/bin/bash
# Runs a program against the simulator at the library's fixed paths, as an
# application runs against the SDK server, and checks what it did.
#   run_with_zelsim.sh ZELSIM [OPTION...] -- PROGRAM [ARG...]
# Options (also read, one "name value" a line, from --options FILE):
#   --scenario FILE   start the simulator with this scenario
#   --ctl REQUEST     send this control request once the program's listeners
#                     are connected (repeatable, in order)
#   --signal SIG@S    send SIG (TERM, INT, ...) to the program after S seconds
#   --status N        the exit status the program must end with (default 0)
#   --expect REGEX    the program's output must match (repeatable)
#   --args WORDS      more arguments for the program (split at blanks)
#   --port            the program needs the modem port /dev/smd10: run only
#                     as root and only when nothing is at that path (skip else)
# Exit status 77 (a skip) when the fixed paths belong to another program;
# under CI that is a failure instead. The library's lock file must be gone
# when the program has ended.
set -uo pipefail
zelsim=$1
shift
scenario="" status=0 signal="" port=0
expects=() ctls=() extra=()
take() {  # name value
    case $1 in
        scenario) scenario=$2 ;;
        ctl) ctls+=("$2") ;;
        signal) signal=$2 ;;
        status) status=$2 ;;
        expect) expects+=("$2") ;;
        port) port=1 ;;
        args) read -r -a extra <<<"$2" ;;
        *) echo "run_with_zelsim: unknown option $1"; exit 2 ;;
    esac
}
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    if [ "$1" = --options ]; then
        while IFS= read -r line || [ -n "$line" ]; do
            [ -n "$line" ] && take "${line%% *}" "$([[ $line == *" "* ]] && echo "${line#* }")"
        done <"$2"
        shift 2
    elif [ "$1" = --port ]; then
        port=1
        shift
    else
        take "${1#--}" "$2"
        shift 2
    fi
done
shift
[ $# -gt 0 ] || { echo "run_with_zelsim: no program"; exit 2; }

lock=/tmp/zelto-sdk-lock
skip() {
    [ -n "${CI:-}" ] && { echo "FAIL: $1"; exit 1; }
    echo "SKIP: $1"
    exit 77
}
# A lock file nobody holds is a killed run's; a held one is another program's.
if [ -e "$lock" ]; then
    flock -n "$lock" true || skip "$lock is held: another program runs the library"
    rm -f "$lock"
fi
link=--no-modem-link
if [ "$port" = 1 ]; then
    [ "$(id -u)" = 0 ] || skip "the program needs /dev/smd10, which only root may link"
    [ -e /dev/smd10 ] || [ -L /dev/smd10 ] && skip "/dev/smd10 exists: a real modem port is never touched"
    link=--modem-link=/dev/smd10
fi

tmp=$(mktemp -d)
sim_pid=""
cleanup() {
    [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
    rm -rf "$tmp"
}
trap cleanup EXIT
fail() {
    echo "FAIL: $*"
    echo "--- program output"; cat "$tmp/out"
    echo "--- simulator log"; cat "$tmp/sim.log"
    exit 1
}

args=(-v "$link")
[ -n "$scenario" ] && args+=(--scenario "$scenario")
"$zelsim" "${args[@]}" 2>"$tmp/sim.log" &
sim_pid=$!
: >"$tmp/out"
sim_status() { "$zelsim" ctl status 2>/dev/null; }
wait_for() {  # pattern, tenths of a second
    for _ in $(seq "$2"); do
        sim_status | grep -q -- "$1" && return 0
        kill -0 "$sim_pid" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}
wait_for '^ok' 50 || skip "the simulator did not start (does a server hold the sockets?)"
if [ "$port" = 1 ]; then
    sim_status | grep -q 'link=/dev/smd10' || skip "the simulator could not link /dev/smd10"
fi

"$@" ${extra[@]+"${extra[@]}"} >"$tmp/out" 2>&1 &
pid=$!
if [ ${#ctls[@]} -gt 0 ]; then
    wait_for 'ip=1 notify=1' 100 || fail "the program's listeners never connected"
    for request in "${ctls[@]}"; do
        "$zelsim" ctl "$request" >/dev/null || fail "control request refused: $request"
    done
fi
if [ -n "$signal" ]; then
    sleep "${signal#*@}"
    kill -s "${signal%@*}" "$pid"
fi
# Nothing the program does may take a minute.
for _ in $(seq 600); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$pid" 2>/dev/null && { kill -KILL "$pid"; fail "still running after 60 s"; }
wait "$pid"
got=$?
[ "$got" = "$status" ] || fail "exit status $got, expected $status"
for re in "${expects[@]}"; do
    grep -Eq -- "$re" "$tmp/out" || fail "no output matches: $re"
done
[ -e "$lock" ] && fail "the program left $lock behind"
echo "ok: $* (exit status $got)"
