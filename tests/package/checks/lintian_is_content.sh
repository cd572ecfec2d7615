#!/usr/bin/env bash
# The packages keep the rules of Debian.
. "$(dirname "$0")/../common.sh"

changelog=$sources/../../cmake/debian/changelog
[[ $(dpkg-parsechangelog --file "$changelog" --show-field Version) == "$VERSION" ]] ||
    fail "$changelog does not begin with $VERSION"
said=$(lintian --allow-root --fail-on none "$packages"/*.deb 2>&1)
[[ -z $said ]] || fail "$said"
