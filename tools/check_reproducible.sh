#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the sources a second time, in another folder, another time zone, with another umask, and compares with what the first build
# installs and packs, byte by byte:
#
#   tools/check_reproducible.sh build      # build holds the products and their package (make package)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
first=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}

# Another length of path, too: it shows where one was padded.
second=$scratch/a-folder-of-another-name/sources
mkdir -p "$second"
git -C "$root" ls-files -z | tar -c -C "$root" --null -T - | tar -x -C "$second"
[ ! -d "$root/build-sundials" ] || cp -r "$root/build-sundials" "$second"
(
  # Without the compiler cache: it might hand out the object of the first build and prove nothing.
  export CCACHE_DISABLE=1 TZ=Pacific/Kiritimati LC_ALL=C
  umask 077
  cd "$second"
  cmake --log-level=WARNING --preset release -D QUIVER_BUILD_TESTS=OFF >/dev/null
  cmake --build build --parallel "${JOBS:-$(nproc)}" --target products >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log" >&2; exit 1; }
  cd build
  cpack --config CPackConfig.cmake >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log" >&2; exit 1; }
)

wrong=0 n=0
for build in "$first" "$second/build"; do
  cmake --install "$build" --prefix "$scratch/installed$((n++))" >/dev/null
done
diff -r "$scratch/installed0" "$scratch/installed1" || wrong=1
for package in "$first"/*.deb; do
  cmp "$package" "$second/build/${package##*/}" || wrong=1
done
[ "$wrong" = 0 ] || { echo 'check_reproducible: a second build gave other bytes' >&2; exit 1; }
echo "check_reproducible: $(find "$scratch/installed0" -type f | wc -l) files and $(ls "$first"/*.deb | wc -l) packages, the same bytes twice"
