# What the checks of the installed library share. A check is a file in checks/ and looks at one thing from outside.
# CMakeLists.txt sets the environment: BUILD (the build to install), SCRATCH (a folder to work in), LIBDIR, VERSION, CPACK,
# and GENERATOR, CXX and FLAGS (what the library was built with).
set -euo pipefail

sources=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
prefix=$SCRATCH/moved
packages=$SCRATCH/packages
root=$packages/root
libraries=(math core imageio analysis native cvprocess glsupport catalogue catalogue_gl)
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

# package_of <library>: its file
package_of()
{
    echo "$packages/libvelmor-${1//_/-}${VERSION%%.*}_${VERSION}_$(dpkg --print-architecture).deb"
}
