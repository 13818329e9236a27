#!/usr/bin/env bash
# check.sh BUILD_FOLDER
#
# Installs a build that was made before, moves it to another folder, links a small program in every
# way that a user may, and sees that each delivers its hits to a collector. Then the same from the
# Debian packages, whose contents must be those of debian/contents.
set -euo pipefail

packaging=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=${packaging%/*}
consumers=$packaging/consumers
build=$(cd "$1" && pwd)
work=$(mktemp -d)
unset VELTRO_DRY_RUN http_proxy all_proxy ALL_PROXY  # all of it happens on this machine
moved=$work/moved
debian=$work/debian
fetched=$build/add_subdirectory  # stays, as the library is compiled in there
collector=
fetching=
cleanup() {
  [[ -z $fetching ]] || kill -- -"$fetching" 2>/dev/null || true
  [[ -z $collector ]] || kill "$collector" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

fail() { printf 'packaging: %s\n' "$*" >&2; exit 1; }

# quietly COMMAND...: shows what it says only when it fails.
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$* failed"; }; }

start_collector() {
  touch "$work/collector.log"
  "$moved/bin/veltro-collector" --port 0 --quiet >"$work/collector.log" &
  collector=$!
  for _ in {1..100}; do
    url=$(sed -n 's/^Listening on //p' "$work/collector.log")
    [[ -z $url ]] || break
    sleep 0.1
  done
  [[ -n $url ]] || fail "the collector does not listen"
  export VELTRO_PACKAGE_DIR=$work/package
  mkdir "$VELTRO_PACKAGE_DIR"
  cat >"$VELTRO_PACKAGE_DIR/VeltroConfig.json" <<EOF
{"analytics": {"rsids": "check", "server": "${url#http://}", "offlineEnabled": true}}
EOF
}

hits=0
# deliver STATE PROGRAM...: the program tracks the state, and the collector has it.
deliver() {
  local state=$1 names
  shift
  VELTRO_DATA_DIR=$work/data/$state timeout 30 "$@" "$state" || fail "$state: status $?"
  hits=$((hits + 1))
  names=$(curl -sS --max-time 20 "$url/api/hits/wait?count=$hits&timeout=10000" |
    grep -o '"name":"[^"]*"' || true)
  [[ $(wc -l <<<"$names") == "$hits" && ${names##*$'\n'} == "\"name\":\"$state\"" ]] ||
    fail "$state: no hit of that name came, but the $hits hits"$'\n'"$names"
}

# links shared|static|none PROGRAM
links() {
  local found=none
  ! nm "$2" | grep -i ' T .*TrackState' >/dev/null || found=static
  ! readelf -d "$2" | grep 'NEEDED.*libveltro\.so\.4' >/dev/null || found=shared
  [[ $found == "$1" ]] || fail "$2 links this library: $found"
}

# consume NAME shared|static|none RUN...: runs its programs hello17 and hello20, which link that library,
# by RUN if given, in which PROGRAM stands for the program.
consume() {
  local name=$1 library=$2 standard
  shift 2
  for standard in 17 20; do
    links "$library" "$work/$name/hello$standard"
    deliver "$name$standard" "${@/PROGRAM/"$work/$name/hello$standard"}" "$work/$name/hello$standard"
  done
  echo "$name: 2 hits delivered, of C++17 and C++20"
}

# cmake_consumer NAME FOLDER: with the project of that name, built in the folder
cmake_consumer() {
  cmake -S "$consumers/$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DCMAKE_PREFIX_PATH="$moved" &&
    cmake --build "$2" --target hello17 hello20
}

# compile FOLDER SOURCE ARGUMENTS...: without a build system, to FOLDER/hello17 and FOLDER/hello20
compile() {
  local folder=$work/$1 source=$consumers/$2 standard
  shift 2
  mkdir "$folder"
  for standard in 17 20; do
    quietly g++ -std=c++$standard -pedantic-errors -Wall -Wextra -Werror "$source" \
      -o "$folder/hello$standard" "$@"
  done
}

# no_trace FOLDER: nothing in it tells where it was built, nor where to look for libraries.
no_trace() {
  ! grep -rlF -e "$source" -e "$work" "$1" || fail "these files name folders of the build"
  local file
  while read -r file; do
    ! readelf -d "$file" 2>/dev/null | grep -E 'R(UN)?PATH' || fail "$file has a path to libraries"
  done < <(find "$1" -type f \( -name '*.so*' -o -perm -u+x \))
}

# contents PACKAGE: a line for each file but the headers, and for each package that it depends on
contents() {
  local name
  name=$(dpkg-deb -f "$1" Package)
  dpkg-deb -c "$1" | sed "s/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/MULTIARCH/" |
    awk -v name="$name" '!/\/$|\.h$/ { print name, $1, $2, substr($0, index($0, "./") + 1) }'
  dpkg-deb -f "$1" Depends | sed 's/ ([^)]*)//g; s/, /\n/g' | sed "s/^/$name depends on /"
}

set -m  # so that what runs in the background can be ended with its children
cmake_consumer add_subdirectory "$fetched" >"$work/fetched.log" 2>&1 &
fetching=$!
set +m

quietly cmake --install "$build" --prefix "$work/installed"
mv "$work/installed" "$moved"
no_trace "$moved"
diff -r "$source/include/veltro" "$moved/include/veltro" || fail "other headers are installed"
archive=$(find "$moved" -name libveltro.a)
libraries=${archive%/*}
! readelf -SW "$archive" | grep 'gnu\.\(debug\)\?lto' >"$work/log" || fail "the archive is not plain code"
start_collector

for library in shared static; do
  quietly cmake_consumer cmake_$library "$work/cmake_$library"
  consume cmake_$library $library
done

export PKG_CONFIG_PATH=$libraries/pkgconfig
with_libraries=(env LD_LIBRARY_PATH="$libraries")
shared=$(pkg-config --cflags --libs veltro)
static=$(pkg-config --static --cflags --libs veltro | sed 's/-lveltro/-l:libveltro.a/')
plug_in=(-shared -fPIC -fno-gnu-unique)  # else the templates it uses would keep it loaded
# shellcheck disable=SC2086  # the flags are words
{
  compile pkg_config hello.cpp $shared
  compile pkg_config_static hello.cpp -fno-rtti $static
  compile plain_flags hello.cpp -fno-rtti -fvisibility=hidden -fno-exceptions $shared
  compile plug_in hello.cpp "${plug_in[@]}" $shared
  compile plug_in_static hello.cpp "${plug_in[@]}" -Wl,-z,nodelete,--exclude-libs,libveltro.a $static
  compile activation activation.cpp -I"$moved/include"
}
quietly g++ -std=c++17 "$consumers/plug_in_host.cpp" -o "$work/plug_in_host"
consume pkg_config shared "${with_libraries[@]}"
consume pkg_config_static static
consume plain_flags shared "${with_libraries[@]}"
consume plug_in shared "${with_libraries[@]}" "$work/plug_in_host" libveltro.so.4
consume plug_in_static static "$work/plug_in_host" PROGRAM
consume activation none "${with_libraries[@]}"

bash "$packaging/debs.sh" "$build" "$work/debs"
for deb in "$work"/debs/*.deb; do
  contents "$deb"
  dpkg-deb -x "$deb" "$debian"
done >"$work/contents"
diff "$packaging/debian/contents" "$work/contents" || fail "the packages hold something else (>)"
no_trace "$debian"
libraries=$(dirname "$(find "$debian" -name libveltro.a)")
export PKG_CONFIG_PATH=$libraries/pkgconfig LD_LIBRARY_PATH=$libraries
# shellcheck disable=SC2046
compile from_debs hello.cpp $(pkg-config --cflags --libs veltro)
consume from_debs shared
quietly "$debian/usr/bin/veltro-collector" --version
quietly cmake -S "$debian/usr/share/doc/veltro-tools/examples/shop" -B "$work/shop" -G Ninja \
  -DCMAKE_PREFIX_PATH="$debian/usr"
quietly cmake --build "$work/shop"
for shop in "$work/shop/shop" "$debian/usr/libexec/veltro/shop/shop"; do
  status=0
  usage=$(VELTRO_PACKAGE_DIR=$work VELTRO_DATA_DIR=$work/data/shop "$shop" 2>&1) || status=$?
  [[ $status == 2 && $usage == *usage:* ]] || fail "$shop does not run"
done
unset LD_LIBRARY_PATH

wait "$fetching" || { cat "$work/fetched.log"; fail "add_subdirectory is not built"; }
fetching=
ln -s "$fetched" "$work/add_subdirectory"
consume add_subdirectory shared
quietly cmake --install "$fetched" --prefix "$work/unasked"
[[ ! -e $work/unasked ]] || fail "a project that holds Veltro installs it unasked"
echo "$hits hits delivered; packages hold what they should"
