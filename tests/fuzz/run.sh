#!/usr/bin/env bash
# run.sh FOLDER CORPUS FUZZER [OPTION...]: runs a fuzzer in a folder for VELMOR_FUZZ_SECONDS, 10 unless set, from the inputs
# of a corpus: another folder, or a program that fills one. What the fuzzer stops at stays in the folder.
set -euo pipefail

folder=$1 corpus=$2
shift 2
rm -rf "$folder/inputs"
mkdir -p "$folder/inputs"
cd "$folder"
if [[ -d $corpus ]]; then cp "$corpus"/* inputs; else "$corpus" inputs; fi
exec "$@" -max_total_time="${VELMOR_FUZZ_SECONDS:-10}" inputs
