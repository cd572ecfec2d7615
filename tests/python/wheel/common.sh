# What the checks of the wheel share. CMakeLists.txt sets the environment: SOURCES, BUILD, SCRATCH (a folder to work in),
# PYTHON and VERSION.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
venv=$SCRATCH/venv
wheels=$SCRATCH/wheels
export PYTHONDONTWRITEBYTECODE=1 PIP_DISABLE_PIP_VERSION_CHECK=1 PIP_NO_INDEX=1

fail()
{
    echo "$*" >&2
    exit 1
}

# make_venv <folder>: a Python that has what Debian's has
make_venv()
{
    rm -rf "$1"
    "$PYTHON" -m venv --system-site-packages "$1"
}
