#!/usr/bin/env bash
# Each library bears its version in its name.
. "$(dirname "$0")/../common.sh"

for name in "${libraries[@]}"; do
    soname=libvelmor_$name.so.${VERSION%%.*}
    readelf --dynamic "$(library "$name")" | grep -F "soname: [$soname]" || fail "velmor_$name is not $soname"
    file=$(readlink -f "$prefix/$LIBDIR/$soname")
    [[ $file == */libvelmor_$name.so.$VERSION ]] || fail "$soname is $file"
    [[ $(readlink -f "$(library "$name")") == "$file" ]] || fail "libvelmor_$name.so is not $soname"
done
