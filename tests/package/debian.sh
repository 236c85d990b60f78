#!/usr/bin/env bash
# Builds the Debian packages of the build with CPack, checks them with
# lintian and dpkg-deb, unpacks them into a scratch root and builds and
# runs an outside project against that root alone (its CMake package, then
# its pkg-config file). The root is left for the examples' tests.
#   debian.sh <build dir> <this folder> <scratch dir>
set -euo pipefail
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
root=$scratch/root

(cd "$build" && cpack -G DEB -B "$scratch/packages" >"$scratch/cpack.log" 2>&1) ||
  { cat "$scratch/cpack.log"; exit 1; }
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")-1
runtime="$scratch/packages/libqnlith50-5_${version}_amd64.deb"
dev="$scratch/packages/libqnlith50-dev_${version}_amd64.deb"
tool="$scratch/packages/qnlith_${version}_amd64.deb"
for deb in "$runtime" "$dev" "$tool"; do
  test -f "$deb" || { echo "missing package $deb"; ls "$scratch/packages"; exit 1; }
done

# What each package holds and needs: the dependencies come from
# dpkg-shlibdeps, the -dev package's from the build's own list.
field() { dpkg-deb -f "$1" "$2"; }
expect() {
  case "$2" in *"$3"*) ;; *) echo "$1: '$3' expected in: $2"; exit 1 ;; esac
}
expect runtime "$(field "$runtime" Depends)" "libc6"
expect runtime "$(field "$runtime" Depends)" "libpng16-16"
expect runtime "$(field "$runtime" Depends)" "libstdc++6"
expect dev "$(field "$dev" Depends)" "libqnlith50-5 (= $version)"
expect dev "$(field "$dev" Depends)" "binutils-mingw-w64-x86-64"
expect tool "$(field "$tool" Depends)" "libqnlith50-5 (>= "
contents() { dpkg-deb -c "$1" | awk '{print $6}'; }
for f in ./usr/lib/libQnlith50.so.5 ./usr/lib/libqnframework.so.5 ./usr/lib/libqnplatform.so.5 ./usr/share/doc/libqnlith50-5/copyright; do
  expect runtime "$(contents "$runtime")" "$f"
done
for f in ./usr/include/qnlith/qnlith.h ./usr/lib/cmake/Qnlith50/Qnlith50Config.cmake ./usr/lib/cmake/Qnlith50/QnlithResources.cmake ./usr/lib/pkgconfig/qnlith50.pc ./usr/lib/libQnlith50.so; do
  expect dev "$(contents "$dev")" "$f"
done
for f in ./usr/bin/qnlith ./usr/share/man/man1/qnlith.1.gz; do
  expect tool "$(contents "$tool")" "$f"
done
# The SONAME is what the runtime package is named after.
mkdir -p "$scratch/runtime"
dpkg-deb -x "$runtime" "$scratch/runtime"
expect runtime "$(objdump -p "$scratch/runtime/usr/lib/libQnlith50.so.5" | grep SONAME)" "libQnlith50.so.5"

if command -v lintian >/dev/null; then
  lintian --fail-on error "$runtime" "$dev" "$tool" | tee "$scratch/lintian.log"
else
  echo "lintian is not installed (scripts/setup.sh installs it); the packages were not checked"
fi

for deb in "$runtime" "$dev" "$tool"; do dpkg-deb -x "$deb" "$root"; done

# An outside project that sees only the root: its CMake package...
cmake -S "$source/consumer" -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF >/dev/null
found=$(sed -n 's/^Qnlith50_DIR:PATH=//p' "$scratch/consumer/CMakeCache.txt")
expect consumer "$found" "$root/usr/lib/cmake/Qnlith50"
cmake --build "$scratch/consumer" >/dev/null
expect consumer "$(ldd "$scratch/consumer/consumer" | grep libQnlith50)" "$root/usr/lib/libQnlith50.so.5"
expected="installed 50: cString :: asUint() - '5x' is an Invalid number at index 1"
output=$("$scratch/consumer/consumer")
[ "$output" = "$expected" ] || { echo "consumer printed: $output"; echo "expected:         $expected"; exit 1; }

# ... and its pkg-config file, which finds the root from where it lies.
export PKG_CONFIG_PATH=$root/usr/lib/pkgconfig PKG_CONFIG_LIBDIR=$root/usr/lib/pkgconfig
# shellcheck disable=SC2046
g++ -std=c++20 -o "$scratch/consumer-pc" "$source/consumer/main.cpp" $(pkg-config --cflags --libs qnlith50) \
  -Wl,-rpath,"$root/usr/lib"
output=$("$scratch/consumer-pc")
[ "$output" = "$expected" ] || { echo "pkg-config consumer printed: $output"; exit 1; }

# The tool runs from the root with the root's libraries, and has its page.
"$root/usr/bin/qnlith" --version | tee "$scratch/version.txt"
expect tool "$(cat "$scratch/version.txt")" "$root/usr/lib/libQnlith50.so.5"
if command -v man >/dev/null; then
  man -l "$root/usr/share/man/man1/qnlith.1.gz" 2>&1 | grep -q -- "--extract" || { echo "the manual page reads wrong"; exit 1; }
fi
echo "packages built, checked and used from $root"
