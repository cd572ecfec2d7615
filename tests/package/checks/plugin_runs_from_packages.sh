#!/usr/bin/env bash
# GStreamer runs the elements that the packages hold. Their package depends on those of the libraries that they need.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../plugin.sh"

run_plugin_in "$root/usr"
depends=$(dpkg-deb --field "$packages"/gstreamer1.0-velmor_*.deb Depends | tr ',' '\n' | sed 's/^ *//')
echo "gstreamer1.0-velmor depends on" $depends
for library in $(readelf --dynamic "$root/usr/$plugin" | sed -n 's/.*(NEEDED).*\[libvelmor_\(.*\)\.so\..*\]/\1/p'); do
    grep -qxF "libvelmor-${library//_/-}${VERSION%%.*} (= $VERSION)" <<<"$depends" ||
        fail "it does not depend on the package of velmor_$library"
done
grep -q '^libgstreamer1.0-0 ' <<<"$depends" || fail "it does not depend on GStreamer"
