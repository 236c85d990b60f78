#!/usr/bin/env bash
# Builds the project twice, warnings as errors (a normal build, and one with
# AddressSanitizer and UndefinedBehaviorSanitizer under clang 14, which so
# also keeps the code warning-free with clang), and runs the whole test
# suite in each. QNLITH_TEST_PRESETS narrows the list, e.g. "ci".
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
for preset in ${QNLITH_TEST_PRESETS:-ci sanitize}; do
  echo "== build and test: $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
case " ${QNLITH_TEST_PRESETS:-ci sanitize} " in *" ci "*) echo "== API reference"; cmake --build --preset ci --target docs;; esac
