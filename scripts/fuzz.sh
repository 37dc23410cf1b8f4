#!/bin/sh
# Builds the fuzz targets (preset "fuzz") and runs each for a while from a
# copy of its seed corpus in fuzz/corpus/<target>; the tree's corpus is never
# written. Prints target / executions / corpus size / result and fails when
# any target found a crash, a leak, a time-out or a failed check; its input
# is kept in the work folder that the table names.
# Usage: scripts/fuzz.sh [seconds per target, default 60] [target...]
# FUZZ_JOBS=2 runs two targets at a time.
set -e
cd "$(dirname "$0")/.."
seconds="${1:-60}"
[ $# -gt 0 ] && shift
jobs="${FUZZ_JOBS:-1}"
sh scripts/deps.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

if [ $# -gt 0 ]; then
  targets="$*"
else
  targets=$(ls fuzz/corpus)
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/kov-fuzz.XXXXXX")

run_target() {
  name="$1"
  dir="$work/$name"
  mkdir -p "$dir/corpus" "$dir/findings"
  cp fuzz/corpus/"$name"/* "$dir/corpus/"
  status=0
  build/fuzz/fuzz/fuzz_"$name" "$dir/corpus" -max_total_time="$seconds" -max_len=4096 -timeout=30 \
    -artifact_prefix="$dir/findings/" -print_final_stats=1 >"$dir/log" 2>&1 || status=$?
  echo "$status" >"$dir/status"
}

running=0
for name in $targets; do
  [ -x build/fuzz/fuzz/fuzz_"$name" ] || { echo "no fuzz target \"$name\"" >&2; exit 2; }
  run_target "$name" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait
    running=0
  fi
done
wait

failed=0
printf '%-16s %12s %8s  %s\n' target executions corpus result
for name in $targets; do
  dir="$work/$name"
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -n 1)
  size=$(ls "$dir/corpus" | wc -l)
  finding=$(ls "$dir/findings" | head -n 1)
  if [ "$(cat "$dir/status")" = 0 ] && [ -z "$finding" ]; then
    result=ok
  else
    result="FAILED: $dir/findings/$finding (log $dir/log)"
    failed=1
  fi
  printf '%-16s %12s %8s  %s\n' "$name" "${execs:-?}" "$size" "$result"
done
if [ "$failed" -ne 0 ]; then
  echo "fuzzing found faults; inputs and logs are in $work" >&2
  exit 1
fi
rm -rf "$work"
