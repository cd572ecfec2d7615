#!/usr/bin/env bash
# A program finds the installed libraries through pkg-config.
. "$(dirname "$0")/../common.sh"

folder=$SCRATCH/pkg-config-consumer names=("${libraries[@]/#/velmor-}")
names=("${names[@]//_/-}")
for name in "${names[@]}"; do
    [[ $(pkg-config --modversion "$name") == "$VERSION" ]] || fail "$name has another version than $VERSION"
done
rm -rf "$folder"
mkdir "$folder"
read -ra options < <(pkg-config --cflags --libs "${names[@]}")
"$CXX" -std=c++17 "${flags[@]}" "$sources/consumer/main.cpp" "${options[@]}" -Wl,-rpath,"$prefix/$LIBDIR" \
    -o "$folder/consumer"
"$folder/consumer" "$folder"
