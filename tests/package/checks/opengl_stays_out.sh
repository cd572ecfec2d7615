#!/usr/bin/env bash
# The libraries without OpenGL name no library of OpenGL, GLUT or X11. What comes with them is what OpenCV's own libraries
# bring, and little else. An application of theirs is configured where OpenGL is not installed.
. "$(dirname "$0")/../common.sh"
. "$(dirname "$0")/../consumer.sh"

opengl='^lib(GL|GLX|GLU|GLEW|GLdispatch|OpenGL|EGL|glut|X[A-Za-z0-9]*|xcb[-a-z0-9]*)\.so'
runtime='^(linux-vdso|ld-linux-x86-64|/lib64/ld-linux-x86-64|libc|libm|libgcc_s|libstdc\+\+|libexpat|libhwy|libasan|libubsan)\.so'

needed_by()
{
    readelf --dynamic "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}

# Prints the names of all that libraries bring, directly or not.
brought_by()
{
    local file
    for file in "$@"; do ldd "$file" | awk '{ print $1 }'; done | sort -u
}

for name in math core imageio analysis native catalogue; do
    file=$(library $name)
    if needed_by "$file" | grep -E "$opengl"; then fail "velmor_$name needs the libraries above"; fi
    mapfile -t opencv < <(ldd "$file" | awk '/libopencv_/ { print $3 }')
    beside=$(comm -23 <(brought_by "$file") <({ brought_by "${opencv[@]}"; printf '%s\n' "${opencv[@]##*/}"; } | sort -u))
    echo "velmor_$name brings, beside what ${#opencv[@]} libraries of OpenCV bring:" $beside
    if grep -vE "^libvelmor_|$runtime" <<<"$beside"; then fail "velmor_$name brings the libraries above"; fi
done
# The filters need OpenGL, so this check can find some.
needed_by "$(library cvprocess)" | grep -E "$opengl" || fail "the check did not find what velmor_cvprocess needs"

missing=(-DCMAKE_DISABLE_FIND_PACKAGE_OpenGL=ON -DCMAKE_DISABLE_FIND_PACKAGE_GLEW=ON)
configure_consumer without-opengl "-DCOMPONENTS=math;core;imageio;analysis;native;catalogue" "${missing[@]}"
if configure_consumer without-opengl "-DCOMPONENTS=cvprocess" "${missing[@]}"; then
    fail "velmor_cvprocess was found without OpenGL"
fi
