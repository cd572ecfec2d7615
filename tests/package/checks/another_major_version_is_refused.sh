#!/usr/bin/env bash
# Another major version than the installed one is refused.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../consumer.sh"

refuses_consumer other-version "-DWANTED_VERSION=$((${VERSION%%.*} + 1)).0" "version: $VERSION"
