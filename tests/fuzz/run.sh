#!/usr/bin/env bash
# run.sh FOLDER CORPUS FUZZER [OPTION...]: runs a fuzzer in a folder for VELMOR_FUZZ_SECONDS, 10 unless set, from the inputs
# of a corpus: another folder, or a program that fills one. The inputs that show faults stay in the folder, and so does
# what the fuzzer says, in the file log. With VELMOR_FUZZ_INPUT, the path of an input, it runs that one alone.
set -euo pipefail

folder=$1 corpus=$2
shift 2
if [[ ${VELMOR_FUZZ_INPUT:-} ]]; then exec "$@" "$VELMOR_FUZZ_INPUT"; fi
rm -rf "$folder"
mkdir -p "$folder/inputs"
cd "$folder"
if [[ -d $corpus ]]; then cp "$corpus"/* inputs; else "$corpus" inputs; fi
status=0
"$@" -artifact_prefix="$folder/" -max_total_time="${VELMOR_FUZZ_SECONDS:-10}" "$folder/inputs" 2>&1 | tee log || status=1
# A fuzzer that runs each input in another process goes on where one of the corpus ends it.
if [[ " $* " == *" -ignore_timeouts=1 "* ]]; then rm -f timeout-*; fi
shopt -s nullglob
for find in {crash,leak,oom,timeout}-*; do
    echo "run.sh: a find: $folder/$find" | tee -a log
    status=1
done
echo "run.sh: $SECONDS s" >>log
exit $status
