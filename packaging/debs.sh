#!/usr/bin/env bash
# debs.sh BUILD_FOLDER OUT: makes the Debian packages of a build that was made before.
set -euo pipefail

build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
log=$build/debs.log

# configure PREFIX: Debian's folders follow from the prefix /usr.
configure() {
  cmake "$build" -DCMAKE_INSTALL_PREFIX="$1" >"$log" 2>&1 || { cat "$log"; return 1; }
}

prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
trap 'configure "$prefix"' EXIT
configure /usr
rm -rf "$build/debs"
cpack --config "$build/CPackConfig.cmake" -B "$build/debs" >"$log" 2>&1 || { cat "$log"; exit 1; }
mv "$build"/debs/*.deb "$out"
rm -rf "$build/debs"
