#!/usr/bin/env bash
# demo.sh BUILD_FOLDER [--stay]
#
# The road of a hit: a shop measures a visitor who has not been asked yet, so that its hits wait on
# disk; it is killed, started again, and the visitor opts in. From then on the shop learns the
# visitor's segments, shows what the content server chooses, until that one falls silent, and plays a
# film. Ends with status 0 when the collector received every hit, once and in order, and what they
# tell of launches, times, values, places and the film is right, and so are segments and contents.
set -euo pipefail

build=$(cd "$1" && pwd)
stay=${2:-}
work=$(mktemp -d)
unset VELTRO_DRY_RUN http_proxy all_proxy ALL_PROXY  # all of it happens on this machine
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

# hits NAME: the hits of that state or action, a line each.
hits() { grep "\"name\":\"$1\"" "$work/hits.json" || true; }

# value KEY: its values in the hits on standard input.
value() { sed -n "s/.*\"$1\":\"\([^\"]*\)\".*/\1/p"; }

tracked() { sed -n 's/^\([0-9]*\) hits tracked$/\1/p' "$1"; }

say "A collector listens"
rules=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/shop/rules.json
"$build/tools/collector/veltro-collector" --port 0 --rules "$rules" > >(tee "$work/collector.log") &
collector=$!
wait_for_line "$work/collector.log" '^Listening on'
url=$(sed -n 's/^Listening on //p' "$work/collector.log")

export VELTRO_TARGET_EDGE_DOMAIN=.localhost:${url##*:}
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

# The second content request meets silence.
curl -s "$url/api/faults" -d '[{"kind": "delay", "milliseconds": 0, "server": "content"},
                               {"kind": "silence", "server": "content"}]'

say "It starts again, which reports the crash, and the visitor opts in"
"$build/examples/shop/shop" buy $((held + 1)) | tee "$work/buy.log"

bought=$(tracked "$work/buy.log")
expected=$((held + bought))
launches=2
curl -s -w '\n' "$url/api/hits/wait?count=$((expected + launches))&timeout=10000" |
  sed 's/{"sequence"/\n&/g' >"$work/hits.json"
value shop.step <"$work/hits.json" >"$work/steps"
received=$(wc -l <"$work/steps")
lost=$((expected - $(sort -n "$work/steps" | uniq | wc -l)))
if seq "$expected" | cmp -s - "$work/steps"; then order="in order"; else order="NOT in order"; fi

launched=$(hits Lifecycle | wc -l)
first=$(hits Lifecycle | head -1 | value a.InstallEvent)
second=$(hits Lifecycle | tail -1 | value a.CrashEvent)
carried=$(grep -c '"a.CrashEvent"' "$work/hits.json" || true)
total=$(hits shopping | value a.action.time.total)
inapp=$(hits shopping | value a.action.time.inapp)
worth=$(hits LifetimeValueIncrease | value a.ltv.amount)
place=$(hits Location | value a.loc.poi)

watched=$(hits Media | wc -l)
# sum KEY: of its values in the hits of media.
sum() { hits Media | value "$1" | awk '{ sum += $1 } END { print sum + 0 }'; }
milestones=$(hits Media | value a.media.milestone | paste -sd' ')
film=$(sum a.media.timePlayed)
ad=$(sum a.media.ad.timePlayed)

shown() { sed -n "s/^  is shown, as $1: //p" "$work/buy.log"; }
segments=$(sed -n 's/^  is in the segments: //p' "$work/buy.log")
calls=$(curl -s "$url/api/stats" | sed 's/.*"destinations":\([0-9]*\).*/\1/')

printf '\n%s\n' "the visitor is in the segments $segments, of which $calls partner was told"
printf '%s\n' "shown: \"$(shown welcome)\", and when the server is silent \"$(shown recommendation)\""
printf '%s\n' "$launched launches: $first, $second, whose data $carried hits carry"
printf '%s\n' "shopping took $total s, $inapp s of them in the foreground; $worth spent at $place"
printf '%s\n' "a film was played for $film s, over the milestones $milestones, and $ad s of an ad"
printf '%s\n' "$expected hits tracked, $received received, $lost lost, $order"
if [[ $stay == --stay ]]; then
  say "The collector goes on at $url until you press Ctrl-C"
  wait "$collector"
fi
[[ $received == "$expected" && $lost == 0 && $order == "in order" ]]
[[ $launched == "$launches" && $first == InstallEvent && $second == CrashEvent ]]
[[ $carried == $((bought + watched + 1)) && $((total - inapp)) -ge 2 && $inapp -ge 0 ]]
[[ $worth == 19.90 && $place == "Flagship store" ]]
[[ $segments == "gardener=yes visitor=known" && $calls == 1 ]]
[[ $(shown welcome) == "20 % off all watering cans" && $(shown recommendation) == "Our catalogue" ]]
[[ $milestones == *"50 75" && $film -ge 4 && $ad -ge 1 ]]
[[ $(hits Media | grep -c '"a.media.complete"\|"a.media.ad.complete"') == 2 ]]
