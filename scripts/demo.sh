#!/usr/bin/env bash
# Builds the library and the qnlith tool, then runs the tool's demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target qnlith
build/default/tools/qnlith/qnlith demo "$@"
