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
for program in "$programs"/bench_*; do
  "$program" --results="$results"
done
