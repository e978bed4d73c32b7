#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# clang-tidy with the checks of .clang-tidy, one source at a time:  tools/lint.sh BUILD_FOLDER [FILE...]
# Without files: every source of the build that is no test.
set -eu
build=$1
shift
# Version 14, Debian 12's default, stops at <ranges> of its own standard library.
if command -v clang-tidy-19 >/dev/null 2>&1; then
  tidy=clang-tidy-19
else
  echo 'lint: skipped, there is no clang-tidy-19 (Debian 12: apt-get install clang-tidy-19).'
  exit 0
fi
if [ $# -eq 0 ]; then
  set -- $(git ls-files 'cli/*.cc' 'frame/*.cc' 'models/*.cc' 'procedures/*.cc' 'routines/*.cc' 'runtime/*.cc' 'types/*.cc')
fi
found=0
for source in "$@"; do
  nice "$tidy" --quiet -p "$build" "$source" 2>/dev/null || found=1
done
[ "$found" -eq 0 ] && echo "lint: $# sources, nothing found."
exit "$found"
