#!/usr/bin/env bash
# Builds the vesk command and shows it at work: installs what building needs (Debian, when
# missing), builds build/ (the same Debug build as scripts/test.sh), then runs vesk.
# Usage: bash scripts/run-demo.sh [vesk arguments...]
# Without arguments it works on the demo data folder build/demo (created on the first run):
# the domain listing as text, then the declarations of the demo file CLIENT.
set -eu
cd "$(dirname "$0")/.."
ROOT=$(pwd)
source scripts/deps.sh
vesk_install "${VESK_BUILD_PACKAGES[@]}"

mkdir -p build
echo "== compilation de vesk (build/)"
if ! { cmake -S "$ROOT" -B "$ROOT/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug &&
  ninja -C "$ROOT/build" -j "$(nproc)" vesk; } >build/demo-build.log 2>&1; then
  grep -E -B2 -A12 'error|Error|FAILED' build/demo-build.log | head -80
  echo "échec de la compilation (journal complet : build/demo-build.log)" >&2
  exit 1
fi

VESK="$ROOT/build/src/cli/vesk"
if [ $# -gt 0 ]; then
  echo "== build/src/cli/vesk $*"
  exec "$VESK" "$@"
fi

DEMO="$ROOT/build/demo"
echo "== vesk demo build/demo"
"$VESK" demo "$DEMO"
echo
echo "== vesk --data build/demo edtdom --output build/demo/domaines.txt"
"$VESK" --data "$DEMO" edtdom --output "$DEMO/domaines.txt"
cat "$DEMO/domaines.txt"
echo
echo "== vesk --data build/demo --eol lf decl CLIENT"
"$VESK" --data "$DEMO" --eol lf decl CLIENT
echo
echo "== build/demo is ready: try  build/src/cli/vesk --data build/demo entdom"
