#!/usr/bin/env bash
# Describes the libraries of today as those of the release.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/abi.sh"

bash "$sources/checks/install_and_move.sh"
for name in "${libraries[@]}"; do abi_of "$name" | gzip -9n >"$(released_abi "$name")"; done
