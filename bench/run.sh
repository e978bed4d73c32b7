#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs every bench program of a build folder and writes their tables to bench/results.md.
#
#   bench/run.sh build
set -eu
programs=$1/bin
results=$(dirname "$0")/results.md
cores=$(nproc)
cpu=$(sed -n 's/^model name[^:]*: *//p' /proc/cpuinfo | head -n 1)
memory=$(awk '/MemTotal/ {printf "%.0f", $2 / 1048576}' /proc/meminfo)
load=$(cut -d ' ' -f 1 /proc/loadavg)
cat >"$results" <<END
# Measured

Written by \`make bench\`. Machine: $cpu, $cores cores, $memory GiB of memory, $(uname -s) on $(uname -m), $(c++ --version | head -n 1).
Load of the machine by other work when it began: $load.
END
"$programs"/bench_evaluation --results="$results"
"$programs"/bench_newton_iteration --results="$results"
{
  printf '\n## 100,000 instances of PSV_SW, from nothing to their solution\n\nGoal: 2 s on 2 cores and 1 GiB.\n\n```\n'
  "$programs"/bench_instances PSV_SW 100000
  printf '```\n'
} | tee -a "$results"
