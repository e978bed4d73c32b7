#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Test programs of a build under Valgrind: memory that is read before it was written, which no sanitizer of GCC finds.
#
#   tools/valgrind.sh build                       # the list below
#   tools/valgrind.sh build contract_test         # one of them
#   tools/valgrind.sh --list                      # their names
#
# Valgrind 3.19 has no AVX-512 and says so to programs, so that AVX2 code runs. It computes long double in 64 bits: tests of
# accuracy that compare with it are left out, and those that count allocations unless they keep their own operator new.
set -u
# program           cases
list='
contract_test       *
frame_test          *
procedures_test     *
test_structure      *
test_linalg         *
test_expression     *-VectorMath.*:Shape.*:Operators.derivatives*
test_evaluation     *-Accuracy*
test_io             *-HostileCase.*
modeller_test       *
blocks_test         Feed.*:Pass.*:Valve.*
faults_test         Border.*:Construction.*:Workers.*
'
programs=$(printf '%s' "$list" | awk 'NF {print $1}')
if [ "${1:-}" = --list ]; then
  printf '%s\n' "$programs"
  exit 0
fi
build=${1:?a build folder}
shift
status=0
for program in ${*:-$programs}; do
  cases=$(printf '%s' "$list" | awk -v p="$program" '$1 == p {print $2}')
  seconds=$SECONDS
  log=$(mktemp)
  if valgrind -q --error-exitcode=9 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
      --soname-synonyms=somalloc=nouserintercepts "$build/bin/$program" --gtest_brief=1 "--gtest_filter=${cases:-*}" \
      </dev/null >"$log" 2>&1; then
    printf '%-18s %s, %d s\n' "$program" "$(grep -oE 'PASSED *\] [0-9]+ tests?' "$log" | sed 's/.*\] //')" $((SECONDS - seconds))
  else
    status=1
    printf '%-18s failed, %d s\n' "$program" $((SECONDS - seconds))
    cat "$log"
  fi
  rm -f "$log"
done
exit $status
