# shellcheck shell=bash
# Sourced by the scripts: installs, on Debian, the packages that are missing (and only those).
#   source scripts/deps.sh; vesk_install PACKAGE...
vesk_install() {
  local missing=() p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
      missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "== installation : ${missing[*]}"
  local sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null; then
      sudo=(sudo)
    else
      echo "paquets manquants (${missing[*]}) : lancer ce script en root" >&2
      return 1
    fi
  fi
  export DEBIAN_FRONTEND=noninteractive
  if [ -z "${VESK_APT_UPDATED:-}" ]; then
    "${sudo[@]}" apt-get update -q || return 1
    VESK_APT_UPDATED=1
  fi
  "${sudo[@]}" apt-get install -y -q "${missing[@]}"
}

# What building and running the native program needs.
VESK_BUILD_PACKAGES=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev libinih-dev libtomlplusplus-dev libsqlite3-dev liblmdb-dev libncurses-dev libcairo2-dev
  libpango1.0-dev fonts-liberation libpq-dev libgraphviz-dev libxml2-dev)
# shellcheck disable=SC2034  # used by the scripts that source this file
# What the tests need on top: sanitizers and libFuzzer (clang), the Windows cross-build and
# Wine (widl and Wine's IDL files for the COM server; a virtual display and a screenshot tool
# for its windows), PDF and terminal checks, the Debian package (cpack's dependencies,
# lintian, man), and a browser for the site.
VESK_TEST_PACKAGES=("${VESK_BUILD_PACKAGES[@]}" clang libclang-rt-14-dev
  g++-mingw-w64-x86-64-posix mingw-w64-tools wine wine64 libwine-dev xvfb xauth imagemagick
  poppler-utils tmux dpkg-dev file lintian man-db postgresql chromium)
