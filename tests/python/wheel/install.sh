#!/usr/bin/env bash
# A wheel is made of the objects of this build, and installed.
. "$(dirname "$0")/common.sh"

make_venv "$venv"
rm -rf "$wheels"
VELMOR_BUILD_FOLDER=$BUILD "$venv/bin/pip" wheel --quiet --no-build-isolation --no-deps --wheel-dir "$wheels" "$SOURCES"
"$venv/bin/pip" install --quiet --no-deps "$wheels"/velmor-"$VERSION"-*.whl
"$venv/bin/python" -m zipfile --list "$wheels"/*.whl
stat --printf '%n: %s bytes\n' "$wheels"/*.whl
