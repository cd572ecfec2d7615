#!/usr/bin/env bash
# fails.sh <text> <command ...>: whether a command fails and says a text, a regular expression.
set -uo pipefail

text=$1
shift
output=$("$@" 2>&1)
status=$?
printf '%s\n' "$output"
((status != 0)) && grep -qE -- "$text" <<< "$output"
