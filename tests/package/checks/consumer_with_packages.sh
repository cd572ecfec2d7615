#!/usr/bin/env bash
# A program finds the libraries that the Debian packages hold.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../consumer.sh"

prefix=$root/usr
build_and_run_consumer package-consumer
for name in "${libraries[@]}"; do
    ldd "$SCRATCH/package-consumer/consumer" | grep -F "libvelmor_$name.so.${VERSION%%.*} => $root/usr/" ||
        fail "the consumer does not take velmor_$name from the packages"
done
