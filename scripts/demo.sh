#!/bin/bash
# The library at work, with one command: installs what it needs on Debian 12,
# builds the library, the modem simulator and zelctl, starts the simulator,
# tours the command families with zelctl (a notification, an IP change and a
# firmware update with its progress bar among them) and stops the simulator,
# leaving nothing running and no socket behind.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=$root/build/demo

need=()
for pkg in cmake ninja-build g++ libcli11-dev nlohmann-json3-dev libyaml-cpp-dev libre2-dev pkgconf; do
    dpkg -s "$pkg" >/dev/null 2>&1 || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
    sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "demo: please install as root: apt-get install ${need[*]}" >&2; exit 1; }
        sudo=(sudo)
    fi
    echo "== installing: ${need[*]}"
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${need[@]}" >/dev/null
fi

echo "== building the library, zelsim and zelctl in build/demo"
cmake -S "$root" -B "$build" -G Ninja -Wno-dev -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEL_TESTS=OFF >/dev/null
ninja -C "$build" -j "$(nproc)" zelsim zelctl >/dev/null
export PATH="$build/tools/zelctl:$build/tools/zelsim:$PATH"

sockets=(/tmp/zelto_unix_socket /tmp/ip_change_notify.sock /tmp/sdk_server_notification.sock /tmp/zelsim_control.sock)
if [ -e /tmp/zelto-sdk-lock ]; then
    echo "demo: another program is using the library (/tmp/zelto-sdk-lock exists); stop it first" >&2
    exit 1
fi

start=$SECONDS
log=$(mktemp /tmp/zelto_demo.XXXXXX)
watch_err=$(mktemp /tmp/zelto_demo_watch.XXXXXX)
sim_pid=
watch_pid=
stop() {
    [ -n "$watch_pid" ] && kill "$watch_pid" 2>/dev/null && wait "$watch_pid" 2>/dev/null
    if [ -n "$sim_pid" ]; then
        kill -TERM "$sim_pid" 2>/dev/null || true
        wait "$sim_pid" 2>/dev/null || true
    fi
    rm -f "$log" "$watch_err"
}
trap stop EXIT

# Waits up to $1 seconds for the command after it to succeed.
wait_for() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.1
    done
}

step() { printf '\n== %s\n' "$*"; }
# Shows the command as typed (arguments with blanks in quotes), then runs it.
run() {
    local shown=() arg
    for arg in "$@"; do [[ $arg == *" "* ]] && shown+=("\"$arg\"") || shown+=("$arg"); done
    printf '$ %s\n' "${shown[*]}"
    "$@" || printf '(exit status %d)\n' "$?"
}

step "starting the simulator: zelsim --scenario tools/zelctl/demo.yaml"
zelsim --scenario "$root/tools/zelctl/demo.yaml" >"$log" 2>&1 &
sim_pid=$!
if ! wait_for 10 zelsim ctl status; then
    echo "demo: the simulator did not start:" >&2
    cat "$log" >&2
    exit 1
fi
status=$(zelsim ctl status)
# Only a link that the simulator made itself may be used: never a real port.
if [[ $status == *"link=/dev/smd10"* ]]; then
    port=yes
    echo "modem port: /dev/smd10 -> $(readlink /dev/smd10) (the simulator's pseudo-terminal)"
else
    port=no
    if [ -e /dev/smd10 ]; then
        echo "modem port: /dev/smd10 exists and is not the simulator's; the demo leaves it alone"
    else
        echo "modem port: /dev/smd10 cannot be provided without root; sending a message is skipped"
    fi
fi

step "identity and clock"
run zelctl info
step "signal quality"
run zelctl signal
step "registration"
run zelctl reg
step "operator scan (the simulator takes a few seconds)"
run zelctl scan
step "packet data: define a context, activate it (the IP change event arrives), list"
run zelctl pdp define 2 demo.apn
run zelctl pdp activate 2 --wait-ip 5
run zelctl pdp list
step "neighbour cells and modem information"
run zelctl cells
step "SIM"
run zelctl sim status
step "messages"
if [ "$port" = yes ]; then
    run zelctl sms send +15550123 "Hello from zelctl"
else
    echo "(skipped: zelctl sms send needs /dev/smd10, which only the simulator run as root provides)"
fi
run zelctl sms list
run zelctl sms read 1
run zelctl sms delete 1

step "notifications: zelctl watch while a message arrives and the SIM state changes"
printf '$ zelctl watch --count 2 --timeout 20\n'
zelctl watch --count 2 --timeout 20 2>"$watch_err" &
watch_pid=$!
wait_for 10 grep -q Watching "$watch_err" || { cat "$watch_err" >&2; exit 1; }
zelsim ctl '{sms: {from: "+15550199", text: "Your code is 4711"}}' >/dev/null
zelsim ctl '{notify: {type: sim_status, value: 1}}' >/dev/null
wait "$watch_pid" || printf '(exit status %d)\n' "$?"
watch_pid=
run zelctl --json sms list --status unread

step "GNSS"
run zelctl gnss on
run zelctl gnss position --wait 15
run zelctl gnss off

step "firmware update: check, download, install with its progress bar, activate, apply"
run zelctl ota check http://updates.example.com/zm200
run zelctl ota download http://updates.example.com/zm200
run zelctl ota install
run zelctl ota activate
run zelctl ota apply
# The module restarts to run the update: its server goes away and comes back.
wait_for 5 test ! -e /tmp/zelto_unix_socket && wait_for 15 test -S /tmp/zelto_unix_socket
run zelctl ota status

step "any AT command, and JSON for scripts"
run zelctl at ATI
run zelctl --json signal

step "a fault: the simulator answers the next signal query with +CME ERROR: 100"
zelsim ctl "{on: 'AT\\+CSQ', cme_error: 100, count: 1}" >/dev/null
run zelctl signal

step "stopping the simulator"
kill -TERM "$sim_pid"
wait "$sim_pid" 2>/dev/null || true
sim_pid=
left=()
for path in "${sockets[@]}" /tmp/zelto-sdk-lock; do [ -e "$path" ] && left+=("$path"); done
if [ "$port" = yes ] && [ -L /dev/smd10 ]; then left+=(/dev/smd10); fi
if [ ${#left[@]} -gt 0 ]; then
    echo "demo: left behind: ${left[*]}" >&2
    exit 1
fi
echo "simulator stopped; no process, socket, lock file or modem link left behind"
echo "the tour took $((SECONDS - start)) s after the build"
