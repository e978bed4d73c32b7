#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Compares what the examples printed with what they should print: values to 1e-6, all else to the letter, but for how many iterations it
# took. Prints the first line that differs of each example.
#
#   tools/same_results.sh FOLDER      # FOLDER/relief_gas against examples/relief_gas/expected.txt, and so on
set -euo pipefail
examples=$(dirname "$0")/../examples
wrong=0
[ -n "$(ls "$1")" ] || { echo "same_results: $1 holds no results of examples" >&2; exit 2; }
for found in "$1"/*; do
  name=${found##*/}
  cleaned() { sed 's/, [0-9]* iteration.*//; s/\r$//' "$1"; }
  paste -d '\n' <(cleaned "$examples/$name/expected.txt") <(cleaned "$found") | awk -v name="$name" '
    NR % 2 {expected = $0; n = split($0, words); next}
    {
      same = n == NF
      for (i = 1; i <= n && same; i++) {
        off = words[i] - $i
        same = words[i] "" == $i "" || off * off < 1e-12 * words[i] * words[i]
      }
      if (!same) {print name ":\n- " expected "\n+ " $0; wrong = 1; exit}
    }
    END {exit wrong}' || wrong=1
done
exit "$wrong"
