#!/bin/sh
# Installs Debian packages into a bare Debian 12 of its own (debootstrap, chroot), uses every one of them, and removes
# them. Needs root. The bare system stays in ~/.cache/vyr-debian for the next time.
# usage: try-debian.sh FOLDER     with the .deb files
set -eu
packages=$(cd "$1" && pwd)
base=${XDG_CACHE_HOME:-$HOME/.cache}/vyr-debian/bookworm
[ "$(id -u)" -eq 0 ] || {
    echo "try-debian.sh: a chroot needs root" >&2
    exit 1
}
if [ ! -d "$base" ]; then
    mkdir -p "$(dirname "$base")"
    fresh=$(mktemp -d "$base.XXXXXX")
    debootstrap --variant=minbase bookworm "$fresh" "${VYR_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
    chmod 755 "$fresh"
    mv -T "$fresh" "$base"
fi

root=$(mktemp -d)
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf "$root"' EXIT
cp -a "$base/." "$root"
cp /etc/resolv.conf "$root/etc/"
mount -t proc proc "$root/proc"
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages/"

inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

inside apt-get -q update
# With what they need and nothing else.
inside sh -ec 'apt-get -q -y --no-install-recommends install /packages/*.deb'
inside vyr generate poisson3d 20 -o /A.mtx
inside vyr solve /A.mtx
inside python3 -c 'import vyr; vyr.show_versions(); from scipy import sparse; print(vyr.solve(sparse.identity(3), [1, 2, 3]))'
inside sh -ec 'test -s /usr/share/man/man1/vyr.1; test -s /usr/share/bash-completion/completions/vyr'
inside apt-get -q -y --no-install-recommends install gcc libc6-dev pkg-config
inside sh -ec 'gcc /usr/share/doc/libvyr-dev/examples/first_solve.c -o /first $(pkg-config --cflags --libs vyrsolver) -lm && /first'
inside apt-get -q -y purge libvyr2 libvyrsolver1
if inside find /usr /etc /var/lib/dpkg/info -name '*vyr*' | grep .; then
    echo "try-debian.sh: the packages leave something behind" >&2
    exit 1
fi
