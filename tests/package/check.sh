#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs an outside
# project that finds the library with find_package alone.
set -euo pipefail
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
cmake -S "$source/consumer" -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
output=$("$scratch/consumer/consumer")
expected="installed 50: cString :: asUint() - '5x' is an Invalid number at index 1"
if [ "$output" != "$expected" ]; then
  echo "consumer printed: $output"; echo "expected:         $expected"; exit 1
fi
test -f "$scratch/prefix/lib/pkgconfig/qnlith50.pc"
for lib in libQnlith50.so.5 libqnframework.so.5 libqnplatform.so.5; do
  test -e "$scratch/prefix/lib/$lib" || { echo "missing $lib"; exit 1; }
done
echo "package consumer built and ran"
