# shellcheck shell=bash
# Sourced by the test scripts: makes a fresh Wine prefix for this run, exports WINEPREFIX and
# removes the prefix (and stops its wineserver) when the calling shell exits.
#   source scripts/wine-prefix.sh
vesk_wine_prefix_cleanup() {
  if [ -n "${VESK_WINE_PREFIX:-}" ]; then
    WINEPREFIX="$VESK_WINE_PREFIX" wineserver -k >/dev/null 2>&1 || true
    rm -rf "$VESK_WINE_PREFIX"
    VESK_WINE_PREFIX=""
  fi
}

vesk_wine_prefix_make() {
  VESK_WINE_PREFIX=$(mktemp -d "${TMPDIR:-/tmp}/vesk-wine.XXXXXX")
  export WINEPREFIX="$VESK_WINE_PREFIX"
  export WINEDEBUG=-all
  export WINEDLLOVERRIDES="mscoree,mshtml="
  # A persistent wineserver serves every program of the run: starting one per program is slow.
  wineserver -p >/dev/null 2>&1
  DISPLAY='' wine wineboot -i >/dev/null 2>&1
}
