#!/usr/bin/env bash
# The installation and the Debian package, from one Release build (BUILD_DIR, as
# scripts/run-demo.sh makes it):
#   cmake --install into a temporary prefix: vesk stripped, its manual page and completion, the
#   documentation, the headers and the CMake package; the consumer project packaging/consommateur
#   built against that prefix (find_package(Vesk)) and run;
#   cpack makes vesk_<version>_amd64.deb, lintian passes it without an error; dpkg -i installs
#   it, vesk --version, vesk demo in a temporary folder and man -w vesk work, dpkg -r removes it
#   (in a trap: a failure never leaves it installed). Needs root for dpkg.
# Usage: scripts/test-paquet.sh BUILD_DIR
# Ends with "N passed, M failed"; exit status 1 when anything failed. The package and the lintian
# report stay in BUILD_DIR (vesk_*.deb, lintian.log).
set -u
if [ $# -ne 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
  echo "usage : test-paquet.sh DOSSIER_DE_COMPILATION_RELEASE" >&2
  exit 2
fi
BUILD=$(cd "$1" && pwd)
SOURCE=$(cd "$(dirname "$0")/.." && pwd)
WORK=$(mktemp -d "${TMPDIR:-/tmp}/vesk-paquet.XXXXXX") || exit 2
INSTALLE=''
nettoie() {
  if [ -n "$INSTALLE" ]; then dpkg -r vesk >/dev/null 2>&1; fi
  rm -rf "$WORK"
}
trap nettoie EXIT
PASSED=0
FAILED=0
# check NAME COMMAND...: runs the command, its output in WORK/NAME.log, shown when it fails.
check() {
  local nom=$1
  shift
  if "$@" >"$WORK/$nom.log" 2>&1; then
    PASSED=$((PASSED + 1))
    echo "ok     $nom"
  else
    FAILED=$((FAILED + 1))
    echo "ÉCHEC  $nom"
    tail -30 "$WORK/$nom.log"
  fi
}

PREFIX=$WORK/prefix
installe() { cmake --install "$BUILD" --prefix "$PREFIX"; }
installation_complete() {
  local f
  for f in bin/vesk share/man/man1/vesk.1.gz share/bash-completion/completions/vesk \
    share/doc/vesk/README.md share/doc/vesk/copyright share/doc/vesk/changelog.gz \
    include/vesk/core/ass.h lib/cmake/Vesk/VeskConfig.cmake; do
    compgen -G "$PREFIX/$f" >/dev/null || { echo "manque : $f"; return 1; }
  done
  # stripped: no symbol table
  if readelf -S "$PREFIX/bin/vesk" | grep -q '\.symtab'; then
    echo "bin/vesk n'est pas dépouillé"
    return 1
  fi
  "$PREFIX/bin/vesk" --version
}
consommateur() {
  cmake -S "$SOURCE/packaging/consommateur" -B "$WORK/consommateur" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$PREFIX" &&
    ninja -C "$WORK/consommateur" &&
    mkdir "$WORK/dossier-consommateur" &&
    "$WORK/consommateur/consommateur" "$WORK/dossier-consommateur"
}
paquet() {
  rm -f "$BUILD"/vesk_*.deb
  (cd "$BUILD" && cpack -G DEB) && compgen -G "$BUILD/vesk_*_amd64.deb"
}
lintian_sans_erreur() {
  lintian --fail-on error --display-info "$BUILD"/vesk_*_amd64.deb >"$BUILD/lintian.log" 2>&1
  local statut=$?
  cat "$BUILD/lintian.log"
  return $statut
}
installe_paquet() {
  INSTALLE=1
  dpkg -i "$BUILD"/vesk_*_amd64.deb
}
essaie_paquet() {
  [ "$(command -v vesk)" = /usr/bin/vesk ] && /usr/bin/vesk --version &&
    (cd "$WORK" && /usr/bin/vesk demo demo-paquet && /usr/bin/vesk --data demo-paquet edtdom \
      --output - | grep -q 'TVA') && man -w vesk &&
    [ -f /usr/share/bash-completion/completions/vesk ]
}
retire_paquet() {
  dpkg -r vesk && INSTALLE='' && [ ! -e /usr/bin/vesk ] &&
    [ ! -e /usr/share/man/man1/vesk.1.gz ]
}

check installation installe
check installation-complete installation_complete
check consommateur consommateur
check cpack paquet
if compgen -G "$BUILD/vesk_*_amd64.deb" >/dev/null; then
  check lintian lintian_sans_erreur
  echo "       $(du -k "$BUILD"/vesk_*_amd64.deb | cut -f1) Kio : $(basename "$BUILD"/vesk_*_amd64.deb)"
  if [ "$(id -u)" -eq 0 ]; then
    check dpkg-i installe_paquet
    check paquet-installe essaie_paquet
    check dpkg-r retire_paquet
  else
    echo "dpkg -i et -r sautés : il faut être root"
    FAILED=$((FAILED + 1))
  fi
fi
echo "$PASSED passed, $FAILED failed"
[ "$FAILED" -eq 0 ]
