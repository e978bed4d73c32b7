#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Breaks the contract's headers in a copy, one way at a time, and expects tools/interface.sh to fail and to name what changed:
#
#   tests/host/interface_breaks.sh build
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0

# check BUILD: the comparison, in the copy.
check() { "$scratch/tree/tools/interface.sh" "$1" --check; }
renew() {
  rm -rf "$scratch/tree"
  mkdir -p "$scratch/tree/tools"
  cp "$source"/tools/interface* "$scratch/tree/tools"
  cp -r "$source/host" "$source/CMakeLists.txt" "$scratch/tree"
}
# named WHAT BUILD LINE...: the check fails, and its output holds every line.
named() {
  local what=$1 found line
  if found=$(check "$2" 2>&1); then
    echo "not noticed: $what"; failed=1
    return
  fi
  for line in "${@:3}"; do
    grep -qF -- "$line" <<<"$found" || { printf 'not named: %s\n  expected: %s\n%s\n' "$what" "$line" "$found"; failed=1; }
  done
}
# broken WHAT FILE EDIT LINE...: an edit (sed) of a header.
broken() {
  renew
  sed -i "$3" "$scratch/tree/$2"
  ! cmp -s "$scratch/tree/$2" "$source/$2" || { echo "nothing to edit: $1"; failed=1; }
  named "$1" "$build" "${@:4}"
}

renew
check "$build" || { echo 'fails without any change'; failed=1; }

broken 'a virtual function added' host/extensions.h 's/  virtual int Evaluate2();/&\n  virtual int Evaluate3();/' \
  '+  [1] int Evaluate3()' '-  [1] int JacEx2()' 'the version did not'
broken 'a virtual function removed' host/extensions.h '/virtual int EventReset();/d' '-  [1] int EventReset()'
broken 'two overloads in another order' host/extensions.h '/AddTerm(double/{h;d};/AddTerm(int value/{G}' \
  '-  [8] void AddTerm(double, int)' '+  [9] void AddTerm(double, int)'
broken 'another argument' host/extensions.h 's/AddTerm(double value/AddTerm(float value/' '+  [8] void AddTerm(float, int)'
broken 'another result' host/extensions.h 's/int Linearity/double Linearity/' '+  [15] double Linearity()'
broken 'members in another order' host/value.h 's/int b_, a_, index_;/int a_, b_, index_;/' '-  16   b_: int' '+  16   a_: int'
broken 'a member of another type and the same size' host/value.h 's/int b_, a_, index_;/int b_, a_; float index_;/' '+  24   index_: float'
broken 'a member added' host/value.h 's/int b_, a_, index_;/& long long more_;/' '+class QV_Value size 40'
broken 'another value' host/value.h 's/QV_SPEC_GIVEN = 4/QV_SPEC_GIVEN = 3/' '+  QV_SPEC_GIVEN = 3'
broken 'another base' host/extensions.h 's/class QV_API QV_ModelTypeEx2 : public QV_ModelTypeEx, public QV_ModelExtensions2/class QV_API QV_ModelTypeEx2 : public QV_ModelExtensions2, public QV_ModelTypeEx/' \
  '+  0    base QV_ModelExtensions2'

# An export lost and another one won: one renamed in a copy of the library.
renew
mkdir -p "$scratch/build/lib"
LC_ALL=C sed 's/_ZN8QV_ValueC1Edii/_ZN8QV_ValuXC1Edii/g' "$build/lib/libquiver_host.so" >"$scratch/build/lib/libquiver_host.so"
named 'an export removed' "$scratch/build" '-_ZN8QV_ValueC1Ediii' '+_ZN8QV_ValuXC1Ediii'

# With a new version the same change asks for another thing.
renew
sed -i 's/^project(Quiver VERSION [0-9.]*/project(Quiver VERSION 99.0.0/' "$scratch/tree/CMakeLists.txt"
named 'a version raised' "$build" '+version 99.0.0' 'record the interface with: make interface'
exit "$failed"
