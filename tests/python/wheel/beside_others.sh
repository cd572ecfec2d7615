#!/usr/bin/env bash
# beside_others.sh <pytest argument ...>: tests of the installed wheel on this machine as it is.
. "$(dirname "$0")/common.sh"

unset PYTHONPATH
cd "$SCRATCH"
"$venv/bin/python" -m pytest -q -rs -s -p no:cacheprovider "$@"
