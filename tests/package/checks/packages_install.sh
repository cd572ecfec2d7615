#!/usr/bin/env bash
# The packages are installed into an empty root, beside what dpkg knows to be installed here: it refuses packages whose
# dependencies that does not satisfy. A root of their own with all of Debian below it would take minutes and a network.
. "$(dirname "$0")/../common.sh"

database=$root/var/lib/dpkg log=$packages/dpkg.log
rm -rf "$packages"
mkdir -p "$database"/{info,updates,triggers}
(cd "$BUILD" && "$CPACK" -G DEB -B "$packages")
cp /var/lib/dpkg/status "$database"
touch "$database/available"
# The root has no programs for the scripts of packages. They run outside, and what they call for Python is noted down.
mkdir "$packages/bin"
printf '#!/bin/sh\necho "$@" >>"%s"\n' "$packages/compiled" >"$packages/bin/py3compile"
chmod +x "$packages/bin/py3compile"
# Of the packages of this machine there are no lists of files below the root, and dpkg says so of each.
PATH=$packages/bin:$PATH dpkg --root="$root" --force-not-root --force-script-chrootless --log=/dev/null --install "$packages"/*.deb >"$log" 2>&1 ||
    { grep -v 'files list file for package' "$log"; fail "dpkg does not install the packages"; }
[[ $(sort "$packages/compiled") == $'-p python3-velmor\n-p python3-velmor-gl' ]] ||
    fail "compiled for Python is: $(cat "$packages/compiled")"
