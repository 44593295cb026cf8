#!/usr/bin/env bash
# The test command: installs what is missing (Debian), then builds and tests Vesk four ways:
#   native   Debug build with GCC, every test (build/)
#   asan     AddressSanitizer + UndefinedBehaviorSanitizer build, every test (build-asan/)
#   win      Windows cross-build (mingw-w64), every test program run under Wine, and the COM
#            server vesk.dll tested from real clients (scripts/test-com.sh) (build-win/)
#   fuzz     libFuzzer build (clang), each target run a short while on its seeds (build-fuzz/)
#   paquet   Release build (build-release/, as scripts/run-demo.sh makes it): cmake --install in a
#            temporary prefix, a consumer project against it, the Debian package checked by
#            lintian, installed and removed (scripts/test-paquet.sh)
#   pg       the database store: a throwaway PostgreSQL server (scripts/postgres-local.sh), then
#            the tests that need one, on the native build (build/)
#   site     the demo's site (`vesk site`) in headless Chromium, with its screenshots
#            (scripts/test-site.sh; build/site-captures/), on the native build (build/)
# Usage: bash scripts/test.sh [native] [asan] [win] [fuzz] [paquet] [pg] [site]   (no argument:
# all seven)
# Ends with the line "N passed, M failed" over all stages; exit status 1 when anything failed.
# VESK_FUZZ_SECONDS sets the run time of each fuzz target (default 20).
set -u
cd "$(dirname "$0")/.." || exit 2
ROOT=$(pwd)
JOBS=$(nproc)
FUZZ_SECONDS=${VESK_FUZZ_SECONDS:-20}
source scripts/deps.sh
source scripts/wine-prefix.sh

STAGES=("$@")
[ ${#STAGES[@]} -eq 0 ] && STAGES=(native asan win fuzz paquet pg site)
for s in "${STAGES[@]}"; do
  case "$s" in
    native | asan | win | fuzz | paquet | pg | site) ;;
    *)
      echo "étape inconnue : $s (native, asan, win, fuzz, paquet, pg ou site)" >&2
      exit 2
      ;;
  esac
done

TOTAL_PASSED=0
TOTAL_FAILED=0
SUMMARY=()

# record STAGE PASSED FAILED SECONDS NOTE
record() {
  TOTAL_PASSED=$((TOTAL_PASSED + $2))
  TOTAL_FAILED=$((TOTAL_FAILED + $3))
  SUMMARY+=("$(printf '%-7s %4d passed, %3d failed  %5ds  %s' "$1" "$2" "$3" "$4" "$5")")
  echo "== $1 : $2 passed, $3 failed en $4 s $5"
}

# build DIR CMAKE_ARGS...: configures and builds; the build log is DIR/build.log.
build() {
  local dir=$1
  shift
  echo "== configuration et compilation de $dir"
  mkdir -p "$ROOT/$dir"
  if ! cmake -S "$ROOT" -B "$ROOT/$dir" -G Ninja "$@" >"$ROOT/$dir/build.log" 2>&1 ||
    ! ninja -C "$ROOT/$dir" -j "$JOBS" >>"$ROOT/$dir/build.log" 2>&1; then
    grep -E -B2 -A12 'error|Error|FAILED' "$ROOT/$dir/build.log" | head -80
    echo "échec de la compilation de $dir (journal complet : $dir/build.log)"
    return 1
  fi
}

# run_ctest STAGE DIR START [CTEST_ARGS...]: runs CTest and records its counts.
run_ctest() {
  local stage=$1 dir=$2 start=$3 log="$ROOT/$2/ctest.log"
  [ $# -gt 3 ] && log="$ROOT/$dir/ctest-$stage.log"
  shift 3
  (cd "$ROOT/$dir" && ctest -j "$JOBS" --timeout 900 --output-on-failure "$@") >"$log" 2>&1
  local line total failed
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -1)
  if [ -n "$line" ]; then
    failed=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$line")
    total=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\2/' <<<"$line")
  elif grep -q 'No tests were found' "$log"; then
    failed=0 total=0
  else
    tail -30 "$log"
    failed=1 total=1
  fi
  if [ "$failed" -ne 0 ]; then
    sed -n '/The following tests FAILED/,$p' "$log"
    grep -E -A25 '^\[  FAILED  \]|Failure$|ERROR: AddressSanitizer|runtime error' "$log" |
      head -120
  fi
  record "$stage" $((total - failed)) "$failed" $(($(date +%s) - start)) "(journal : ${log#"$ROOT/"})"
}

