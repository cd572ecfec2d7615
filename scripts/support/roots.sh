# What scripts share that work in a root of another Debian release: they are run by root, at the root of the sources, and
# have a function fail().

# make_root <release> <folder>: unless there is one.
make_root()
{
    local release=$1 root=$2 site setting
    if [[ -e $root ]]; then return; fi
    mkdir -p "$(dirname "$root")"
    command -v mmdebstrap >/dev/null ||
        apt-get install --yes --no-install-recommends mmdebstrap >/dev/null || fail "installing mmdebstrap failed"
    site=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' | awk '/\/debian$/ && !found++; END { exit !found }') ||
        fail "apt names no archive of Debian here"
    echo "$0: making a root of $release"
    rm -rf "$root.part"
    mmdebstrap --quiet --variant=apt --include=ca-certificates "$release" "$root.part" "$site" ||
        fail "making a root of '$release' failed"
    for setting in /etc/apt/apt.conf.d/*; do # how this machine reaches its archive; packages bring their own
        dpkg-query --search "$setting" >/dev/null 2>&1 || cp "$setting" "$root.part/etc/apt/apt.conf.d/"
    done
    mkdir -p "$root.part/srv/tree"
    mv "$root.part" "$root"
}

# inside <root> <build> <command>: runs a command in a root, with the sources at /srv/tree and a folder as build/ there.
# The mounts go with it.
inside()
{
    unshare --mount --propagation private bash -euo pipefail -c '
        root=$1 build=$2
        shift 2
        mount --rbind "$root" "$root" # so that mounts can be changed inside: the tests hide files
        mount --bind . "$root/srv/tree"
        mount --bind "$build" "$root/srv/tree/build"
        mount -t proc proc "$root/proc"
        mount --rbind /dev "$root/dev"
        mount -t tmpfs tmpfs "$root/tmp"
        exec chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
            bash -euo pipefail -c "cd /srv/tree; $*"' - "$@"
}
