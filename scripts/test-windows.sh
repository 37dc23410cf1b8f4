#!/bin/sh
# Cross builds the Windows preset with MinGW-w64 and runs the whole test
# suite under Wine: every test of every test program in a process of its
# own (as ctest runs them on Linux), then the demo to its last line.
# Wine gets a fresh prefix, no display, and the local zone UTC.
# Usage: scripts/test-windows.sh          Any failure fails the script.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps-windows.sh
cmake --preset windows >/dev/null
cmake --build --preset windows

build=$PWD/build/windows
WINEPREFIX=$(mktemp -d "${TMPDIR:-/tmp}/kov-wine-XXXXXX")
export WINEPREFIX
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" TZ=UTC
unset DISPLAY WAYLAND_DISPLAY
gcc_dir=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
pthread_dir=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libwinpthread-1.dll)")
export WINEPATH="Z:$build/bin;Z:$gcc_dir;Z:$pthread_dir"
trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
wineserver -p 60 || true  # one server for all the programs below
wineboot -i >/dev/null 2>&1 || true

passed=0 failed=0 skipped=0
failures=""
mkdir -p "$build/test-work"
cd "$build/test-work"
for program in "$build"/bin/test_*.exe; do
  name=$(basename "$program" .exe)
  tests=$(wine "$program" --gtest_list_tests | tr -d '\r' | awk '
    /^[^ ]/ { suite = $1; next }
    /^  [^ ]/ { print suite $1 }')
  for test in $tests; do
    log=$(mktemp)
    if wine "$program" --gtest_filter="$test" >"$log" 2>&1; then
      if grep -q '^\[  SKIPPED \]' "$log"; then
        skipped=$((skipped + 1))
        echo "SKIPPED $name $test: $(tr -d '\r' <"$log" | grep -A1 ': Skipped$' | sed -n 2p)"
      else
        passed=$((passed + 1))
      fi
    else
      failed=$((failed + 1))
      failures="$failures $name:$test"
      echo "FAILED  $name $test"
      tr -d '\r' <"$log" | sed 's/^/    /'
    fi
    rm -f "$log"
  done
done

# The demo runs through to its last line.
demo_log=$(mktemp)
if wine "$build/bin/kov_demo.exe" >"$demo_log" 2>&1 && tr -d '\r' <"$demo_log" | grep -q '^Done: every section ran\.'; then
  passed=$((passed + 1))
else
  failed=$((failed + 1))
  failures="$failures kov_demo"
  echo "FAILED  kov_demo"
  tr -d '\r' <"$demo_log" | tail -20 | sed 's/^/    /'
fi
rm -f "$demo_log"

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
