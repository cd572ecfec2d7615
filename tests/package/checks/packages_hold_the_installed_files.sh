#!/usr/bin/env bash
# The packages hold what an installed tree has, each file in the right one.
. "$(dirname "$0")/../common.sh"

# Prints the files and links in packages, without the leading ./usr/.
contents_of()
{
    local package
    for package in "$@"; do dpkg-deb --fsys-tarfile "$package" | tar --list | sed -n '/[^/]$/s,^\./usr/,,p'; done | sort
}

# What Debian asks for, beside what the install rules put there.
debian_files='^share/(doc/[^/]*velmor[^/]*/(copyright|changelog\.gz)|lintian/overrides/libvelmor-dev)$'

wanted=(README.md docs/guide.md docs/overview.jpg)
[[ ! -d $BUILD/docs/html ]] || wanted+=(html/index.html html/overview.jpg)
other=$(contents_of "$packages"/*.deb | grep -vE "$debian_files" |
    diff - <(cd "$prefix" && find . -not -type d -printf '%P\n' | sort)) ||
    fail "packages (<) and an installed tree (>) differ:"$'\n'"$other"
for name in "${libraries[@]}"; do
    file=libvelmor_$name.so.${VERSION%%.*}
    other=$(contents_of "$(package_of "$name")" | grep -vE "$debian_files" |
        diff - <(printf '%s\n' "$LIBDIR/$file" "$LIBDIR/libvelmor_$name.so.$VERSION")) ||
        fail "the package of velmor_$name (<) should hold the library (>):"$'\n'"$other"
done
documents=$(contents_of "$packages/velmor-doc_${VERSION}_all.deb")
other=$(grep -vE '^share/doc/velmor(-doc)?/' <<<"$documents") && fail "velmor-doc holds $other"
for file in "${wanted[@]}"; do
    grep -xF "share/doc/velmor/$file" <<<"$documents" || fail "velmor-doc lacks $file"
done
