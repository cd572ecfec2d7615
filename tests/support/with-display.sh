#!/usr/bin/env bash
# Runs a command on an X server of its own, which renders in memory: with-display.sh COMMAND [ARGUMENT...]
# The server chooses a free display itself, so that runs beside each other do not meet.
set -euo pipefail

folder=$(mktemp -d)
mkfifo "$folder/display"
Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp -noreset 3>"$folder/display" 2>"$folder/log" &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" || true; rm -r "$folder"' EXIT

if ! read -r display <"$folder/display"; then
    echo "with-display.sh: Xvfb does not start:" >&2
    cat "$folder/log" >&2
    exit 1
fi
DISPLAY=:$display "$@"
