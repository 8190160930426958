#!/bin/bash
# Decodes the PDUs the library builds with node-pdu (installed into NODE_DIR
# on first use) and checks number, alphabet and text.
#   check_sms_pdus.sh NODE_DIR [EMULATOR...] PRINTER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir=$1
shift
bash "$here/../scripts/node_pdu.sh" "$dir"
"$@" | NODE_PATH="$(cd "$dir" && pwd)/node_modules" node "$here/decode_sms_pdus.js"
