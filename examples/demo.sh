#!/usr/bin/env bash
# demo.sh BUILD_FOLDER [--stay]
#
# The road of a hit: a shop measures a visitor who has not been asked yet, so that its hits wait on
# disk; it is killed, started again, and the visitor opts in. Ends with status 0 when the collector
# received every hit, once and in order.
set -euo pipefail

build=$(cd "$1" && pwd)
stay=${2:-}
work=$(mktemp -d)
collector=
shop=
cleanup() {
  [[ -z $shop ]] || kill -9 "$shop" 2>/dev/null || true
  [[ -z $collector ]] || kill "$collector" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

say() { printf '\n== %s\n' "$*"; }
fail() { printf '%s\n' "$*" >&2; exit 1; }

# wait_for_line FILE PATTERN: until the file has such a line, 10 s at most.
wait_for_line() {
  for _ in {1..100}; do
    grep -q "$2" "$1" && return 0
    sleep 0.1
  done
  fail "no line '$2' came"
}

tracked() { sed -n 's/^\([0-9]*\) hits tracked$/\1/p' "$1"; }

say "A collector listens"
"$build/tools/collector/veltro-collector" --port 0 > >(tee "$work/collector.log") &
collector=$!
wait_for_line "$work/collector.log" '^Listening on'
url=$(sed -n 's/^Listening on //p' "$work/collector.log")

export VELTRO_PACKAGE_DIR=$work/package VELTRO_DATA_DIR=$work/data
mkdir "$VELTRO_PACKAGE_DIR"
cp "$build"/examples/shop/AppxManifest.xml "$VELTRO_PACKAGE_DIR"
sed "s|127.0.0.1:8900|${url#http://}|" "$build/examples/shop/VeltroConfig.json" >"$VELTRO_PACKAGE_DIR/VeltroConfig.json"

say "A visitor looks around who has not been asked yet: hits wait on disk"
"$build/examples/shop/shop" browse > >(tee "$work/browse.log") &
shop=$!
wait_for_line "$work/browse.log" 'hits tracked$'

say "The shop is killed (SIGKILL)"
kill -9 "$shop"
wait "$shop" 2>/dev/null || true
shop=
held=$(tracked "$work/browse.log")
[[ $(curl -s "$url/api/hits") == '[]' ]] || fail "a hit was sent before the visitor was asked"

say "It starts again, and the visitor opts in"
"$build/examples/shop/shop" buy $((held + 1)) | tee "$work/buy.log"

expected=$((held + $(tracked "$work/buy.log")))
curl -s "$url/api/hits/wait?count=$expected&timeout=10000" >"$work/hits.json"
grep -o '"shop.step":"[0-9]*"' "$work/hits.json" | grep -o '[0-9]*' >"$work/steps" || true
received=$(wc -l <"$work/steps")
lost=$((expected - $(sort -n "$work/steps" | uniq | wc -l)))
if seq "$expected" | cmp -s - "$work/steps"; then order="in order"; else order="NOT in order"; fi

printf '\n%s\n' "$expected hits tracked, $received received, $lost lost, $order"
if [[ $stay == --stay ]]; then
  say "The collector goes on at $url until you press Ctrl-C"
  wait "$collector"
fi
[[ $received == "$expected" && $lost == 0 && $order == "in order" ]]
