#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Packs the Windows build as one zip that is unpacked anywhere and run from there (make windows calls it):
#
#   tools/windows_package.sh         # build-windows/quiver-<version>-windows-x64.zip
#
# First it looks at what the programs and libraries import: nothing but each other and the libraries of Windows named below. The same
# sources give the same bytes: files are sorted and carry the date of the last commit.
set -euo pipefail
cd "$(dirname "$0")/.."
umask 022  # the zip carries it
build=build-windows/build
# What every Windows has; anything else would have to be installed first.
system='KERNEL32.dll msvcrt.dll'

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
name=quiver-$version-windows-x64
stage=build-windows/$name
rm -rf "$stage" "$stage.zip"
cmake --install "$build" --prefix "$stage" >/dev/null

wrong=0
for file in "$stage"/bin/*; do
  for import in $(x86_64-w64-mingw32-objdump -p "$file" | sed -n 's/.*DLL Name: //p'); do
    [ -e "$stage/bin/$import" ] || [[ " $system " = *" $import "* ]] ||
      { echo "tools/windows_package.sh: $(basename "$file") needs $import, which neither Windows nor the package has."; wrong=1; }
  done
done >&2
[ "$wrong" = 0 ] || exit 1

cp docs/windows.md "$stage/README-windows.md"
# The licences of what became part of the files.
mkdir -p "$stage/share/licenses"
for package in libfmt-dev libyaml-cpp-dev libsuitesparse-dev libcli11-dev nlohmann-json3-dev libudunits2-data \
  gcc-mingw-w64-base mingw-w64-common; do
  [ ! -r "/usr/share/doc/$package/copyright" ] || cp "/usr/share/doc/$package/copyright" "$stage/share/licenses/$package"
done
cp build-windows/sources/sundials/LICENSE "$stage/share/licenses/libsundials-dev"

date=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 0)}
find "$stage" -exec touch -d "@$date" {} +
(cd build-windows && find "$name" -type f | LC_ALL=C sort | TZ=UTC zip -q -X -@ "$name.zip")
echo "$stage.zip: $(du -h "$stage.zip" | cut -f1), $(find "$stage" -type f | wc -l) files"
