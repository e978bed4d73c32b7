#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Fetches and builds what `make windows` links and Debian does not package for mingw-w64; says nothing when all is there.
#
#   tools/windows_libraries.sh           # build-windows/libraries: headers and static libraries
#
# Sources are Debian's own (apt-get source), of the release that runs here and checked by apt; they stay under build-windows/ and
# their lists beside them, so nothing of the system's changes.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$PWD/build-windows
# What the result depends on; another text here or there builds anew.
stamp=$(cat cmake/windows/CMakeLists.txt cmake/toolchains/windows.cmake tools/windows_libraries.sh | sha256sum | cut -c1-16)
[ ! -e "$build/libraries/$stamp" ] || exit 0

apt=$build/apt sources=$build/sources log=$build/libraries.log
mkdir -p "$apt"/lists/partial "$apt"/cache/archives/partial "$sources"
: >"$log"
trap 'status=$?; [ $status = 0 ] || { tail -n 20 "$log"; echo "tools/windows_libraries.sh: failed; all of it is in $log"; } >&2' EXIT
echo 'Building the libraries of the Windows build.'

# The system's own sources of this very release, asked for source packages.
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
shopt -s nullglob
for file in /etc/apt/sources.list.d/*.sources; do
  awk -v RS= -v ORS='\n\n' -v release="$release" '$0 ~ "\nSuites:[^\n]* " release "(-updates|-security)?[ \n]"' "$file" |
    sed 's/^Types:.*/Types: deb-src/'
done >"$apt/release.sources"
shopt -u nullglob
cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
  sed -nE "s/^deb ((\[[^]]*\] )?[^ ]+ $release(-updates|-security)? )/deb-src \1/p" >"$apt/release.list" || true
cat >"$apt/apt.conf" <<END
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$apt/parts";
Dir::State::lists "$apt/lists";
Dir::Cache "$apt/cache";
APT::Sandbox::User "$(id -un)";
Acquire::Retries "3";
END
mkdir -p "$apt/parts"
for file in "$apt"/release.{sources,list}; do [ ! -s "$file" ] || mv "$file" "$apt/parts/"; done

# unpack PACKAGE [FOLDER...]: the package's upstream archive, or only those of its folders.
unpack() {
  local package=$1 archive folder wanted=()
  shift
  for folder; do wanted+=("*/$folder"); done
  rm -rf "${sources:?}/$package"
  mkdir "$sources/$package"
  archive=$(ls "$apt"/"$package"_*.orig.tar.*)
  tar -xf "$archive" -C "$sources/$package" --strip-components=1 --wildcards "${wanted[@]}" >>"$log" 2>&1
}
packages='fmtlib yaml-cpp suitesparse sundials'
for package in $packages; do
  ls "$apt/$package"_*.orig.tar.* >/dev/null 2>&1 && continue
  [ -n "$(ls "$apt"/lists/*Sources* 2>/dev/null)" ] || APT_CONFIG=$apt/apt.conf apt-get -q update </dev/null >>"$log" 2>&1
  (cd "$apt" && APT_CONFIG=$apt/apt.conf apt-get -q source --download-only "$package" </dev/null >>"$log" 2>&1)
done
unpack fmtlib
unpack yaml-cpp
unpack suitesparse KLU/ BTF/ AMD/ COLAMD/ SuiteSparse_config/
unpack sundials CMakeLists.txt LICENSE src/ include/

rm -rf "$build/libraries" "$build/libraries-build"
cmake -S cmake/windows -B "$build/libraries-build" -G Ninja --toolchain "$PWD/cmake/toolchains/windows.cmake" --log-level=WARNING \
  ${CCACHE:-} -D CMAKE_BUILD_TYPE=Release -D SOURCES="$sources" -D CMAKE_INSTALL_PREFIX="$build/libraries" >>"$log" 2>&1
cmake --build "$build/libraries-build" --parallel "${JOBS:-$(nproc)}" >>"$log" 2>&1
cmake --install "$build/libraries-build" >>"$log" 2>&1
touch "$build/libraries/$stamp"
