#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian package into a clean root, which debootstrap makes, and uses it there as a new user would:
#
#   tools/check_package.sh build          # as root; build holds exactly one quiver_*.deb
set -eu
build=$1
set -- "$build"/quiver_*.deb
[ $# -eq 1 ] && [ -f "$1" ] || { echo "check_package: $build holds $# packages quiver_*.deb instead of one; make package" >&2; exit 2; }
[ "$(id -u)" -eq 0 ] || { echo 'check_package: a clean root can only be made by root' >&2; exit 2; }
command -v debootstrap >/dev/null || { echo 'check_package: debootstrap is missing: apt-get install debootstrap' >&2; exit 2; }

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mirror=$(sed -n 's/^deb [^h]*\(http[^ ]*\) .* main.*/\1/p; s/^URIs: *\([^ ]*\).*/\1/p' /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null | head -n 1)
debootstrap --variant=minbase bookworm "$root" ${mirror:+"$mirror"} >"$root.log" 2>&1 || { tail -n 20 "$root.log"; exit 1; }
rm -f "$root.log"
cp "$1" "$root/quiver.deb"
# The network is that of this machine, so its settings are needed in there for the package's dependencies.
for file in /etc/resolv.conf /etc/apt/apt.conf.d/*proxy*; do
  [ ! -f "$file" ] || cp -L "$file" "$root$file"
done
chroot "$root" sh -c 'apt-get -qq update && DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install /quiver.deb' >/dev/null

chroot "$root" quiver --version
chroot "$root" quiver solve /usr/share/quiver/examples/relief_gas/case.yaml
chroot "$root" quiver list models --json >/dev/null
chroot "$root" sh -c 'DEBIAN_FRONTEND=noninteractive apt-get -qq -y purge quiver && ! command -v quiver' >/dev/null
left=$(find "$root/usr" -iname '*quiver*' | head)
[ -z "$left" ] || { printf 'left behind after removal:\n%s\n' "$left" >&2; exit 1; }
echo 'check_package: installed, used and removed in a clean root'
