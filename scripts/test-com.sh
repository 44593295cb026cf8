#!/usr/bin/env bash
# The COM tests of vesk.dll under Wine, in a fresh prefix of their own (CTest's test vesk_com of
# the Windows cross-build runs it):
#   regsvr32 registers the DLL (every key checked); vesk.exe makes a demo folder; the C++ client
#   (src/com/essai/client_com_test.cpp) drives the server early-bound, a screenshot of the form
#   "Génération de Code" is taken meanwhile; cscript runs src/com/essai/essai.vbs late-bound;
#   regsvr32 /u removes every key, and a second /u is no error.
# Windows need a display: without DISPLAY the script runs itself under xvfb-run. Every Wine
# step has a time limit (a hang is a failure, and the prefix is still removed).
# Usage: scripts/test-com.sh BUILD_WIN_DIR
# Ends with "N passed, M failed"; exit status 1 when anything failed. The screenshot is
# BUILD_WIN_DIR/com-feuille-gencode.png, the client's output BUILD_WIN_DIR/com-client.log.
set -u
if [ $# -ne 1 ] || [ ! -d "$1" ]; then
  echo "usage : test-com.sh DOSSIER_DE_COMPILATION_WINDOWS" >&2
  exit 2
fi
if [ -z "${DISPLAY:-}" ] && [ -z "${VESK_COM_XVFB:-}" ]; then
  if ! command -v xvfb-run >/dev/null; then
    echo "test-com.sh : ni DISPLAY ni xvfb-run : les fenêtres ne peuvent pas s'afficher" >&2
    exit 2
  fi
  exec env VESK_COM_XVFB=1 xvfb-run -a -s "-screen 0 1024x768x24" bash "$0" "$@"
fi
if [ -z "${DISPLAY:-}" ]; then
  echo "test-com.sh : xvfb-run n'a pas donné d'affichage (DISPLAY vide)" >&2
  exit 2
fi
BUILD=$(cd "$1" && pwd)
ESSAI=$(cd "$(dirname "$0")/../src/com/essai" && pwd)
DLL=$BUILD/src/com/vesk.dll
CLIENT=$BUILD/src/com/essai/vesk_com_client.exe
VESK=$BUILD/src/cli/vesk.exe
if ! WORK=$(mktemp -d "${TMPDIR:-/tmp}/vesk-com.XXXXXX"); then
  echo "test-com.sh : impossible de créer le dossier de travail dans ${TMPDIR:-/tmp}" >&2
  exit 2
fi
export WINEPREFIX=$WORK/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
trap 'wineserver -k >/dev/null 2>&1; rm -rf "$WORK"' EXIT

PASSED=0
FAILED=0
# check NAME COMMAND...: runs the command, counts and reports it.
check() {
  local name=$1
  shift
  if "$@"; then
    PASSED=$((PASSED + 1))
    echo "ok      $name"
  else
    FAILED=$((FAILED + 1))
    echo "ÉCHEC   $name"
  fi
}
# vin COMMAND...: wine COMMAND, stopped after 120 s (then 10 s more before KILL).
vin() {
  timeout -k 10 120 wine "$@"
  local status=$?
  [ $status -eq 124 ] || [ $status -eq 137 ] && echo "délai dépassé : wine $*" >&2
  return $status
}
win() { timeout -k 10 120 winepath -w "$1"; }
cle() { vin reg query "$1" >/dev/null 2>&1; }
# A missing key and a registry that cannot be read both fail: an absence counts only once
# the registry answered for a key that is always there.
registre_lisible() {
  cle 'HKCR\CLSID' || { echo "wine reg ne lit pas le registre"; return 1; }
}

KEYS=('HKCR\Vesk.AsS\CLSID'
  'HKCR\CLSID\{BA27CA77-E72C-490C-A804-198E143D883E}\InprocServer32'
  'HKCR\CLSID\{BA27CA77-E72C-490C-A804-198E143D883E}\ProgID'
  'HKCR\TypeLib\{1248A617-40FD-47E9-A424-2FEA654B449A}\1.0'
  'HKCR\Interface\{F9450B1E-C596-4E1C-8416-6725D21FD0E8}')
cles_presentes() {
  local k
  for k in "${KEYS[@]}"; do cle "$k" || { echo "clé absente : $k"; return 1; }; done
  vin reg query "${KEYS[1]}" /v ThreadingModel | grep -q Apartment
}
cles_absentes() {
  local k
  registre_lisible || return 1
  for k in "${KEYS[@]}" 'HKCR\Vesk.AsS' 'HKCR\CLSID\{BA27CA77-E72C-490C-A804-198E143D883E}' \
    'HKCR\TypeLib\{1248A617-40FD-47E9-A424-2FEA654B449A}'; do
    if cle "$k"; then
      echo "clé restée : $k"
      return 1
    fi
  done
}

# The demo folder of vesk.exe, and its domains' listing as text.
demo() {
  vin "$VESK" demo "$(win "$WORK/demo")" &&
    vin "$VESK" --data "$(win "$WORK/demo")" edtdom --output "$(win "$WORK/domaines.txt")" &&
    grep -q '| TVA ' "$WORK/domaines.txt"
}

# The C++ client; the screenshot is taken while it shows the form.
client() {
  rm -f "$BUILD/com-feuille-gencode.png"
  VESK_COM_DEMO=$(win "$WORK/demo") VESK_COM_CAPTURE=$(win "$WORK/pret") \
    vin "$CLIENT" --gtest_brief=1 >"$BUILD/com-client.log" 2>&1 &
  local pid=$! _
  for _ in $(seq 1 600); do
    [ -f "$WORK/pret" ] || ! kill -0 $pid 2>/dev/null && break
    sleep 0.1
  done
  if ! command -v import >/dev/null; then
    echo "import (ImageMagick) absent : pas de capture"
  elif [ -f "$WORK/pret" ]; then
    import -window root "$BUILD/com-feuille-gencode.png" || echo "capture impossible"
  else
    echo "le client n'a pas montré la feuille : pas de capture"
  fi
  wait $pid
  local status=$?
  grep -E 'FAILED|Failure|error|PASSED' "$BUILD/com-client.log" | head -40
  return $status
}

# The VBScript, late-bound; cscript's status says nothing: its last line does.
vbscript() {
  mkdir -p "$WORK/vbs"
  printf 'script = ecrans.txt\nsynchro = off\n' >"$WORK/vbs/vesk.ini"
  cp "$ESSAI/domaines.txt" "$WORK/vbs/ecrans.txt"
  local sortie
  sortie=$(VESK_DATA=$(win "$WORK/vbs") vin cscript //nologo "$(win "$ESSAI/essai.vbs")" \
    "$(win "$WORK/vbs")" 2>&1)
  echo "$sortie" | tail -5
  [ "$(echo "$sortie" | tr -d '\r' | tail -1)" = "VBS OK" ]
}

# The prefix: wineboot, then no window manager (Xvfb): Wine draws the windows' frames and
# titles itself.
prefixe() {
  vin wineboot -i >/dev/null 2>&1 &&
    vin reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1
}
if ! prefixe; then
  echo "test-com.sh : wineboot n'a pas préparé le préfixe $WINEPREFIX" >&2
  exit 2
fi
# Fixedsys and the frame buttons' font, which every Windows has: Debian's Wine ships them but
# does not load them from its own folder.
for f in vgafix.fon marlett.ttf; do
  [ -f "/usr/share/wine/fonts/$f" ] &&
    cp "/usr/share/wine/fonts/$f" "$WINEPREFIX/drive_c/windows/Fonts/"
done
check "regsvr32 enregistre vesk.dll" vin regsvr32 /s "$(win "$DLL")"
check "les clés du registre sont écrites" cles_presentes
check "vesk.exe demo et edtdom" demo
check "client C++ (liaison précoce)" client
check "capture de Feuille_GenCode" test -s "$BUILD/com-feuille-gencode.png"
check "VBScript par cscript (liaison tardive)" vbscript
check "regsvr32 /u" vin regsvr32 /u /s "$(win "$DLL")"
check "regsvr32 /u retire toutes les clés" cles_absentes
check "regsvr32 /u une seconde fois" vin regsvr32 /u /s "$(win "$DLL")"

echo "$PASSED passed, $FAILED failed"
[ "$FAILED" -eq 0 ]
