#!/usr/bin/env bash
# No package but the one of picture files brings codecs, cameras or toolkits.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../media.sh"

# Prints all that an installed package depends on, directly or not.
dependencies_of()
{
    dpkg-query --admindir="$root/var/lib/dpkg" --show --showformat '${Package}\t${Pre-Depends}, ${Depends}\n' |
        awk -F '\t' -v first="$1" '
            { gsub(/\([^)]*\)|:any| /, "", $2); needs[$1] = $2 }
            function visit(name, count, i, list) {
                if (seen[name]++ || !(name in needs)) return
                print name
                count = split(needs[name], list, /[,|]/)
                for (i = 1; i <= count; ++i) visit(list[i])
            }
            END { visit(first) }'
}

media_packages_of()
{
    dependencies_of "$1" | tr - _ | grep -iE "^lib($media)[_.0-9]" || true
}

major=${VERSION%%.*}
for name in math core analysis native cvprocess glsupport catalogue catalogue-gl; do
    dependencies_of libvelmor-$name$major | grep -x libc6 >/dev/null || fail "libvelmor-$name$major does not depend on libc6"
    found=$(media_packages_of libvelmor-$name$major)
    [[ -z $found ]] || fail "libvelmor-$name$major depends on ${found//$'\n'/ }"
done
# What reads picture files depends on them, so this check can find some.
found=$(media_packages_of libvelmor-imageio$major)
echo "libvelmor-imageio$major depends on" $found
for name in opencv_imgcodecs png jpeg tiff; do
    grep -q "^lib$name[_.0-9]" <<<"$found" || fail "the check did not find lib$name"
done
