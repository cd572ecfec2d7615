#!/usr/bin/env bash
# checks.sh <check>: one look at the installed library from outside. tests/package/CMakeLists.txt sets the environment:
# BUILD (the build to install), SCRATCH (a folder to work in), LIBDIR, VERSION, CPACK, and GENERATOR, CXX and FLAGS (what
# the library was built with).
set -euo pipefail

sources=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
prefix=$SCRATCH/moved
packages=$SCRATCH/packages
root=$packages/root
libraries=(math core imageio analysis cvprocess glsupport)
export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
read -ra flags <<<"$FLAGS"

fail()
{
    echo "$*" >&2
    exit 1
}

library()
{
    echo "$prefix/$LIBDIR/libvelmor_$1.so"
}

# The installed tree is used from another place than the one it was installed to.
install_and_move()
{
    local first=$SCRATCH/installed
    rm -rf "$first" "$prefix"
    cmake --install "$BUILD" --prefix "$first"
    mv "$first" "$prefix"
    for place in "$first" "$BUILD" "$(cd "$sources/../.." && pwd)/"; do
        if grep -rIF "$place" "$prefix"; then fail "the installed files above name $place"; fi
    done
}

headers_compile_alone()
{
    local header headers name cflags
    mapfile -t headers < <(cd "$prefix/include/velmor" && find . -name '*.h' -printf '%P\n' | sort)
    ((${#headers[@]} > 0)) || fail "no headers are installed"
    for header in "${headers[@]}"; do
        name=${header%%/*}
        read -ra cflags < <(pkg-config --cflags "velmor-$name")
        echo "#include \"$header\"" |
            "$CXX" -std=c++17 "${flags[@]}" -Werror -fsyntax-only "${cflags[@]}" -x c++ - ||
            fail "$header does not compile alone"
        echo "$header"
    done
}

# configure_consumer <folder> [cmake arguments]
configure_consumer()
{
    local folder=$SCRATCH/$1
    rm -rf "$folder"
    cmake -S "$sources/consumer" -B "$folder" -G "$GENERATOR" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$FLAGS" "${@:2}" 2>&1
}

# build_and_run_consumer <folder>
build_and_run_consumer()
{
    configure_consumer "$1"
    cmake --build "$SCRATCH/$1"
    "$SCRATCH/$1/consumer" "$SCRATCH/$1"
}

consumer_with_find_package()
{
    build_and_run_consumer consumer
}

consumer_with_pkg_config()
{
    local folder=$SCRATCH/pkg-config-consumer packages=("${libraries[@]/#/velmor-}") package options
    for package in "${packages[@]}"; do
        [[ $(pkg-config --modversion "$package") == "$VERSION" ]] || fail "$package has another version than $VERSION"
    done
    rm -rf "$folder"
    mkdir "$folder"
    read -ra options < <(pkg-config --cflags --libs "${packages[@]}")
    "$CXX" -std=c++17 "${flags[@]}" "$sources/consumer/main.cpp" "${options[@]}" -Wl,-rpath,"$prefix/$LIBDIR" \
        -o "$folder/consumer"
    "$folder/consumer" "$folder"
}

# refuses_consumer <folder> <cmake argument> <text>: find_package fails and says so
refuses_consumer()
{
    local output
    if output=$(configure_consumer "$1" "$2"); then fail "accepted with $2"; fi
    echo "$output"
    grep -qF "$3" <<<"$output" || fail "the message lacks: $3"
}

missing_component_is_named()
{
    refuses_consumer missing-component "-DCOMPONENTS=cvprocess;nosuch" "there is no component 'nosuch'"
}

another_major_version_is_refused()
{
    refuses_consumer other-version "-DWANTED_VERSION=$((${VERSION%%.*} + 1)).0" "version: $VERSION"
}

# Codecs and containers of pictures and video, cameras, and what opens windows; GLUT alone may.
media='opencv_(imgcodecs|videoio|highgui|gapi)|png|jpeg|turbojpeg|tiff|webp|openjp2|OpenEXR|IlmImf|Imath|gif|heif|gdal'
media+='|avcodec|avformat|avutil|avfilter|swscale|swresample|gst[a-z]+|vpx|x26[45]|dav1d|v4l[12]|dc1394'
media+='|Qt[0-9]\w*|gtk|gdk|SDL[0-9]?|glfw|wx_\w+|fltk'

# Prints the media libraries among all that a library needs, directly or not.
media_libraries_of()
{
    local closure
    closure=$(ldd "$1") || fail "ldd cannot read $1"
    if grep 'not found' <<<"$closure"; then fail "$1 needs the libraries above"; fi
    awk '{ print $1 }' <<<"$closure" | grep -E "^lib($media)[-.0-9]" || true
}

media_libraries_stay_out()
{
    local name found
    for name in math core analysis cvprocess glsupport; do
        found=$(media_libraries_of "$(library $name)")
        [[ -z $found ]] || fail "velmor_$name needs ${found//$'\n'/ }"
    done
    # What reads picture files needs them, so this check can find some.
    found=$(media_libraries_of "$(library imageio)")
    echo "velmor_imageio needs" $found
    for name in opencv_imgcodecs png jpeg tiff; do
        grep -q "^lib$name[-.0-9]" <<<"$found" || fail "the check did not find lib$name"
    done
}

# Prints what a library exports beside names of velmor and what the compiler makes for them.
foreign_symbols_of()
{
    nm --dynamic --demangle --defined-only "$1" | cut -d' ' -f3- |
        grep -vE '^((vtable|VTT|typeinfo|typeinfo name|guard variable) for |(non-)?virtual thunk to )?velmor::' || true
}

only_our_symbols_are_exported()
{
    local name found
    for name in "${libraries[@]}"; do
        nm --dynamic --demangle --defined-only "$(library "$name")" | grep ' velmor::' >/dev/null ||
            fail "velmor_$name exports nothing"
        found=$(foreign_symbols_of "$(library "$name")")
        [[ -z $found ]] || fail "velmor_$name exports:"$'\n'"$found"
    done
    # A library of somebody else exports other names, so this check can find some.
    [[ -n $(foreign_symbols_of "$(ldd "$(library core)" | awk '/libopencv_core/ { print $3 }')") ]] ||
        fail "the check found nothing in OpenCV"
}

libraries_carry_their_version()
{
    local name soname file
    for name in "${libraries[@]}"; do
        soname=libvelmor_$name.so.${VERSION%%.*}
        readelf --dynamic "$(library "$name")" | grep -F "soname: [$soname]" || fail "velmor_$name is not $soname"
        file=$(readlink -f "$prefix/$LIBDIR/$soname")
        [[ $file == */libvelmor_$name.so.$VERSION ]] || fail "$soname is $file"
        [[ $(readlink -f "$(library "$name")") == "$file" ]] || fail "libvelmor_$name.so is not $soname"
    done
}


# Prints what programs that use a library were compiled against: its exported functions and variables, with the types
# that they reach in the installed headers: what classes keep behind a pointer, defined in a source file, is nothing to
# programs. Places are left out: where sources, build and installed tree lie, and lines.
abi_of()
{
    abidw --exported-interfaces-only --drop-undefined-syms --no-architecture --no-elf-needed --no-corpus-path \
        --no-comp-dir-path --no-show-locs --no-parameter-names --type-id-style hash \
        --headers-dir "$prefix/include/velmor" --drop-private-types "$(library "$1")" |
        sed "s,path='$(cd "$sources/../.." && pwd)/,path=',"
}

released_abi()
{
    echo "$sources/abi/velmor_$1.abi.gz"
}

renew_abi()
{
    local name
    install_and_move
    for name in "${libraries[@]}"; do abi_of "$name" | gzip -9n >"$(released_abi "$name")"; done
}

# What was added since the release does not count.
abi_is_that_of_the_release()
{
    local folder=$SCRATCH/abi name broken=()
    mkdir -p "$folder"
    for name in "${libraries[@]}"; do
        gzip -dc "$(released_abi "$name")" >"$folder/$name.released"
        abi_of "$name" >"$folder/$name.now"
        grep -q '<function-decl ' "$folder/$name.now" ||
            fail "velmor_$name lacks debug information"
        abidiff --no-added-syms "$folder/$name.released" "$folder/$name.now" || broken+=("velmor_$name")
    done
    ((${#broken[@]} == 0)) || fail "the ABI of ${broken[*]} is not that of the release; see docs/releasing.md"
}

# The packages are installed into an empty root, beside what dpkg knows to be installed here: it refuses packages whose
# dependencies that does not satisfy. A root of their own with all of Debian below it would take minutes and a network.
packages_install()
{
    local database=$root/var/lib/dpkg log=$packages/dpkg.log
    rm -rf "$packages"
    mkdir -p "$database"/{info,updates,triggers}
    (cd "$BUILD" && "$CPACK" -G DEB -B "$packages")
    cp /var/lib/dpkg/status "$database"
    touch "$database/available"
    # Of the packages of this machine there are no lists of files below the root, and dpkg says so of each.
    dpkg --root="$root" --force-not-root --log=/dev/null --install "$packages"/*.deb >"$log" 2>&1 ||
        { grep -v 'files list file for package' "$log"; fail "dpkg does not install the packages"; }
}

consumer_with_packages()
{
    local name
    prefix=$root/usr
    build_and_run_consumer package-consumer
    for name in "${libraries[@]}"; do
        ldd "$SCRATCH/package-consumer/consumer" | grep -F "libvelmor_$name.so.${VERSION%%.*} => $root/usr/" ||
            fail "the consumer does not take velmor_$name from the packages"
    done
}

# package_of <library>: its file
package_of()
{
    echo "$packages/libvelmor-$1${VERSION%%.*}_${VERSION}_$(dpkg --print-architecture).deb"
}

# Prints the files and links in packages, without the leading ./usr/.
contents_of()
{
    local package
    for package in "$@"; do dpkg-deb --fsys-tarfile "$package" | tar --list | sed -n '/[^/]$/s,^\./usr/,,p'; done | sort
}

# What Debian asks for, beside what the install rules put there.
debian_files='^share/(doc/[^/]*velmor[^/]*/(copyright|changelog\.gz)|lintian/overrides/libvelmor-dev)$'

packages_hold_the_installed_files()
{
    local name file other documents wanted=(README.md docs/guide.md docs/overview.jpg)
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
}

# Prints each shared library of Debian's that is installed here, and its package.
library_owners()
{
    dpkg-query --search "*/$(dpkg-architecture --query DEB_HOST_MULTIARCH)/lib*.so.*" |
        sed -n 's,^\([^ :,]*\)[^ ]*: .*/,\1 ,p' | awk '{ print $2, $1 }'
}

packages_depend_on_what_libraries_need()
{
    local name depends difference owners
    owners=$(library_owners; for name in "${libraries[@]}"; do
        echo "libvelmor_$name.so.${VERSION%%.*} libvelmor-$name${VERSION%%.*}"
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
}

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

media_packages_stay_out()
{
    local name found major=${VERSION%%.*}
    for name in math core analysis cvprocess glsupport; do
        dependencies_of libvelmor-$name$major | grep -qx libc6 || fail "libvelmor-$name$major does not depend on libc6"
        found=$(media_packages_of libvelmor-$name$major)
        [[ -z $found ]] || fail "libvelmor-$name$major depends on ${found//$'\n'/ }"
    done
    # What reads picture files depends on them, so this check can find some.
    found=$(media_packages_of libvelmor-imageio$major)
    echo "libvelmor-imageio$major depends on" $found
    for name in opencv_imgcodecs png jpeg tiff; do
        grep -q "^lib$name[_.0-9]" <<<"$found" || fail "the check did not find lib$name"
    done
}

lintian_is_content()
{
    local changelog=$sources/../../cmake/debian/changelog said
    [[ $(dpkg-parsechangelog --file "$changelog" --show-field Version) == "$VERSION" ]] ||
        fail "$changelog does not begin with $VERSION"
    said=$(lintian --allow-root --fail-on none "$packages"/*.deb 2>&1)
    [[ -z $said ]] || fail "$said"
}

"$1"
