#!/usr/bin/env bash
# What a user does: pip installs from an archive of the sources, whatever the folder is called, also where the sources
# are read-only, and once more; it says what is missing.
. "$(dirname "$0")/common.sh"

work=$SCRATCH/"where pip works - ça et là"
venv=$SCRATCH/pip-venv
export SOURCE_DATE_EPOCH=1700000000
rm -rf "$work"
mkdir "$work"
make_venv "$venv"

# Everything is compiled once more here, and need not be fast.
export CXX=$SCRATCH/quick-c++
printf '#!/bin/sh\nexec c++ "$@" -O1\n' >"$CXX"
chmod +x "$CXX"

# pip_wheel <sources> <result>
pip_wheel()
{
    (cd "$work" && "$venv/bin/pip" wheel --quiet --no-build-isolation --no-deps --wheel-dir "$2" "$1") 2>&1
}

# refuses <text> <command ...>: it fails, and says so
refuses()
{
    local said
    if said=$("${@:2}" 2>&1); then fail "accepted, instead of: $1"; fi
    grep -qF "$1" <<<"$(tr -s '\n ' ' ' <<<"$said")" || fail "lacks '$1': $said"
}

# The archive, made of a copy of the sources: it leaves nothing in them.
mkdir "$work/copy"
tar -C "$SOURCES" --exclude=./build --exclude=./.git -c . | tar -C "$work/copy" -x
(cd "$work/copy" && "$venv/bin/python" -c "from setuptools import build_meta; build_meta.build_sdist('..')" >/dev/null)
tar -C "$work" -xf "$work/velmor-$VERSION.tar.gz"
sources=$work/velmor-$VERSION
[[ ! -e $sources/tests && ! -e $sources/build ]] || fail "the archive holds tests or a build"

refuses "velmor: the wheel needs what is not installed: libopencv_ml.a (libopencv-ml-dev)" \
    cmake -G Ninja -S "$sources" -B "$work/without-archive" -DVELMOR_BUILD_TESTS=OFF \
    -DVELMOR_BUILD_EXAMPLES=OFF -DVELMOR_BUILD_WHEEL=ON -DPython3_EXECUTABLE="$PYTHON" -DVELMOR_WHEEL_ML=
sed -i.bak 's/find_package(pybind11 /find_package(pybind11_of_nobody /' "$sources/python/CMakeLists.txt"
refuses "velmor: the Python package needs pybind11 (pybind11-dev), which is not installed" pip_wheel "$sources" none
mv "$sources/python/CMakeLists.txt.bak" "$sources/python/CMakeLists.txt"

# Twice in a row: the second time little is to be done, and the wheel is the same.
pip_wheel "$sources" first
pip_wheel "$sources" second
cmp "$work"/{first,second}/velmor-"$VERSION"-*.whl || fail "the second wheel differs from the first"

# Read-only, also for root. What describes the package is made elsewhere, and nothing is left there; then a package is
# made of the objects that are there already.
with_read_only_sources()
{
    bwrap --bind / / --dev-bind /dev /dev --ro-bind "$sources" "$sources" --chdir "$sources" "$@"
}

chmod -R a-w "$sources"
mkdir "$work/elsewhere" "$work/description"
TMPDIR=$work/elsewhere with_read_only_sources "$venv/bin/python" -c "
import sys
from setuptools import build_meta
build_meta.prepare_metadata_for_build_wheel(sys.argv[1])" "$work/description" >/dev/null
grep -qxF "Version: $VERSION" "$work"/description/velmor-*.dist-info/METADATA || fail "the description lacks the version"
[[ -z $(ls "$work/elsewhere") ]] || fail "left behind: $(ls "$work/elsewhere")"
build=$(echo "$sources"/build/*)
chmod -R u+w "$sources/build"
VELMOR_BUILD_FOLDER=$build with_read_only_sources --bind "$build" "$build" \
    "$venv/bin/pip" install --quiet --no-build-isolation "$sources"
chmod -R u+w "$sources"
cd "$work"
[[ $("$venv/bin/python" -c 'import velmor; print(velmor.__version__)') == "$VERSION" ]] || fail "another version is there"
"$venv/bin/python" -m pytest -q -p no:cacheprovider "$SOURCES/tests/python/test_filters.py"
