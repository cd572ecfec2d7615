#!/usr/bin/env bash
# A component that does not exist is refused, and named.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../consumer.sh"

refuses_consumer missing-component "-DCOMPONENTS=cvprocess;nosuch" "there is no component 'nosuch'"
