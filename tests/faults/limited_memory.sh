#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The command with more and more address space, from where it starts to where it has enough: it says that memory ran out or that
# a library cannot be opened, never in words for programmers, and never crashes. (No case is read: the library of units does.)
#
#   tests/faults/limited_memory.sh build/bin/quiver VESSEL
set -u
program=$1
model=$2
told=0
started=0
for kilobytes in $(seq 8000 40 60000); do
  if [ "$started" -eq 0 ]; then
    { (ulimit -v "$kilobytes"; exec "$program" --version); } >/dev/null 2>&1 || continue
    started=1
  fi
  text=$( (ulimit -v "$kilobytes"; exec "$program" equations "$model") 2>&1)
  status=$?
  [ "$status" -ne 0 ] || break
  bad=
  case $text in
    *'std::'*) bad='tells it to programmers' ;;
    *'out of memory'* | *'memory ran out'*) told=$((told + 1)) ;;
    *'cannot open the library'*) ;;
    *) bad='tells something else' ;;
  esac
  [ "$status" -lt 126 ] || bad="ends with status $status"
  [ -z "$bad" ] || { printf 'With %s kB quiver %s:\n%s\n' "$kilobytes" "$bad" "$text"; exit 1; }
done
printf 'Enough with %s kB; told %s times that memory ran out.\n' "$kilobytes" "$told"
[ "$status" -eq 0 ] && [ "$told" -gt 0 ]
