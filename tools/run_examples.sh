#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Solves every example case and prints its results:  tools/run_examples.sh build/bin/quiver
set -eu
program=$1
examples=$(dirname "$0")/../examples
failed=0
for case in "$examples"/*/case.yaml; do
  folder=$(basename "$(dirname "$case")")
  command=solve
  grep -q '^simulate:' "$case" && command=simulate
  printf '\n$ %s %s examples/%s/case.yaml\n' "$program" "$command" "$folder"
  "$program" "$command" "$case" || failed=1
done
printf '\nEach case is explained in its folder: examples/*/README.md. What else there is: %s --help\n' "$program"
exit $failed
