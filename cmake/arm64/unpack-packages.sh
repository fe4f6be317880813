#!/bin/sh
# Unpacks Debian's packages for arm64 into a folder of their own and prints it; nothing of this system is touched. The
# folder stays in a cache outside the tree and is used again for the same packages.
# usage: unpack-packages.sh PACKAGE...
#
# The packages come from Debian, whatever this system's own package lists say; apt checks signatures and sums.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../from-debian.sh"

unpack() {
    # The options are words of their own.
    # shellcheck disable=SC2086
    apt-get $own -q download "$@" || {
        echo "The packages for arm64 could not be fetched from $mirror; VYR_DEBIAN_MIRROR names another mirror."
        exit 1
    }
    for package in ./*.deb; do dpkg-deb -x "$package" out; done
}

cache=${XDG_CACHE_HOME:-$HOME/.cache}/vyr-arm64
entry=$cache/$({ cat "$0" "$here/../from-debian.sh"; echo "$@"; } | sha256sum | cut -c 1-16)
if [ ! -d "$entry" ]; then
    mkdir -p "$cache"
    work=$(mktemp -d "$cache/unpacking.XXXXXX")
    cd "$work"
    say "fetching $*"
    own_apt deb -o APT::Architecture=arm64 -o APT::Architectures=arm64
    run unpack.log unpack "$@"
    mv -T out "$entry" 2>/dev/null || [ -d "$entry" ] # another run may have been faster
    cd /
    rm -rf "$work"
fi
echo "$entry"