stage_native() {
  local start
  start=$(date +%s)
  if build build -DCMAKE_BUILD_TYPE=Debug; then
    run_ctest native build "$start"
  else
    record native 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
  fi
}

stage_asan() {
  local start
  start=$(date +%s)
  if build build-asan -DCMAKE_BUILD_TYPE=Debug -DVESK_SANITIZE=ON -DVESK_BENCH=OFF; then
    ASAN_OPTIONS=abort_on_error=0:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      LSAN_OPTIONS=suppressions="$ROOT/scripts/lsan.supp" run_ctest asan build-asan "$start"
  else
    record asan 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
  fi
}

stage_win() {
  local start
  start=$(date +%s)
  if build build-win -DCMAKE_BUILD_TYPE=Debug -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake"
  then
    local exe bad=0
    while IFS= read -r exe; do
      if x86_64-w64-mingw32-objdump -p "$exe" | grep 'DLL Name' |
        grep -viqE 'kernel32|msvcrt|user32|gdi32|advapi32|ole32|oleaut32|shell32|comctl32|comdlg32|ws2_32|shlwapi|uuid|rpcrt4|version|api-ms-win'; then
        echo "$exe importe une DLL qui n'est pas du système :"
        x86_64-w64-mingw32-objdump -p "$exe" | grep 'DLL Name'
        bad=1
      fi
    done < <(find "$ROOT/build-win" \( -name '*.exe' -o -name '*.dll' \) -not -path '*/CMakeFiles/*')
    vesk_wine_prefix_make
    run_ctest win build-win "$start"
    vesk_wine_prefix_cleanup
    [ $bad -eq 0 ] || record win-dll 0 1 0 "(DLL importée hors système)"
  else
    record win 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
  fi
}

# fuzz_one EXE: runs one target on a copy of its seeds; a crash, a leak or a hang fails it.
fuzz_one() {
  local exe=$1 name work corpus
  name=$(basename "$exe" _fuzz)
  work="$ROOT/build-fuzz/run/$name"
  rm -rf "$work" && mkdir -p "$work/corpus" "$work/artifacts"
  for corpus in "$ROOT/fuzz/corpus/$name" "$ROOT/fuzz/corpus/${name}_fuzz"; do
    [ -d "$corpus" ] && cp -R "$corpus/." "$work/corpus/"
  done
  timeout $((FUZZ_SECONDS + 120)) "$exe" -max_total_time="$FUZZ_SECONDS" -timeout=20 \
    -rss_limit_mb=2048 -artifact_prefix="$work/artifacts/" "$work/corpus" >"$work/log" 2>&1
  echo $? >"$work/status"
}

