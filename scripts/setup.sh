#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# skipping those already present.
set -euo pipefail
packages=(cmake ninja-build g++ clang-14 pkg-config libgtest-dev libgmock-dev
          libbenchmark-dev libsqlite3-dev libclang-rt-14-dev binutils-mingw-w64-x86-64)
packages+=(libpng-dev)
# Packaging: dpkg-shlibdeps, file (which CPack asks) and lintian.
packages+=(dpkg-dev file lintian)
packages+=(doxygen)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
