#!/bin/sh
# Builds AMD of SuiteSparse, with 32-bit integers, as a static library whose memory is the host's and whose calls can
# be left (amd_internal.h), and prints the folder that holds it: include/, lib/, licence/.
#
# usage: build.sh [COMPILER [AR]]
set -eu

version=5.12.0+dfsg
compiler=${1:-cc}
archiver=${2:-ar}
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../from-debian.sh"

# The header of this folder stands before AMD's own of the same name.
build() {
    mkdir -p objects
    cd "suitesparse-$version"
    for name in 1 2 aat order post_tree postorder preprocess valid; do
        "$compiler" -std=gnu99 -O3 -w -DNDEBUG -DNPRINT -DDINT -fPIC -fvisibility=hidden -I"$here" -IAMD/Include \
            -ISuiteSparse_config -c "AMD/Source/amd_$name.c" -o "../objects/amd_$name.o"
    done
    "$archiver" crs "$out/lib/libamd.a" ../objects/*.o
    cp AMD/Include/amd.h SuiteSparse_config/SuiteSparse_config.h "$out/include/"
    cp AMD/Doc/License.txt "$out/licence/AMD.txt"
}

from_debian amd suitesparse "$version"
