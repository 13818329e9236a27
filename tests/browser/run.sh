#!/usr/bin/env bash
# run.sh COLLECTOR_BINARY OUTPUT_FOLDER: tests the collector's page in Chromium, headless, and
# leaves pictures of it and the figures for 10,000 hits in OUTPUT_FOLDER.
set -euo pipefail
(($# == 2)) || { echo "usage: $0 COLLECTOR_BINARY OUTPUT_FOLDER" >&2; exit 2; }
VELTRO_COLLECTOR="$(realpath "$1")"
mkdir -p "$2"
PAGE_TEST_OUTPUT="$(realpath "$2")"
CHROMIUM="${CHROMIUM:-$(command -v chromium)}"
export VELTRO_COLLECTOR PAGE_TEST_OUTPUT CHROMIUM
cd "$(dirname "${BASH_SOURCE[0]}")"
if [[ ! -f node_modules/playwright-core/package.json ]]; then
  timeout 180 npm install --no-audit --no-fund --loglevel=error || {
    echo "npm cannot install what the test needs; is the network there?" >&2
    rm -rf node_modules
    exit 1
  }
fi
timeout 300 node --test --test-reporter=spec page_test.mjs
timeout 60 node pictures.mjs
