#!/usr/bin/env bash
# The tree is installed, and used from another place than the one it was installed to.
. "$(dirname "$0")/../common.sh"

first=$SCRATCH/installed
rm -rf "$first" "$prefix"
cmake --install "$BUILD" --prefix "$first"
mv "$first" "$prefix"
for place in "$first" "$BUILD" "$(cd "$sources/../.." && pwd)/"; do
    if grep -rIF "$place" "$prefix"; then fail "the installed files above name $place"; fi
done
