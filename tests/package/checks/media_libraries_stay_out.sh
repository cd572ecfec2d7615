#!/usr/bin/env bash
# No library but the one of picture files brings codecs, cameras or toolkits.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../media.sh"

# Prints the media libraries among all that a library needs, directly or not.
media_libraries_of()
{
    local closure
    closure=$(ldd "$1") || fail "ldd cannot read $1"
    if grep 'not found' <<<"$closure"; then fail "$1 needs the libraries above"; fi
    awk '{ print $1 }' <<<"$closure" | grep -E "^lib($media)[-.0-9]" || true
}

for name in math core analysis native cvprocess glsupport catalogue catalogue_gl; do
    found=$(media_libraries_of "$(library $name)")
    [[ -z $found ]] || fail "velmor_$name needs ${found//$'\n'/ }"
done
# What reads picture files needs them, so this check can find some.
found=$(media_libraries_of "$(library imageio)")
echo "velmor_imageio needs" $found
for name in opencv_imgcodecs png jpeg tiff; do
    grep -q "^lib$name[-.0-9]" <<<"$found" || fail "the check did not find lib$name"
done
