#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs what the build needs and is not there yet; says nothing and changes nothing when all is there.
#
#   tools/install_dependencies.sh            # installs (as root, or through sudo where it asks for no password)
#   tools/install_dependencies.sh --windows  # what `make windows` and `make test-windows` need beside that
#   tools/install_dependencies.sh --package  # what `make package` and `make check-package` need beside that
#   tools/install_dependencies.sh --fuzz     # what `make fuzz` needs beside that
#   tools/install_dependencies.sh --valgrind # what `make valgrind` needs beside that
#   tools/install_dependencies.sh --list     # prints the packages (after one of the others: those)
#
# For Debian 12 and its relatives. Elsewhere it only says what to install by hand. SUNDIALS (IDA, KINSOL: runs over time and a second
# solver, optional) is unpacked into build-sundials instead: installed, its development package would ask for 114 MB of other
# packages (PETSC, HYPRE, Fortran and more) that nothing here calls.
set -eu

# One line per package: Debian's name, and what it is for.
packages='
g++                  C++20 compiler (GCC 12 or later)
cmake                build, version 3.25 or later
ninja-build          build
libcli11-dev         CLI11: the command line
libfmt-dev           fmt: formatting
nlohmann-json3-dev   nlohmann-json: JSON output
libyaml-cpp-dev      yaml-cpp: case files
libudunits2-dev      UDUNITS-2: units on values
libsuitesparse-dev   SuiteSparse (KLU): sparse linear systems
libopenmpi-dev       MPI: quiver sweep --mpi, optional
openmpi-bin          mpirun: its test
libgtest-dev         GoogleTest: the tests
libgmock-dev         GoogleMock: the tests
libbenchmark-dev     Google Benchmark: the benchmarks
'
kind=build
if [ "${1:-}" = --windows ]; then
  shift
  kind=windows
  packages='
g++-mingw-w64-x86-64-posix  C++ compiler for Windows
googletest                  GoogleTest as sources: the tests
libcli11-dev                CLI11: the command line
libudunits2-data            UDUNITS-2: the database of units
nlohmann-json3-dev          nlohmann-json: JSON output
wine64                      runs what was built
xz-utils                    unpacks sources
zip                         packs the result
'
fi
if [ "${1:-}" = --package ]; then
  shift
  kind=package
  packages='
dpkg-dev             finds the packages that a program needs
file                 tells programs from other files
mmdebstrap           makes a clean root
'
fi
if [ "${1:-}" = --valgrind ]; then
  shift
  kind=valgrind
  packages='
valgrind             finds memory that is read before it was written
'
fi
if [ "${1:-}" = --fuzz ]; then
  shift
  kind=fuzz
  packages='
clang-14             the compiler that knows libFuzzer
libclang-rt-14-dev   libFuzzer and the sanitizers
'
fi
names=$(printf '%s' "$packages" | awk 'NF {print $1}')

by_hand() {
  printf 'tools/install_dependencies.sh: %s\nInstall these by hand (the names are those of Debian 12), then start again:\n%s\n' \
    "$1" "$(printf '%s' "$packages" | awk 'NF {print "  " $0}')" >&2
}

if [ "${1:-}" = --list ]; then
  printf '%s\n' "$names"
  exit 0
fi
if ! command -v dpkg-query >/dev/null 2>&1; then
  # Not a Debian: the build may well succeed with the system's own packages, and says what it misses.
  by_hand 'this system has no dpkg.'
  exit 0
fi

root=$(cd "$(dirname "$0")/.." && pwd)
# unpack_sundials: does nothing where it is installed or unpacked already; apt checks what it fetches.
unpack_sundials() {
  for folder in /usr/include /usr/local/include "$root/build-sundials/usr/include"; do
    [ ! -e "$folder/ida/ida.h" ] || return 0
  done
  scratch=$(mktemp -d)
  if (cd "$scratch" && apt-get -q -o Acquire::Retries=3 download libsundials-dev && dpkg-deb -x libsundials-dev_*.deb unpacked) \
      </dev/null >"$scratch/log" 2>&1; then
    echo 'Unpacking: libsundials-dev'
    mkdir -p "$root/build-sundials"
    cp -r "$scratch/unpacked/." "$root/build-sundials"
  else
    tail -n 3 "$scratch/log" >&2
    echo 'tools/install_dependencies.sh: libsundials-dev cannot be fetched; built without runs over time and without KINSOL.' >&2
  fi
  rm -rf "$scratch"
}

missing=
for name in $names; do
  state=$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null || true)
  [ "$state" = installed ] || missing="$missing $name"
done
if [ -z "$missing" ]; then
  [ "$kind" != build ] || unpack_sundials
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  as_root='env'
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  as_root='sudo -n env'
else
  printf 'tools/install_dependencies.sh: these packages are missing, and installing needs root:\n  apt-get install%s\n' "$missing" >&2
  exit 1
fi

printf 'Installing:%s\n' "$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# A mirror may fail for a moment: apt tries three times. Standard input stays closed, so nothing can ask.
if ! $as_root apt-get -q -o Acquire::Retries=3 update </dev/null >"$log" 2>&1 ||
   ! $as_root DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Acquire::Retries=3 --no-install-recommends \
       install $missing </dev/null >>"$log" 2>&1; then
  tail -n 15 "$log" >&2
  by_hand 'apt-get could not install all packages.'
  exit 1
fi
[ "$kind" != build ] || unpack_sundials
