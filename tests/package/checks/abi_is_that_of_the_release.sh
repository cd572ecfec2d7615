#!/usr/bin/env bash
# Programs that were built against the release run with the libraries of today. What was added since does not count.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../abi.sh"

folder=$SCRATCH/abi broken=()
mkdir -p "$folder"
for name in "${libraries[@]}"; do
    gzip -dc "$(released_abi "$name")" >"$folder/$name.released"
    abi_of "$name" >"$folder/$name.now"
    grep -q '<function-decl ' "$folder/$name.now" ||
        fail "velmor_$name lacks debug information"
    abidiff --no-added-syms --suppressions "$(dirname "$0")/../abi.suppr" \
        "$folder/$name.released" "$folder/$name.now" || broken+=("velmor_$name")
done
((${#broken[@]} == 0)) || fail "the ABI of ${broken[*]} is not that of the release; see docs/releasing.md"
