#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Unpacks the Windows zip into an empty folder and uses it from there under wine: solves every example and compares with its expected
# output, sweeps, writes a report, refuses a file that is not there.
#
#   tools/check_windows_package.sh        # after make windows
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
version=$(sed -n 's/^project(Quiver VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
zip=$root/build-windows/quiver-$version-windows-x64.zip
[ -f "$zip" ] || { echo "check_windows_package: $zip is missing: make windows" >&2; exit 2; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
cmake -E tar xf "$zip"
cd "quiver-$version-windows-x64"
# Nothing that lies around the build is found from here.
quiver() { "$root/tools/windows_emulator.sh" bin/quiver.exe "$@"; }
fail() { echo "check_windows_package: $1" >&2; exit 1; }

[ "$(quiver --version | tr -d '\r')" = "quiver $version" ] || fail 'quiver --version names another version'
mkdir "$scratch/found"
for case in share/quiver/examples/*/case.yaml; do
  folder=${case%/*}
  command=solve
  ! grep -q '^simulate:' "$case" || command=simulate
  quiver "$command" "$case" >"$scratch/found/${folder##*/}" || fail "$command $case returned $?"
done
"$root/tools/same_results.sh" "$scratch/found" || fail 'examples give other results'

example=share/quiver/examples/liquid_relief/case.yaml
quiver sweep $example --vary 'psv.P_DROP=1..10 bar:50' --output "$scratch/points.csv"
[ "$(grep -c ',solved,' "$scratch/points.csv")" -eq 50 ] || fail 'the sweep did not solve 50 points'
quiver report $example --output "$scratch/page.html"
grep -q '</html>' "$scratch/page.html" || fail 'the report is no page'
status=0
message=$(quiver solve nowhere/case.yaml 2>&1) || status=$?
[ "$status" -eq 2 ] && [[ $message = *nowhere* ]] || fail "a missing file gives status $status and: $message"
echo "check_windows_package: $(find "$scratch/found" -type f | wc -l) examples, a sweep and a report from the unpacked zip, as expected"
