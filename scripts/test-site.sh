#!/usr/bin/env bash
# The site of the demo (`vesk site`) in a real browser: headless Chromium opens the index and a
# file's page from file:// and reports no console message, the search page driven by its
# address (recherche.html?q=...) finds a field by part of its name, and screenshots of the
# index, a file's page (also at a phone's width) and the diagram are written at 1280x800.
# Usage: bash scripts/test-site.sh VESK CAPTURES   (VESK: the vesk program; CAPTURES: where the
# screenshots go). Ends with the line "N passed, M failed"; exit status 1 when anything failed.
set -u
VESK=$1
CAPTURES=$2
PASSED=0
FAILED=0
ok() {
  PASSED=$((PASSED + 1))
  echo "ok   $1"
}
ko() {
  FAILED=$((FAILED + 1))
  echo "ÉCHEC $1"
}
finish() {
  echo "$PASSED passed, $FAILED failed"
  [ "$FAILED" -eq 0 ]
  exit
}

if ! command -v chromium >/dev/null; then
  ko "chromium introuvable (paquet Debian chromium)"
  finish
fi
WORK=$(mktemp -d /tmp/vesk-site.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
mkdir -p "$CAPTURES"
if "$VESK" demo "$WORK/donnees" >/dev/null && "$VESK" --data "$WORK/donnees" site "$WORK/site"
then
  ok "vesk site de la démo"
else
  ko "vesk site de la démo"
  finish
fi
SITE="file://$WORK/site"

# chromium ARGS...: one headless run in a fresh profile, its log on the error stream.
chromium_run() {
  local profil
  profil=$(mktemp -d "$WORK/profil.XXXXXX")
  timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --hide-scrollbars --user-data-dir="$profil" --enable-logging=stderr --v=0 "$@"
}

# page_sans_erreur PAGE: the page's DOM dumped, and no console message in the log.
page_sans_erreur() {
  local dom="$WORK/dom.html" log="$WORK/log.txt"
  chromium_run --dump-dom "$SITE/$1" >"$dom" 2>"$log"
  if grep -q '</html>' "$dom" && ! grep -E 'CONSOLE|Uncaught|ERR_FILE_NOT_FOUND|Not allowed to load' "$log"
  then
    ok "$1 ouverte sans message de la console"
  else
    ko "$1 : $(grep -E 'CONSOLE|Uncaught|ERR_' "$log" | head -3)"
  fi
}
page_sans_erreur index.html
page_sans_erreur fichiers/CLIENT.html
page_sans_erreur diagramme.html

# cherche QUERY EXPECTED: the search page's DOM after the script ran holds EXPECTED.
cherche() {
  local dom="$WORK/recherche.html" log="$WORK/log.txt"
  chromium_run --dump-dom "$SITE/recherche.html?q=$1" >"$dom" 2>"$log"
  if grep -qF "$2" "$dom" && ! grep -q 'CONSOLE' "$log"; then
    ok "recherche « $1 » : $2"
  else
    ko "recherche « $1 » : $2 absent ($(grep -o '<p id="etat"[^<]*' "$dom"); $(grep CONSOLE "$log" | head -2))"
  fi
}
cherche clno '<a href="fichiers/CLIENT.html#r-CLNOM">CLNOM</a>'
cherche 'ville' '<a href="fichiers/CLIENT.html#r-CLVIL">CLVIL</a>'
cherche 'reglement' '<a href="domaines/REGLT.html">REGLT</a>'
cherche 'facture%20num' '<a href="fichiers/FACTUR.html#r-FANUM">FANUM</a>'
cherche 'zzz' 'Aucun résultat pour « zzz ».'

# capture NAME PAGE SIZE: a screenshot of PAGE at SIZE into CAPTURES/NAME.png.
capture() {
  rm -f "$CAPTURES/$1.png"
  chromium_run --screenshot="$CAPTURES/$1.png" --window-size="$3" "$SITE/$2" >/dev/null 2>&1
  if [ -s "$CAPTURES/$1.png" ]; then
    ok "capture $CAPTURES/$1.png"
  else
    ko "capture de $2"
  fi
}
capture site-index index.html 1280,800
capture site-fichier fichiers/CLIENT.html 1280,800
capture site-diagramme diagramme.html 1280,800
capture site-fichier-telephone fichiers/CLIENT.html 390,844
finish
