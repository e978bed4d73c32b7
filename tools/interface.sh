#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The binary interface between host and model library as text: of every class of the contract its size, members with offsets and
# types, and virtual functions in order; the values of its enumerations; then what the host exports. What the model library exports is in tests/host/exports.txt.
#
#   tools/interface.sh build            # prints it
#   tools/interface.sh build --check    # compares with host/interface.txt, which `make interface` renews
#
# Needs g++ and binutils. The first line carries the version: another interface under the same version is a fault.
set -eu
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

version=$(sed -n 's/^project(Quiver VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
contract=$(sed -n 's/.*kQvCompatibilityVersion = \([0-9]*\);.*/\1/p' "$root/host/export.h")

cd "$root"
for header in host/*.h host/modeller/*.h; do
  printf '#include "%s"\n' "$header"
done >"$scratch/contract.cc"
g++ -std=c++20 -I. -g -fno-eliminate-unused-debug-types -femit-class-debug-always -fdump-lang-class="$scratch/contract.class" \
  -c "$scratch/contract.cc" -o "$scratch/contract.o"

symbols() {  # FILE PATTERN
  nm -D --defined-only "$1" | awk '$2 ~ /^[TRDB]$/ {print $3}' | grep -E "$2" | LC_ALL=C sort
}
{
  printf 'version %s contract %s\n\n' "$version" "$contract"
  readelf --debug-dump=info --wide "$scratch/contract.o" | perl "$root/tools/interface_classes.pl"
  printf '\n'
  # Functions by their names alone; a class with the same ones as an earlier class names it.
  awk 'function finish() {
         if (name == "") return
         if (table in first) printf "virtual %s as %s\n", name, first[table]
         else { first[table] = name; printf "virtual %s%s\n", name, table }
         name = ""
       }
       /^Vtable for QV/ {finish(); name = $3; table = ""; next}
       /^$/ {finish()}
       name != "" && /^[0-9]+ .*::/ && !/_ZTI/ {sub(/.*::/, ""); sub(/^~.*/, "~"); table = table "\n  " $0}
       END {finish()}' "$scratch/contract.class"
  printf '\nexported by the host\n'
  symbols "$build/lib/libquiver_host.so" '^_ZT?[A-Z]*N?K?[0-9]+QV' | grep -v '[0-9]QV_Default'
} >"$scratch/interface.txt"

if [ "${2:-}" != --check ]; then
  cat "$scratch/interface.txt"
  exit 0
fi
if cmp -s "$scratch/interface.txt" host/interface.txt; then
  exit 0
fi
diff -u host/interface.txt "$scratch/interface.txt" || true
if [ "$(head -n 1 host/interface.txt)" = "$(head -n 1 "$scratch/interface.txt")" ]; then
  echo 'The interface between host and model library changed, but the version did not: libraries built before would misbehave silently.
Raise VERSION in CMakeLists.txt (and kQvCompatibilityVersion in host/export.h if old libraries must be refused), then: make interface' >&2
else
  echo 'The version was raised: record the interface with: make interface' >&2
fi
exit 1
