#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# A short run of each fuzz target of a build for libFuzzer: `make fuzz` after building it.
#
#   tools/fuzz.sh build-fuzz 10               10 seconds each, from the seeds and what earlier runs left in build-fuzz/corpus
#   tools/fuzz.sh build-fuzz 600 case tokens  these two, ten minutes each
#
# Limits of a single input: 5 seconds, 512 MB. What breaks a target stays in build-fuzz/found; a copy in tests/fuzz/found/<target>
# makes it a test of every build. Ends with 1 when something was found.
set -u
cd "$(dirname "$0")/.." || exit 2
build=$1 seconds=$2
shift 2
[ $# -gt 0 ] || set -- tokens tables sets routines properties case
export ASAN_OPTIONS=malloc_context_size=4:quarantine_size_mb=16:detect_stack_use_after_return=0
mkdir -p "$build/found"
status=0
for target; do
  corpus=$build/corpus/$target log=$build/fuzz_$target.log words=tests/fuzz/$target.dict
  mkdir -p "$corpus"
  known=()
  for folder in tests/fuzz/seeds/$target tests/fuzz/found/$target; do [ ! -d "$folder" ] || known+=("$folder"); done
  [ ! -f "$words" ] || known+=("-dict=$words")
  if "$build/bin/fuzz_$target" -max_total_time="$seconds" -max_len=4096 -timeout=5 -rss_limit_mb=512 -entropic=0 \
      -print_final_stats=1 -artifact_prefix="$build/found/$target-" "$corpus" "${known[@]}" >"$log" 2>&1; then
    printf '%-11s %s executions, nothing found\n' "$target" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")"
  else
    status=1
    printf '%-11s FOUND: %s\n' "$target" "$(sed -n 's/.*Test unit written to //p' "$log" | head -n 1)"
    grep -m 1 -E 'Broken promise|runtime error|ERROR: |terminate called' "$log" | sed 's/^/            /'
    printf '            Look with %s/bin/fuzz_%s FILE; the whole report is in %s\n' "$build" "$target" "$log"
  fi
done
exit $status
