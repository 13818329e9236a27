#!/usr/bin/env bash
# check_sample.sh BUILD_FOLDER INCLUDE_FOLDER SAMPLE
#
# Compiles one sample of the papers and runs it against a collector of its own, which has to receive what
# the sample is to send. SAMPLE is a folder as docs/check.sh makes it, INCLUDE_FOLDER may have docs/sample.h
# compiled for C++17. Ends with status 0 when all is well; otherwise says what is not.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$1
include=$2
sample=$3
where=$(<"$sample/where")
collector=
trap '[[ -z $collector ]] || kill "$collector"' EXIT

fail() { printf '%s\n' "$where: $1"; exit 1; }

start_collector() {
  : >"$sample/collector"
  "$build/tools/collector/veltro-collector" --port 0 --quiet --rules "$root/examples/shop/rules.json" \
    >>"$sample/collector" 2>&1 &
  collector=$!
  for _ in {1..100}; do
    grep -q '^Listening on' "$sample/collector" && break
    sleep 0.1
  done
  url=$(sed -n 's/^Listening on //p' "$sample/collector")
  [[ $url ]] || fail "the collector does not start"
  sed -i "s|127\.0\.0\.1:8900|${url#http://}|" "$sample/sample.cpp" "$sample/VeltroConfig.json"
}

compile() {
  local standard=c++17
  ! grep -q co_await "$sample/sample.cpp" || standard=c++20
  timeout 120 g++ -std=$standard -O0 -Wall -Wextra -Wpedantic -Werror \
    -I"$include" -I"$root/docs" -I"$root/include" "$sample/sample.cpp" -o "$sample/sample" \
    -L"$build/src" -lveltro -Wl,-rpath,"$build/src" >"$sample/compiler" 2>&1 ||
    fail "does not compile
$(grep error "$sample/compiler" || tail -3 "$sample/compiler")"
}

decode() {
  local line
  while IFS= read -r line; do printf '%b\n' "${line//%/\\x}"; done
}

# hits: those that came, in the words of a "sends" comment.
hits() {
  curl -s -m 5 "$url/api/hits" | grep -o '"rawTarget":"[^"]*"' | sed -E '
    s/.*&pev2=QXACTION%3A([^&]*).*/action \1/; t
    s/.*&pev2=VLTINTERNAL%3A([^&]*).*/internal action \1/; t
    s/.*&pageName=([^&]*).*/state \1/' | decode || true
}

# others: the signals and contents that came.
others() {
  curl -s -m 5 "$url/api/events" | grep -o '"rawTarget"' | sed 's/.*/signal/' || true
  curl -s -m 5 "$url/api/contents" | grep -o '&mbox=[^&]*' | sed 's/&mbox=/content /' | decode || true
}

# have_arrived: whether all came that the sample is to send, and no other hit.
have_arrived() {
  local missing
  [[ $(hits) == "$(grep -v '^signal$\|^content ' "$sample/sends" || true)" ]] || return 1
  missing=$(grep '^signal$\|^content ' "$sample/sends" | grep -Fxv -f <(others) || true)
  [[ -z $missing ]]
}

run() {
  local program status=0 patience=${VELTRO_CHECK_PATIENCE:-100}
  mkfifo "$sample/hold"  # keeps a sample without a main from ending before all has come
  exec 3<>"$sample/hold"
  (cd "$sample" && exec env -u VELTRO_DRY_RUN -u http_proxy -u all_proxy -u ALL_PROXY HOME="$sample" \
    VELTRO_PACKAGE_DIR="$sample" VELTRO_DATA_DIR="$sample/data" \
    VELTRO_TARGET_EDGE_DOMAIN=".localhost:${url##*:}" timeout 20 ./sample <hold >output 2>&1 3>&-) &
  program=$!
  for ((i = 0; i < patience; ++i)); do
    have_arrived && break
    sleep 0.1
  done
  exec 3>&-
  wait "$program" || status=$?
  ((status == 0)) || fail "ends with status $status
$(tail -3 "$sample/output")"
}

start_collector
compile
run
have_arrived || fail "sends
$(hits; others)
but is to send
$(<"$sample/sends")"
