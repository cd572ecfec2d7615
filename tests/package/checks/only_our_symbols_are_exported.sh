#!/usr/bin/env bash
# The libraries export names of velmor alone.
. "$(dirname "$0")/../common.sh"

# Prints what a library exports beside names of velmor and what the compiler makes for them.
foreign_symbols_of()
{
    nm --dynamic --demangle --defined-only "$1" | cut -d' ' -f3- |
        grep -vE '^((vtable|VTT|typeinfo|typeinfo name|guard variable) for |(non-)?virtual thunk to )?velmor::' || true
}

for name in "${libraries[@]}"; do
    nm --dynamic --demangle --defined-only "$(library "$name")" | grep ' velmor::' >/dev/null ||
        fail "velmor_$name exports nothing"
    found=$(foreign_symbols_of "$(library "$name")")
    [[ -z $found ]] || fail "velmor_$name exports:"$'\n'"$found"
done
# A library of somebody else exports other names, so this check can find some.
[[ -n $(foreign_symbols_of "$(ldd "$(library core)" | awk '/libopencv_core/ { print $3 }')") ]] ||
    fail "the check found nothing in OpenCV"
