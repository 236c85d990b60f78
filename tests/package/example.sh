#!/usr/bin/env bash
# Builds one example against the packages unpacked by debian.sh and runs it
# headless: no display, no terminal, so message boxes go to standard error.
#   example.sh <package scratch dir> <examples folder> <example> <scratch dir>
set -euo pipefail
packages=$1 examples=$2 name=$3 scratch=$4
root=$packages/root
test -d "$root/usr" || { echo "no unpacked packages in $root"; exit 1; }
rm -rf "$scratch"
mkdir -p "$scratch"
cmake -S "$examples/$name" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null
cmake --build "$scratch/build" >"$scratch/build.log" 2>&1 || { cat "$scratch/build.log"; exit 1; }
export QNLITH_REGISTRY_DIR=$scratch/registry
headless() { setsid -w env -u DISPLAY -u WAYLAND_DISPLAY "$@" </dev/null; }
expect() {
  case "$1" in *"$2"*) ;; *) echo "expected '$2' in:"; echo "$1"; exit 1 ;; esac
}

case $name in
  worker_fault)
    out=$(headless "$scratch/build/worker_fault" 2>"$scratch/boxes.txt")
    echo "$out"; echo "-- boxes:"; cat "$scratch/boxes.txt"
    expect "$out" 'careful worker: caught "'
    expect "$out" "ended with 2"
    expect "$out" "careless worker: ended with 1"
    # One box from the worker that caught its fault, one from the library
    # for the fault that escaped.
    [ "$(grep -c "^\[Error\] worker_fault" "$scratch/boxes.txt")" = 2 ] || { echo "two boxes expected"; exit 1; }
    expect "$(cat "$scratch/boxes.txt")" "Address 0x0 could not be read!"
    ;;
  registry_settings)
    out=$(headless "$examples/registry_settings/roundtrip.sh" "$scratch/build/registry_settings" \
      "$root/usr/bin/qnlith" "$scratch/roundtrip")
    echo "$out"
    expect "$out" "Owner=Zoë Ångström 😀"
    expect "$out" 'Window\Maximized=yes'
    expect "$(iconv -f UTF-16 -t UTF-8 "$scratch/roundtrip/settings.reg")" "Windows Registry Editor Version 5.00"
    ;;
  resources)
    out=$(headless "$scratch/build/own_resources")
    echo "$out"
    expect "$out" "string 101: Hello from the string table, grüße ☺"
    expect "$out" "icon 1: 16 x 16, centre pixel #1e78c8 alpha 255, corner alpha 0"
    expect "$out" "version: Own Resources 1.2 (file 1.2.3.0)"
    expect "$out" "message 1: 3 files were read in 0.2 s."
    expect "$out" "message 2: The disk is full."
    ;;
  file_tool)
    tree=$scratch/tree
    mkdir -p "$tree/sub/deeper" "$tree/empty dir"
    printf 'first line\r\nsecond\r\n' >"$tree/a.txt"
    printf 'ünïcödé\r\n2\r\n3\r\n' >"$tree/sub/B.TXT"
    printf 'no line end' >"$tree/sub/deeper/c.txt"
    printf 'not text\r\n' >"$tree/sub/d.dat"
    out=$(headless "$scratch/build/file_tool" "$tree")
    echo "$out"
    expect "$out" "a.txt: 2 lines, first: first line"
    expect "$out" 'sub\B.TXT: 3 lines, first: ünïcödé'
    expect "$out" 'sub\deeper\c.txt: 1 lines, first: no line end'
    expect "$out" "3 text files, 6 lines"
    ;;
  *) echo "unknown example $name"; exit 2 ;;
esac
