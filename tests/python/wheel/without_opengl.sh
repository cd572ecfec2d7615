#!/usr/bin/env bash
# without_opengl.sh <pytest argument ...>: tests of the installed wheel in a root where the libraries of OpenGL, X11 and
# OpenCV, and those that the wheel holds, are empty files. It can be written to in the folder that the tests run in alone.
. "$(dirname "$0")/common.sh"

work=$(mktemp -d --tmpdir="$SCRATCH")
trap 'rm -rf "$work"' EXIT

# The real files: what is linked to them is empty with them.
hidden_libraries()
{
    local names='GL|GLX|OpenGL|EGL|GLU|GLEW|glut|GLdispatch|X11|xcb|opencv_.*|tbb.*|hwy.*'
    find /usr/lib -regextype posix-extended -regex ".*/lib($names)\.so[.0-9]*" -exec realpath {} + | sort -u
}

mapfile -t hidden < <(hidden_libraries)
((${#hidden[@]} > 0)) || fail "there is nothing to hide"

if bwrap --ro-bind / / true 2>/dev/null; then
    mounts=(--ro-bind / / --dev /dev --proc /proc --bind "$work" "$work")
    for file in "${hidden[@]}"; do mounts+=(--ro-bind /dev/null "$file"); done
    inside=(bwrap "${mounts[@]}" --chdir "$work")
elif unshare --mount true 2>/dev/null; then
    inside=(unshare --mount --wd="$work" bash -euc '
        while [[ $1 != -- ]]; do mount --bind /dev/null "$1"; shift; done
        shift
        exec "$@"' - "${hidden[@]}" --)
else
    fail "hiding libraries needs bubblewrap with user namespaces, or root"
fi

# Pillow, which decodes the photograph of the tests, needs libxcb.
export VELMOR_TEST_PHOTOGRAPH=$work/photograph.npy
"$PYTHON" -c 'import sys, numpy, PIL.Image
numpy.save(sys.argv[2], PIL.Image.open(sys.argv[1]).convert("RGB"))' \
    /usr/share/doc/opencv-doc/examples/data/messi5.jpg "$VELMOR_TEST_PHOTOGRAPH"

export TMPDIR=$work HOME=$work
unset PYTHONPATH DISPLAY
"${inside[@]}" "$venv/bin/python" "$here/is_hidden.py" "${hidden[@]}"
"${inside[@]}" "$venv/bin/python" -m pytest -q -rs -p no:cacheprovider "$@"
