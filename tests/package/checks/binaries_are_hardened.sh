#!/usr/bin/env bash
# What is shipped is compiled and linked so that most faults of memory end the process before anybody makes use of them.
. "$(dirname "$0")/../common.sh"

# Each command of the build has all flags.
log=$SCRATCH/commands.log
echo "dpkg-buildpackage: info: source package velmor" >"$log" # what blhc waits for
(cd "$BUILD" && ninja -t commands) >>"$log"
said=$(blhc --bindnow "$log") || fail "$said"

# Each binary shows it; but a library need not have stacks or calls to protect, and a protected flow of control shows only
# where the start files of the compiler have it too.
wheel=$BUILD/python/wheel/velmor
mapfile -t binaries < <(find "$root/usr" "$wheel" -type f -name '*.so*' -not -path "$wheel/libs/*") # those are Debian's
((${#binaries[@]} > ${#libraries[@]})) || fail "the packages and the wheel hold no more than ${binaries[*]}"
said=$(hardening-check --nopie --nostackprotector --nofortify --nocfprotection "${binaries[@]}") || fail "$said"
protected=0
for binary in "${binaries[@]}"; do
    imports=$(nm --dynamic "$binary")
    if [[ $imports == *__stack_chk_fail* ]]; then ((++protected)); fi
done
((protected > ${#binaries[@]} / 2)) || fail "$protected of ${#binaries[@]} libraries protect a stack"
