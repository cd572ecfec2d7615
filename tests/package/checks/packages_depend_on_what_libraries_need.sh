#!/usr/bin/env bash
# The packages of libraries depend on those that own what the libraries need, and on no other.
. "$(dirname "$0")/../common.sh"

# Prints each shared library of Debian's that is installed here, and its package.
library_owners()
{
    local folder
    folder=$(dpkg-architecture --query DEB_HOST_MULTIARCH)
    # The loader is one: it finds what each thread has of its own.
    dpkg-query --search "*/$folder/lib*.so.*" "*/$folder/ld-linux*.so.*" |
        sed -n 's,^\([^ :,]*\)[^ ]*: .*/,\1 ,p' | awk '{ print $2, $1 }'
}

owners=$(library_owners; for name in "${libraries[@]}"; do
    echo "libvelmor_$name.so.${VERSION%%.*} libvelmor-${name//_/-}${VERSION%%.*}"
done)
for name in "${libraries[@]}"; do
    depends=$(dpkg-deb --field "$(package_of "$name")" Depends | tr ',' '\n' | sed 's/^ *//' | sort)
    echo "velmor_$name:" $depends
    difference=$(readelf --dynamic "$root/usr/$LIBDIR/libvelmor_$name.so.$VERSION" |
        sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
        awk 'NR == FNR { owner[$1] = $2; next } { print owner[$1] ? owner[$1] : $1 }' <(echo "$owners") - |
        sort -u | diff <(sed 's/ .*//' <<<"$depends" | sort -u) -) ||
        fail "dependencies (<) and the owners of the needed libraries (>) differ:"$'\n'"$difference"
    if grep ^libvelmor- <<<"$depends" | grep -vF "(= $VERSION)"; then fail "the version above is not $VERSION"; fi
done