stage_fuzz() {
  local start
  start=$(date +%s)
  if [ ! -f "$ROOT/fuzz/CMakeLists.txt" ]; then
    record fuzz 0 0 0 "(pas de dossier fuzz/)"
    return
  fi
  if ! build build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
    -DVESK_FUZZ=ON; then
    record fuzz 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
    return
  fi
  local targets=() exe
  for exe in "$ROOT"/build-fuzz/fuzz/*_fuzz; do
    [ -f "$exe" ] && [ -x "$exe" ] && targets+=("$exe")
  done
  local running=0
  for exe in "${targets[@]}"; do
    echo "== fuzz $(basename "$exe") pendant $FUZZ_SECONDS s"
    fuzz_one "$exe" &
    running=$((running + 1))
    if [ $running -ge "$JOBS" ]; then
      wait -n
      running=$((running - 1))
    fi
  done
  wait
  local passed=0 failed=0 name status
  for exe in "${targets[@]}"; do
    name=$(basename "$exe" _fuzz)
    status=$(cat "$ROOT/build-fuzz/run/$name/status" 2>/dev/null || echo 99)
    if [ "$status" -eq 0 ]; then
      passed=$((passed + 1))
    else
      failed=$((failed + 1))
      echo "ÉCHEC du fuzz $name (statut $status) ; cas trouvé dans build-fuzz/run/$name/artifacts/ :"
      ls "$ROOT/build-fuzz/run/$name/artifacts/"
      tail -40 "$ROOT/build-fuzz/run/$name/log"
    fi
  done
  record fuzz "$passed" "$failed" $(($(date +%s) - start)) "(${#targets[@]} cibles)"
}

stage_paquet() {
  local start line
  start=$(date +%s)
  if ! build build-release -DCMAKE_BUILD_TYPE=Release -DVESK_TESTS=OFF -DVESK_BENCH=OFF; then
    record paquet 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
    return
  fi
  bash "$ROOT/scripts/test-paquet.sh" "$ROOT/build-release" | tee "$ROOT/build-release/paquet.log"
  line=$(grep -E '^[0-9]+ passed, [0-9]+ failed$' "$ROOT/build-release/paquet.log" | tail -1)
  [ -n "$line" ] || line="0 passed, 1 failed"
  record paquet "${line%% passed*}" "$(sed -E 's/.* ([0-9]+) failed/\1/' <<<"$line")" \
    $(($(date +%s) - start)) "(journal : build-release/paquet.log)"
}

# The database store's tests (their names hold "postgresql", "Postgresql" or "pg_"), against a
# throwaway server whose folder is removed at the end.
stage_pg() {
  local start dir uri
  start=$(date +%s)
  if ! build build -DCMAKE_BUILD_TYPE=Debug; then
    record pg 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
    return
  fi
  dir=$(mktemp -d /tmp/vesk-pg.XXXXXX)
  PG_DIR=$dir
  if ! uri=$(bash "$ROOT/scripts/postgres-local.sh" start "$dir" | tail -1) || [ -z "$uri" ]; then
    record pg 0 1 $(($(date +%s) - start)) "(serveur PostgreSQL non démarré)"
  else
    VESK_PG_URI=$uri run_ctest pg build "$start" -R '[Pp]ostgresql|pg_'
  fi
  stop_pg
}

# The site in a real browser: Chromium missing is a failure, never a skip.
stage_site() {
  local start line
  start=$(date +%s)
  if ! build build -DCMAKE_BUILD_TYPE=Debug; then
    record site 0 1 $(($(date +%s) - start)) "(échec de la compilation)"
    return
  fi
  bash "$ROOT/scripts/test-site.sh" "$ROOT/build/src/cli/vesk" "$ROOT/build/site-captures" |
    tee "$ROOT/build/site.log"
  line=$(grep -E '^[0-9]+ passed, [0-9]+ failed$' "$ROOT/build/site.log" | tail -1)
  [ -n "$line" ] || line="0 passed, 1 failed"
  record site "${line%% passed*}" "$(sed -E 's/.* ([0-9]+) failed/\1/' <<<"$line")" \
    $(($(date +%s) - start)) "(journal : build/site.log ; captures : build/site-captures/)"
}

# Stops the stage's server and removes its folder (also when the script is interrupted).
PG_DIR=
stop_pg() {
  [ -n "$PG_DIR" ] || return 0
  bash "$ROOT/scripts/postgres-local.sh" stop "$PG_DIR" >/dev/null 2>&1
  rm -rf "$PG_DIR"
  PG_DIR=
}

RUN_START=$(date +%s)
vesk_install "${VESK_TEST_PACKAGES[@]}" || {
  echo "installation impossible"
  echo "0 passed, 1 failed"
  exit 1
}
trap 'vesk_wine_prefix_cleanup; stop_pg' EXIT
for s in "${STAGES[@]}"; do
  "stage_$s"
done

echo
echo "== résumé ($(($(date +%s) - RUN_START)) s en tout)"
printf '%s\n' "${SUMMARY[@]}"
echo "$TOTAL_PASSED passed, $TOTAL_FAILED failed"
[ "$TOTAL_FAILED" -eq 0 ]
