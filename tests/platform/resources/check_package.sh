#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds an outside project
# that gives itself resources with qnlith_add_resources from the package,
# and runs it.
set -euo pipefail
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
test -f "$scratch/prefix/lib/cmake/Qnlith50/QnlithResources.cmake"
cmake -S "$source" -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
output=$("$scratch/consumer/resource_consumer")
if [ "$output" != "resources through the installed package" ]; then
  echo "consumer printed: $output"; exit 1
fi
echo "resource consumer built and ran"
