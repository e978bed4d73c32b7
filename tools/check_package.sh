#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian package into a clean root and uses it there as a new user would: solves every example and compares with its
# expected output, sweeps, writes a report, builds a model library against what was installed, sweeps on MPI ranks where that was
# built, and removes the packages again.
#
#   tools/check_package.sh build          # as root; build holds exactly one quiver_*.deb (make package)
#
# mmdebstrap makes the clean root from the package mirror of this machine. With QUIVER_LINTIAN=1 lintian looks at the package, too.
set -euo pipefail
build=$1
source=$(cd "$(dirname "$0")/.." && pwd)
fail() { echo "check_package: $1" >&2; exit "${2:-1}"; }

packages=("$build"/quiver_*.deb)
[ ${#packages[@]} -eq 1 ] && [ -f "${packages[0]}" ] || fail "$build holds ${#packages[@]} packages quiver_*.deb instead of one: make package" 2
mpi=("$build"/quiver-mpi_*.deb)
[ "$(id -u)" -eq 0 ] || fail 'a clean root can only be made by root' 2
command -v mmdebstrap >/dev/null || fail 'mmdebstrap is missing: tools/install_dependencies.sh --package' 2
scratch=$(mktemp -d)
root=$scratch/root
trap 'umount -q "$root/proc" 2>/dev/null || true; rm -rf "$scratch"' EXIT

# step TEXT COMMAND...: silent unless it fails.
step() {
  local text=$1 began=$SECONDS
  shift
  "$@" >"$scratch/log" 2>&1 </dev/null || { tail -n 30 "$scratch/log" >&2; fail "$text: failed"; }
  echo "check_package: $text ($((SECONDS - began)) s)"
}
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive sh -euc "$1"; }
get() { inside "apt-get -q -y -o Acquire::Retries=3 --no-install-recommends install $1"; }

release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $release" | head -n 1)
make_root() {
  mmdebstrap --variant=apt --skip=cleanup/apt --dpkgopt=force-unsafe-io --aptopt='Acquire::Languages "none"' \
    "$release" "$root" ${mirror:+"$mirror"}
  # The network is that of this machine, so its settings are needed in there.
  for file in /etc/resolv.conf /etc/apt/apt.conf.d/*proxy*; do
    [ ! -f "$file" ] || cp -L "$file" "$root$file"
  done
  mount -t proc proc "$root/proc"
}
install_package() {
  cp "${packages[0]}" "$root/quiver.deb"
  get /quiver.deb
}
solve_examples() {
  inside 'mkdir /tmp/found
    cd /usr/share/quiver/examples
    for case in */case.yaml; do
      command=solve
      ! grep -q "^simulate:" $case || command=simulate
      quiver $command $case >/tmp/found/${case%/*}
    done'
  "$source/tools/same_results.sh" "$root/tmp/found"
}
sweep_and_report() {
  inside 'cd /tmp
    example=/usr/share/quiver/examples/liquid_relief/case.yaml
    quiver sweep $example --vary "psv.P_DROP=1..10 bar:50" --jobs 2 --output points.csv
    [ "$(grep -c ",solved," points.csv)" -eq 50 ]
    quiver report $example --output page.html
    grep -q "</html>" page.html
    quiver list models --json >models.json
    ! quiver solve /nowhere/case.yaml'
}
build_model_library() {
  get 'g++ cmake make pkg-config'
  cp -r "$source/tests/install/consumer" "$root/tmp/consumer"
  inside 'cd /tmp
    cmake -S consumer -B built -D CMAKE_CXX_FLAGS="-Wall -Wextra -Werror"
    cmake --build built
    g++ -std=c++20 -shared -fPIC -fvisibility=hidden consumer/*.cc $(pkg-config --cflags --libs quiver) -o libtank_too.so
    for library in built/libtank_models.so ./libtank_too.so; do
      quiver --library $library solve TANK_OUTLET --fix LEVEL=2 --fix "DIAM=50 mm" | grep -E "FLOW +27\.005"
    done'
}
# The other package: without it --mpi tells what is missing, with it two ranks write the file that one process writes.
sweep_on_ranks() {
  inside 'cd /tmp
    sweep="quiver sweep /usr/share/quiver/examples/liquid_relief/case.yaml --vary psv.P_DROP=1..10:200 --output"
    ! $sweep ranks.csv --mpi 2>missing
    grep -q "libquiver_mpi.so is missing" missing'
  cp "${mpi[0]}" "$root/quiver-mpi.deb"
  get '/quiver-mpi.deb openmpi-bin'
  inside 'cd /tmp
    sweep="quiver sweep /usr/share/quiver/examples/liquid_relief/case.yaml --vary psv.P_DROP=1..10:200 --output"
    $sweep alone.csv
    mpirun --allow-run-as-root --oversubscribe -n 2 $sweep ranks.csv --mpi
    cmp alone.csv ranks.csv'
}
remove_package() {
  inside 'apt-get -q -y purge quiver; ! command -v quiver; ! ls /usr/lib/*/libquiver_mpi*'
  local left
  left=$(find "$root/usr" "$root/etc" "$root/var/lib" -iname '*quiver*' | head)
  [ -z "$left" ] || { printf 'left behind:\n%s\n' "$left"; return 1; }
}
look_with_lintian() {
  get lintian
  inside 'lintian --allow-root --fail-on error /quiver.deb'
}

step 'made a clean root' make_root
step 'installed' install_package
[ "$(inside 'quiver --version')" = "$("$build/bin/quiver" --version)" ] || fail 'the installed program is another version'
step 'examples solved, as expected' solve_examples
step 'swept and reported' sweep_and_report
step 'model library of one'"'"'s own built by CMake and by pkg-config, and solved' build_model_library
[ ! -f "${mpi[0]}" ] || step 'quiver-mpi installed, two ranks sweep as one process' sweep_on_ranks
if [ "${QUIVER_LINTIAN:-0}" != 0 ]; then
  step 'lintian finds no error' look_with_lintian
  grep -E '^[EW]: ' "$scratch/log" || true
fi
step 'removed, nothing left' remove_package
