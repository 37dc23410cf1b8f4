#!/bin/sh
# Builds the release preset, runs every benchmark program with repetitions
# (benchmarks of one program interleaved in random order, so that a busy
# moment of the machine does not fall on one side of a comparison), and
# prints one table: each comparison the project tracks as the ratio of two
# medians, then every median.
# Usage: scripts/bench.sh [repetitions] [filter]
#   repetitions: default 5; filter: a regular expression of benchmark names
#   (--benchmark_filter), default all. Results stay in build/release/bench-results.
set -e
cd "$(dirname "$0")/.."
repetitions="${1:-5}"
filter="${2:-.}"
sh scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release

out=build/release/bench-results
rm -rf "$out"
mkdir -p "$out"
for program in build/release/bin/bench_*; do
  name=$(basename "$program")
  # The tuning program searches thresholds; it is no measurement to compare.
  [ "$name" = bench_ext_number_tune ] && continue
  echo "running $name" >&2
  if ! "$program" --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true --benchmark_filter="$filter" \
    --benchmark_out="$out/$name.json" --benchmark_out_format=json >"$out/$name.log" 2>&1; then
    echo "$name failed; see $out/$name.log" >&2
  fi
done

# The medians, in nanoseconds: "name time label", one a line. The JSON
# report holds one field a line; a run ends at its closing brace.
for file in "$out"/*.json; do
  awk '
    function text(line) { sub(/^[^:]*: *"/, "", line); sub(/",? *$/, "", line); return line }
    /^ *"name":/ { name = text($0) }
    /^ *"real_time":/ { time = $2; sub(/,$/, "", time) }
    /^ *"time_unit":/ { unit = text($0) }
    /^ *"label":/ { label = text($0) }
    /^ *}/ {
      if (name ~ /_median$/) {
        sub(/_median$/, "", name)
        scale = unit == "us" ? 1e3 : unit == "ms" ? 1e6 : unit == "s" ? 1e9 : 1
        printf "%s %.6g %s\n", name, time * scale, label
      }
      name = ""; label = ""
    }' "$file"
done >"$out/medians.txt"

# numerator | denominator | what the ratio says
cat >"$out/ratios.txt" <<'EOF'
BM_spdlog_file_flushed/real_time/threads:1|BM_kov_trace_file/real_time/threads:1|traced line, 1 thread: spdlog time / kov time (above 1: kov faster)
BM_raw_write_floor/real_time/threads:1|BM_kov_trace_file/real_time/threads:1|traced line, 1 thread: raw write floor / kov
BM_spdlog_file_flushed/real_time/threads:2|BM_kov_trace_file/real_time/threads:2|traced line, 2 threads: spdlog / kov
BM_raw_write_floor/real_time/threads:2|BM_kov_trace_file/real_time/threads:2|traced line, 2 threads: raw write floor / kov
BM_kov_disabled_scope|BM_bare_level_test|disabled scope / bare level test (below 1.5 wanted)
BM_kov_trace_size/1024|BM_kov_trace_size/16|line of 1 KiB / line of 16 B
BM_kov_trace_size/2048|BM_kov_trace_size/1024|line of 2 KiB (the longest message) / line of 1 KiB
BM_kov_trace_size/2048|BM_raw_write_size/2048|line of 2 KiB: kov / one raw write of its length
BM_kov_dump/65535/iterations:500|BM_kov_dump/1024|dump of 64 KiB / dump of 1 KiB (64 when linear)
kov_add/16|gmp_add/16|ext add 16 B: kov / GMP
kov_sub/16|gmp_sub/16|ext sub 16 B: kov / GMP
kov_set_product/1024|gmp_set_product/1024|ext product 1 KiB: kov / GMP
kov_set_product/4096|gmp_set_product/4096|ext product 4 KiB: kov / GMP
kov_set_product/16384|gmp_set_product/16384|ext product 16 KiB: kov / GMP
kov_partial_inverse/1024|gmp_partial_inverse/1024|ext partial inverse 1 KiB: kov / GMP
kov_partial_inverse/4096|gmp_partial_inverse/4096|ext partial inverse 4 KiB: kov / GMP
kov_partial_inverse/16384|gmp_partial_inverse/16384|ext partial inverse 16 KiB: kov / GMP
BM_nev_get_string|BM_raw_sqlite_join|registry warm read / raw SQLite read
BM_get/0|BM_get/1|warm read: etcd hive / SQLite hive (below 2 wanted)
BM_raw_range|BM_get/0|raw etcd range / etcd hive warm read (above 100 wanted)
BM_set/0|BM_raw_put/0|etcd write / raw put to an unwatched key (below 1.5 wanted)
BM_set/0|BM_raw_put/1|etcd write / raw put to a watched key
BM_set/0|BM_raw_txn|etcd write / its transaction sent raw
BM_key_of/50000/0/1|BM_key_of/10/0/1|SQLite, read one value: 50,000 values in the key / 10
BM_key_of/50000/1/1|BM_key_of/10/1/1|SQLite, write one value: 50,000 / 10
BM_key_of/50000/2/1|BM_key_of/1000/2/1|SQLite, list all values: 50,000 / 1,000 (50 when linear)
BM_key_of/50000/0/0|BM_key_of/10/0/0|etcd, read one value: 50,000 / 10
BM_key_of/50000/1/0|BM_key_of/10/1/0|etcd, write one value: 50,000 / 10
BM_key_of/50000/2/0|BM_key_of/1000/2/0|etcd, list all values: 50,000 / 1,000 (50 when linear)
BM_writers/8/1/real_time|BM_writers/1/1/real_time|SQLite, one writer's write: 8 writing processes / 1
BM_writers/8/0/real_time|BM_writers/1/0/real_time|etcd, one writer's write: 8 writing processes / 1
BM_extract_from_list/100000|BM_extract_from_list/1000|extract ten names: list of 100,000 / 1,000 (100 when linear)
BM_replace_tokens_from_list/100000|BM_replace_tokens_from_list/1000|ten tokens filled: list of 100,000 / 1,000 (100 when linear)
BM_extract_many_names/100000/1|BM_extract_many_names/10000/1|extract every entry: list of 100,000 / 10,000 (10 when linear)
BM_replace_every_name_from_list/10000|BM_replace_every_name_from_list/1000|a token per entry filled: 10,000 entries / 1,000 (10 when linear)
BM_create_instance|BM_factory_floor|plug-in creation / its factory called directly
BM_create_among/100|BM_create_among/1|plug-in creation: 100 libraries registered / 1
EOF

echo
echo "Ratios of medians ($repetitions repetitions)"
awk -F'|' '
  FNR == NR { split($0, f, " "); median[f[1]] = f[2]; next }
  ($1 in median) && ($2 in median) && median[$2] > 0 { printf "  %8.3f  %s\n", median[$1] / median[$2], $3 }
' "$out/medians.txt" "$out/ratios.txt"
echo
echo "Medians (ns)"
awk '{ printf "  %14.1f  %s %s\n", $2, $1, $3 }' "$out/medians.txt"
