#!/bin/bash
# Installs node-pdu, an SMS PDU decoder from the npm registry, into
# DIR/node_modules for the PDU cross-check; nothing when it is there already.
# Fails loudly when node, npm or the registry cannot be had.
#   node_pdu.sh DIR
set -euo pipefail
version=2.1.1
mkdir -p "$1"
dir=$(cd "$1" && pwd)
have=$(node -p "require('$dir/node_modules/node-pdu/package.json').version" 2>/dev/null || true)
[ "$have" = "$version" ] && exit 0
for tool in node npm; do
    command -v "$tool" >/dev/null || { echo "node_pdu.sh: $tool is missing (apt-get install nodejs npm)" >&2; exit 1; }
done
if ! npm install --prefix "$dir" --no-save --no-package-lock --no-audit --no-fund --loglevel=error \
    "node-pdu@$version" >&2; then
    echo "node_pdu.sh: FAILED to install node-pdu@$version from the npm registry into $dir" >&2
    exit 1
fi
