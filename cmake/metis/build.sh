#!/bin/sh
# Builds METIS as a static library that touches nothing of the process (redirect.h) and prints the folder that holds
# it: include/, lib/, licence/. Works in a cache outside the tree; an entry there is used again as long as this
# folder and the compiler stay the same.
#
# usage: build.sh [COMPILER [AR]]
#
# The sources come from Debian, whatever this system's own package lists say; apt checks signatures and sums.
set -eu

version=5.1.0.dfsg
mirror=${VYR_DEBIAN_MIRROR:-http://deb.debian.org/debian}
suite=bookworm
compiler=${1:-cc}
archiver=${2:-ar}
here=$(cd "$(dirname "$0")" && pwd)

say() { printf '%s\n' "$*" >&2; }

# run LOG COMMAND...
run() {
    log=$1
    shift
    set +e # a condition around the call would switch "stop at the first failure" off inside it
    (
        set -e
        "$@"
    ) >"$log" 2>&1
    status=$?
    set -e
    [ "$status" -eq 0 ] || {
        tail -n 40 "$log" >&2
        say "metis/build.sh: failed: $1; the whole log is $PWD/$log"
        exit 1
    }
}

fetch() {
    mkdir -p apt/lists/partial apt/cache/archives/partial
    echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main" >apt/sources.list
    own="-o Dir::Etc::SourceList=$PWD/apt/sources.list -o Dir::Etc::SourceParts=- -o APT::Sandbox::User=$(id -un)
         -o Dir::State::Lists=$PWD/apt/lists -o Dir::Cache=$PWD/apt/cache"
    # The options are words of their own.
    # shellcheck disable=SC2086
    run update.log apt-get $own -q update
    # shellcheck disable=SC2086
    run source.log apt-get $own -q source --only-source "metis/$suite"
    [ -d "metis-$version" ] || {
        say "metis/build.sh: $suite has no metis-$version any more"
        exit 1
    }
}

# Of its helper library METIS needs one file beside what redirect.h replaces. Two system headers that the helper
# library names and METIS has no use for are left empty: Windows does not have them.
build() {
    mkdir -p objects shim/sys
    : >shim/sys/resource.h
    : >shim/regex.h
    cd "metis-$version"
    for file in GKlib/mcore.c libmetis/*.c; do
        proper=
        case $file in libmetis/*) proper=-DVYR_METIS_PROPER ;; esac
        "$compiler" $proper -std=gnu99 -O3 -w -DNDEBUG -fPIC -fvisibility=hidden -I../shim -IGKlib -Iinclude -Ilibmetis \
            -include "$here/redirect.h" -c "$file" -o "../objects/$(basename "$file" .c)-$(dirname "$file").o"
    done
    "$archiver" crs "$out/lib/libmetis.a" ../objects/*.o
    cp include/metis.h "$out/include/"
    { cat LICENSE.txt; printf '\n\n'; cat /usr/share/common-licenses/Apache-2.0; } >"$out/licence/METIS.txt"
}

for program in "$compiler" "$archiver" apt-get dpkg-source; do
    command -v "$program" >/dev/null || {
        say "metis/build.sh: there is no $program"
        exit 1
    }
done
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vyr-metis
key=$({ cat "$here/build.sh" "$here/redirect.h"; "$compiler" -v 2>&1; } | sha256sum | cut -c 1-16)
entry=$cache/$version-$key
if [ ! -d "$entry" ]; then
    mkdir -p "$cache"
    work=$(mktemp -d "$cache/building.XXXXXX")
    cd "$work"
    out=$work/out
    mkdir -p "$out/include" "$out/lib" "$out/licence"
    say "fetching the sources of METIS"
    fetch
    say "building METIS with $compiler"
    run build.log build
    mv -T "$out" "$entry" 2>/dev/null || [ -d "$entry" ] # another run may have been faster
    cd /
    rm -rf "$work"
fi
echo "$entry"
