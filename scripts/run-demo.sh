#!/usr/bin/env bash
# Builds the vesk command and shows it at work: installs what building needs (Debian, when
# missing), builds build-release/ (the Release build that scripts/test.sh packages), then runs
# vesk.
# Usage: bash scripts/run-demo.sh [vesk arguments...]
# Without arguments it works on the demo data folder build-release/demo (created on the first run):
# the domain listing as text, then the declarations of the demo file CLIENT.
set -eu
cd "$(dirname "$0")/.."
ROOT=$(pwd)
source scripts/deps.sh
vesk_install "${VESK_BUILD_PACKAGES[@]}"

B=build-release
mkdir -p $B
echo "== compilation de vesk ($B/)"
if ! { cmake -S "$ROOT" -B "$ROOT/$B" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVESK_TESTS=OFF \
  -DVESK_BENCH=OFF && ninja -C "$ROOT/$B" -j "$(nproc)" vesk; } >$B/demo-build.log 2>&1; then
  grep -E -B2 -A12 'error|Error|FAILED' $B/demo-build.log | head -80
  echo "échec de la compilation (journal complet : $B/demo-build.log)" >&2
  exit 1
fi

VESK="$ROOT/$B/src/cli/vesk"
if [ $# -gt 0 ]; then
  echo "== $B/src/cli/vesk $*"
  exec "$VESK" "$@"
fi

DEMO="$ROOT/$B/demo"
echo "== vesk demo $B/demo"
"$VESK" demo "$DEMO"
echo
echo "== vesk --data $B/demo edtdom --output -"
"$VESK" --data "$DEMO" edtdom --output -
echo
echo "== vesk --data $B/demo --eol lf decl CLIENT"
"$VESK" --data "$DEMO" --eol lf decl CLIENT
echo
echo "== $B/demo est prêt : essayez  $B/src/cli/vesk --data $B/demo entdom"
