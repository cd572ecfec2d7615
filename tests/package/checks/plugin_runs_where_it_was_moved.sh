#!/usr/bin/env bash
# GStreamer runs the elements of the installed tree, from another place than the one it was installed to.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../plugin.sh"

run_plugin_in "$prefix"
