#!/usr/bin/env bash
# The settings out to a .reg file and back in:
#   roundtrip.sh <registry_settings program> <qnlith tool> <scratch dir>
# The export is the text format of the Windows registry editor (UTF-16LE),
# so a file exported on Windows imports the same way.
set -euo pipefail
program=$1 qnlith=$2 scratch=$3
mkdir -p "$scratch"
export QNLITH_REGISTRY_DIR=$scratch/registry
key='HKEY_CURRENT_USER\Software\Qnlith50 Examples'
"$program" save
before=$("$program" show)
"$qnlith" reg export "$key" "$scratch/settings.reg"
"$program" forget
if "$program" show 2>/dev/null; then echo "the settings outlived forget"; exit 1; fi
"$qnlith" reg import "$scratch/settings.reg"
after=$("$program" show)
echo "$after"
[ "$before" = "$after" ] || { echo "after the round trip:"; echo "$after"; echo "before:"; echo "$before"; exit 1; }
echo "settings came back from $scratch/settings.reg"
