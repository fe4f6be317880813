#!/bin/sh
# Builds METIS as a static library that touches nothing of the process (redirect.h) and prints the folder that holds
# it: include/, lib/, licence/.
#
# usage: build.sh [COMPILER [AR]]
set -eu

version=5.1.0.dfsg
compiler=${1:-cc}
archiver=${2:-ar}
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../from-debian.sh"

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

from_debian metis metis "$version"
