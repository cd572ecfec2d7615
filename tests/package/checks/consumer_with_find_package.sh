#!/usr/bin/env bash
# A program finds the installed libraries through CMake.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../consumer.sh"

build_and_run_consumer consumer
