#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds and installs the committed sources twice, in folders of different names, and compares all installed files byte by byte:
#
#   tools/check_reproducible.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for name in first the-second-one; do
  mkdir -p "$scratch/$name"
  git -C "$root" archive HEAD | tar -x -C "$scratch/$name"
  # Without the compiler cache: it would hand out the same object twice and prove nothing.
  CCACHE_DISABLE=1 cmake --log-level=WARNING --preset release -S "$scratch/$name" -D QUIVER_BUILD_TESTS=OFF >/dev/null
  CCACHE_DISABLE=1 cmake --build "$scratch/$name/build" --parallel "${JOBS:-$(nproc)}" --target products >/dev/null
  cmake --install "$scratch/$name/build" --prefix "$scratch/installed-$name" >/dev/null
done
diff -r "$scratch/installed-first" "$scratch/installed-the-second-one"
echo "check_reproducible: $(find "$scratch/installed-first" -type f | wc -l) files, the same bytes twice"
