#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What the tree says about itself: every source file has its licence line, the version stands in CMakeLists.txt and agrees with what
# repeats it for people, and NOTICE names every library that is linked.
#
#   tests/install/metadata.sh [TREE]
set -euo pipefail
cd "${1:-$(dirname "$0")/../..}"
wrong=0
say() { echo "$1"; wrong=1; }

sources=$(find . \( -name 'build*' -o -name .git -o -name .cache \) -prune -o -type f \
  \( -regex '.*\.\(cc\|h\|c\|def\|in\|cmake\|sh\|pl\|py\|rc\|js\)' -o -name CMakeLists.txt -o -name Makefile -o -name CITATION.cff -o -path ./.ci/run \) -print)
[ "$(wc -l <<<"$sources")" -gt 500 ] || say 'Hardly any source files were found.'
while read -r file; do
  head -n 3 "$file" | grep -q 'SPDX-License-Identifier: Apache-2.0$' || say "$file: no licence in its first lines (SPDX-License-Identifier: Apache-2.0)"
done <<<"$sources"
grep -q 'Apache License' LICENSE && grep -q 'Version 2.0, January 2004' LICENSE || say 'LICENSE is not the Apache License, Version 2.0.'

version=$(sed -n 's/^project(Quiver VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || say 'CMakeLists.txt names no version.'
newest=$(sed -n 's/^## \([0-9.]*\).*/\1/p' CHANGELOG.md | head -n 1)
[ "$newest" = "$version" ] || say "CHANGELOG.md begins with $newest, CMakeLists.txt says $version"
cited=$(sed -n 's/^version: //p' CITATION.cff)
[ "$cited" = "$version" ] || say "CITATION.cff cites $cited, CMakeLists.txt says $version"
repeated=$(grep -lF "$version" $sources | grep -vE '^\./(CMakeLists.txt|CITATION.cff)$' || true)
[ -z "$repeated" ] || say "The version $version is written in CMakeLists.txt alone, not in: $repeated"

# The packages of the build but for tools and what only tests use; the name is what precedes the colon.
linked=$(sed -n '/^packages=/,/^.$/p' tools/install_dependencies.sh | grep -E '^[a-z0-9-]*-dev ' | grep -vE 'test|mock|benchmark|mpi' |
  sed -E 's/^[^ ]+ +([^ :]+).*/\1/')
for name in $linked SUNDIALS; do
  grep -qiE "(^|[^a-z])$name([^a-z]|$)" NOTICE || say "NOTICE does not name $name, which is linked."
done
[ "$(wc -w <<<"$linked")" -ge 5 ] || say 'tools/install_dependencies.sh lists hardly any library.'
exit "$wrong"
