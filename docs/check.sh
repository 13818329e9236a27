#!/usr/bin/env bash
# check.sh BUILD_FOLDER
#
# Keeps the papers true. A ```cpp block with a `main` is a program; any other is the inside of one, below
# docs/sample.h. It runs with the last ```json block of its section that has "analytics", or else the
# first of the guide, and what it sends stands in a comment right before it:
#   <!-- sends: state Home, action buy, internal action Media, signal, content welcome -->
# Hits must come as named, in order, and no others; signals and contents that are named must come, too.
#
# Besides, it builds the reference into build/docs, follows all links, and looks up in the papers every
# line that the library logs and every name that it reads or writes.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$(cd "${1:?usage: docs/check.sh BUILD_FOLDER}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

say() { printf '== %s\n' "$*"; }

# reference SETTING...: built as docs/Doxyfile and the settings say.
reference() { printf '%s\n' "$(<docs/Doxyfile)" "$@" | timeout 60 doxygen -; }

# split FOLDER FILE...: for each ```cpp block of the files a folder with its code (sample.cpp), the
# configuration that it runs with, the lines of what it is to send (sends), and where it stands (where);
# and in FOLDER/json every ```json block.
split() {
  local folder=$1
  shift
  mkdir -p "$folder/json"
  awk -v folder="$folder" '
    function write(file, text) { printf "%s", text >file; close(file) }
    function finish_json() {
      write(folder "/json/" name, body)
      if (body !~ /"analytics"/) return
      config = body
      if (first == "") first = body
    }
    function finish_cpp(  sample) {
      sample = folder "/" name
      system("mkdir -p " sample)
      body = "#line " start + 1 " \"" FILENAME "\"\n" body
      if (body !~ /int main\(/) {
        body = "#include \"sample.h\"\nint main() {\n" body \
               "Veltro::Host::Flush(std::chrono::seconds(10));\nstd::getchar();\n}\n"
      }
      write(sample "/sample.cpp", body)
      write(sample "/VeltroConfig.json", config)
      gsub(/, /, "\n", sends)
      write(sample "/sends", sends == "" ? "" : sends "\n")
      write(sample "/where", FILENAME ":" start)
      sends = ""
    }
    FNR == 1 || kind == "" && /^#/ { config = first }
    kind == "" && /^<!-- sends: .* -->$/ { sends = substr($0, 13, length($0) - 16); next }
    kind == "" && /^```(cpp|json)$/ {
      kind = substr($0, 4)
      start = FNR
      body = ""
      name = FILENAME "-" start
      gsub(/[^a-zA-Z0-9]+/, "-", name)
      next
    }
    kind != "" && /^```$/ { if (kind == "cpp") finish_cpp(); else finish_json(); kind = ""; next }
    kind != "" { body = body $0 "\n" }
  ' "$@"
}

# prepare: what most samples, and all configurations, have in common is compiled once.
prepare() {
  timeout 120 g++ -std=c++17 -O0 -Wpedantic -w -Iinclude -x c++-header docs/sample.h -o "$work/sample.h.gch"
  timeout 120 g++ -std=c++17 -O0 -x c++ - -o "$work/is_json" <<'END'
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
int main(int count, char** files) {
  int status = 0;
  for (int i = 1; i < count; ++i) {
    std::ifstream file(files[i]);
    if (nlohmann::json::accept(file)) continue;
    std::cout << files[i] << ": no JSON\n";
    status = 1;
  }
  return status;
}
END
}

# check_samples FOLDER: what `split` put there, two samples at a time.
check_samples() {
  "$work/is_json" "$1"/json/*
  find "$1" -name sample.cpp -printf '%h\n' | sort | xargs -P 2 -n 1 docs/check_sample.sh "$build" "$work"
}

# prose FILE: without its code blocks.
prose() { awk '/^```/ { inside = !inside; next } !inside' "$1"; }

# anchors FILE: of its headings.
anchors() {
  prose "$1" | sed -n 's/^#\{1,6\} //p' | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9_ -]//g; s/ /-/g'
}

# check_links FILE...: those within the tree lead to a file, and a heading in it.
check_links() {
  local paper link file anchor status=0
  for paper in "$@"; do
    while IFS= read -r link; do
      file=${link%%#*}
      anchor=${link#"$file"}
      file=${file:+$(dirname "$paper")/$file}
      file=${file:-$paper}
      if [[ -e $file ]]; then
        [[ -z $anchor ]] && continue
        anchors "$file" | grep -Fx -- "${anchor#\#}" >/dev/null && continue
      fi
      echo "$paper: leads nowhere: $link"
      status=1
    done < <(prose "$paper" | grep -o '\](\([^)]*\))' | sed 's/^](//; s/)$//' | grep -v '^[a-z]*:' || true)
  done
  return $status
}

# sources: those of the library, on one line, with their literals joined.
sources() { find src -name '*.[ch]*' -exec cat {} + | tr '\n' ' ' | sed 's/" *"//g'; }

# logged: every text that the library may log, with "..." for what varies.
logged() {
  sources | grep -oP '(Log(Debug|Warning|Error|Trouble)\(|onProblem_\(|problems\.\w+_back\() *"(\\.|[^"\\])*"' |
    sed -E 's/^(onProblem|problems)[^"]*"/"Config - /; s/^[^"]*"//; s/"$//; s/\\n.*//; s/\\"/"/g' |
    sed -E 's/%(\.2f|ld|[sdf])/.../g' | grep -Fxv 'Config - ...' | sort -u
}

# named: every name in settings, files, configuration, environment and context data.
named() {
  sources | grep -oP '(Key|k\w+) = u"\K\w{4,}(?=")' | grep -P 'KOVA|VLT|VELTRO|NURI|Kestrel|PrivacyStatus'
  grep -oP 'k(Pc|Session)Id = "\K\w+' src/target/content_ids.cpp
  grep -oP '(Read|FindObject|find)\([^"()]*"\K\w+' src/config/configuration.cpp
  sources | grep -oP 'u"\Ka\.[A-Za-z.]*[A-Za-z](?=")'
  sources | grep -oP 'Key\(u"\K\w+' | sed 's/^/a.media./'
  sources | grep -oP '(kFileName|kFile|kDamagedFile|kLockFileName) = "\K[^"]+'
  sources | grep -oP 'EnvironmentVariable\("\K\w+'
}

# check_names PAPER LIST: PAPER has whatever the command LIST gives.
check_names() {
  local name status=0
  while IFS= read -r name; do
    grep -qP -- '[`.]'"\\Q$name\\E(?!\\w)" "$1" && continue
    echo "$1: does not name: $name"
    status=1
  done < <("$2" | sort -u)
  return $status
}

# check_no_others PAPER: its tables have no log line that the library does not write.
check_no_others() {
  local others
  others=$(awk 'NR == FNR { texts[$0]; next } { for (text in texts) if (index($0, text) == 1) next } 1' \
    <(logged) <(grep -oP '^\| `\K[^`]* - [^`]*' "$1"))
  [[ -z $others ]] && return 0
  printf '%s\n' "$1: is not logged:" "$others"
  return 1
}

# must_say TEXT COMMAND...: COMMAND notices what is wrong, and says so.
must_say() {
  if "${@:2}" >"$work/said" 2>&1 || ! grep -qF -- "$1" "$work/said"; then
    printf '%s\n' "the check itself is broken: '${*:2}' does not say '$1', but:" "$(<"$work/said")"
    return 1
  fi
}

# Spoiled papers must be noticed.
test_the_check() {
  local spoiled=$work/spoiled finding
  mkdir "$spoiled"
  cat >"$spoiled/paper.md" <<'END'
[Link](#nowhere)
```json
{"analytics": {"rsids": "my-suite", "server": "127.0.0.1:8900", "offlineEnabled": true}}
```
```cpp
Analytics::TrackStat("wrong name");
```
<!-- sends: state Home -->
```cpp
Config::DebugLogging(false);
```
```cpp
Analytics::TrackState("told nobody");
```
```cpp
std::exit(3);
```
END
  split "$spoiled/samples" "$spoiled/paper.md"
  VELTRO_CHECK_PATIENCE=1 must_say 'paper.md:5: does not compile' check_samples "$spoiled/samples"
  cp "$work/said" "$spoiled/said"
  for finding in '9: sends' '12: sends' '15: ends with status 3'; do
    must_say "paper.md:$finding" awk '{ print } END { exit 1 }' "$spoiled/said"
  done
  echo '{"a": 1,}' >"$spoiled/bad.json"
  must_say 'bad.json: no JSON' "$work/is_json" "$spoiled/bad.json"
  must_say '#nowhere' check_links "$spoiled/paper.md"
  grep -v 'Unable to save hit queue' docs/guide.md >"$spoiled/guide.md"
  must_say 'Unable to save hit queue' check_names "$spoiled/guide.md" logged
  echo '| `Config - Never written` |' >"$spoiled/guide.md"
  must_say 'Never written' check_no_others "$spoiled/guide.md"
  grep -v 'KOVA_PauseDate' docs/formats.md >"$spoiled/formats.md"
  must_say 'KOVA_PauseDate' check_names "$spoiled/formats.md" named
  printf '/// A class.\nclass A {\n public:\n  void Bare();\n};\n' >"$spoiled/a.h"
  must_say Bare reference "INPUT = $spoiled/a.h" "OUTPUT_DIRECTORY = $work/reference"
}

say "The reference"
mkdir -p build
rm -rf build/docs
reference
say "The check itself"
prepare
test_the_check
say "Names and links"
check_names docs/guide.md logged
check_no_others docs/guide.md
check_names docs/formats.md named
mapfile -t papers < <(git ls-files -co --exclude-standard -- '*.md')
check_links "${papers[@]}"
say "Samples"
split "$work/samples" docs/guide.md README.md
check_samples "$work/samples"
printf '%s samples run and send what they say; %s log lines and %s names are explained\n' \
  "$(find "$work/samples" -name sample.cpp | wc -l)" "$(logged | wc -l)" "$(named | sort -u | wc -l)"
