#!/usr/bin/env bash
# Builds the vesk command and shows it at work: installs what building needs (Debian, when
# missing), builds build/ (the same Debug build as scripts/test.sh), then runs vesk.
# Usage: bash scripts/run-demo.sh [vesk arguments...]      (no argument: vesk --help)
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

if [ $# -eq 0 ]; then
  set -- --help
fi
echo "== build/src/cli/vesk $*"
exec "$ROOT/build/src/cli/vesk" "$@"
