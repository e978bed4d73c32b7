#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs the fuzz targets of builds for libFuzzer: `make fuzz` after building one, `make fuzz-long` after building both.
#
#   tools/fuzz.sh build-fuzz 10                     10 seconds each, from the seeds and what earlier runs left in build-fuzz/corpus
#   tools/fuzz.sh build-fuzz 600 case tokens        these two, ten minutes each
#   tools/fuzz.sh --executions 10000000 tokens      in slices until so many inputs were executed, over all runs; goes on where it stopped
#   tools/fuzz.sh --table                           how many were executed up to now, by target and build
#
# The long work alternates between two builds: build-fuzz-fast, whose traps cost little, executes most of the inputs and grows the
# corpus; build-fuzz, under the address and undefined-behaviour sanitizers, executes that corpus and goes on from it for a sixth of
# the time. build-fuzz/executions.txt keeps what each slice executed, as libFuzzer tells it, and the
# processor time of it. SLICE=60: seconds of a slice.
#
# Limits of a single input: 5 seconds, 512 MB; a minute in the long work, which gives way to everything else. What breaks a target stays in build-fuzz/found; a copy in tests/fuzz/found/<target>
# makes it a test of every build. Ends with 1 when something was found.
set -u
export ASAN_OPTIONS=malloc_context_size=4:quarantine_size_mb=16:detect_stack_use_after_return=0
all_targets=(tokens tables sets routines properties case)
counts=build-fuzz/executions.txt

# run BUILD TARGET OPTION...: one process. Sets `executed`, `spent` (seconds of processor time) and, where something was found, `find`;
# fails then.
run() {
  local build=$1 target=$2 log=$1/fuzz_$2.log words=tests/fuzz/$2.dict known=() status=0 TIMEFORMAT='%U %S'
  local corpus=build-fuzz/corpus/$target
  shift 2
  mkdir -p build-fuzz/found "$corpus"
  for folder in tests/fuzz/{seeds,found,learnt}/$target; do [ ! -d "$folder" ] || known+=("$folder"); done
  [ ! -f "$words" ] || known+=("-dict=$words")
  { time "$build/bin/fuzz_$target" -entropic=0 -reload=0 -print_funcs=0 -print_final_stats=1 -artifact_prefix="build-fuzz/found/$target-" "$@" \
    "$corpus" "${known[@]}" >"$log" 2>&1; } 2>"$log.time" || status=1
  spent=$(awk '{ print $1 + $2 }' "$log.time")
  executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  find=$(sed -n 's/.*Test unit written to //p' "$log" | head -n 1)
  return $status
}

# tell BUILD TARGET: what `run` found.
tell() {
  printf '%-11s FOUND: %s\n' "$2" "${find:-nothing that was kept}"
  grep -m 1 -E 'Broken promise|runtime error|ERROR: |terminate called' "$1/fuzz_$2.log" | sed 's/^/            /'
  printf '            Look with build-fuzz/bin/fuzz_%s FILE; the whole report is in %s\n' "$2" "$1/fuzz_$2.log"
}

short_runs() {
  local build=$1 seconds=$2 target status=0
  shift 2
  for target in "${@:-${all_targets[@]}}"; do
    if run "$build" "$target" -max_total_time="$seconds" -max_len=4096 -timeout=5 -rss_limit_mb=512; then
      printf '%-11s %s executions, nothing found\n' "$target" "$executed"
    else
      status=1
      tell "$build" "$target"
    fi
  done
  return $status
}

# count TARGET BUILD: executions up to now; both builds where BUILD is empty.
count() {
  [ -f "$counts" ] || { echo 0; return; }
  awk -v target="$1" -v build="$2" '$1 == target && (build == "" || $2 == build) { n += $3 } END { printf "%d\n", n }' "$counts"
}

table() {
  [ -f "$counts" ] || { echo 'Nothing was executed yet: tools/fuzz.sh --executions N.'; return; }
  awk '{ n[$1, $2] += $3; s[$1, $2] += $4; seen[$1] }
       function rate(key) { return s[key] ? n[key] / s[key] : 0 }
       END { printf "%-11s %12s %8s %12s %8s\n", "target", "fast", "per s", "sanitized", "per s"
             split("tokens tables sets routines properties case", order, " ")
             for (k = 1; k <= 6; ++k) if (order[k] in seen) { t = order[k]
               printf "%-11s %12d %8d %12d %8d\n", t, n[t, "fast"], rate(t SUBSEP "fast"), n[t, "sanitized"], rate(t SUBSEP "sanitized") } }' "$counts"
}

# slice NAME BUILD TARGET SECONDS OPTION...: one run, kept in the account. Sets and texts that were given last as long as the
# process, so an end after so many executions keeps the memory of `sets` bounded. A build that is not there is passed over.
slice() {
  local name=$1 build=$2 target=$3 seconds=$4
  shift 4
  [ -x "$build/bin/fuzz_$target" ] || return 0
  present=1
  run "$build" "$target" -max_total_time="$seconds" -runs=1500000 -timeout=60 "$@" || [ "$stopped" ] || { found=1; tell "$build" "$target"; }
  echo "$target $name ${executed:-0} $spent" >>"$counts"
}

long_runs() {
  [[ ${1:-} =~ ^[0-9]+$ ]] || { echo "--executions takes a number of inputs, then targets: ${all_targets[*]}" >&2; return 2; }
  local goal=$1 seconds=${SLICE:-60} target below=1 present found=0 stopped=
  shift
  mkdir -p build-fuzz
  trap 'stopped=1' INT TERM  # what the slice has executed up to then still counts
  while [ $below -eq 1 ] && [ ! "$stopped" ]; do
    below=0 present=0
    for target in "${@:-${all_targets[@]}}"; do
      [ ! "$stopped" ] && [ "$(count "$target" '')" -lt "$goal" ] || continue
      below=1
      slice fast build-fuzz-fast "$target" "$seconds" -max_len=256 -rss_limit_mb=2048
      [ "$stopped" ] || slice sanitized build-fuzz "$target" $((seconds / 6)) -max_len=4096 -rss_limit_mb=1024
    done
    [ "$stopped" ] || [ $below -eq $present ] || { echo 'Neither build-fuzz-fast nor build-fuzz has these targets: make fuzz-long builds them.' >&2; return 2; }
  done
  table
  return $found
}

main() {
  cd "$(dirname "$0")/.." || exit 2
  case ${1:-} in
    --executions) long_runs "${@:2}" ;;
    --table) table ;;
    *) short_runs "$@" ;;
  esac
}

# Read whole before it starts: it may be edited while it runs.
main "$@"
exit
