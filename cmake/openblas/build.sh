#!/bin/sh
# Builds OpenBLAS as a static library for 64-bit Windows, some minutes, and prints the folder that holds it: lib/,
# licence/.
set -eu

version=0.3.21+ds
target=x86_64-w64-mingw32
compiler=$target-gcc-posix
archiver=$target-ar
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../from-debian.sh"

# OpenBLAS compiles with what this writes. Two things the compiler of Debian does not do by itself:
# Win64 aligns the stack to 16 bytes only, so vectors of 32 and 64 bytes must be moved by instructions that do
# not ask for more; and a version without "-posix" lets the build see that the compiler is a recent one.
write_compiler() {
    cat >"$target-gcc" <<COMPILER
#!/bin/sh
case "\$*" in
*-dumpversion*) "$compiler" -dumpversion | sed 's/-.*/.0.0/' ;;
*) exec "$compiler" -Wa,-muse-unaligned-vector-move "\$@" ;;
esac
COMPILER
    chmod +x "$target-gcc"
}

# Kernels for three families of processors and a base for all others, chosen at run time. Double precision comes
# with single precision only: the tables of kernels do not fit together otherwise.
build() {
    write_compiler
    gcc=$PWD/$target-gcc
    cd "openblas-$version"
    nice make -j "$(nproc)" MAKE_NB_JOBS="$(nproc)" libs CC="$gcc" HOSTCC=gcc CROSS=1 CROSS_SUFFIX="$target-" BINARY=64 \
        TARGET=PRESCOTT DYNAMIC_ARCH=1 DYNAMIC_LIST='HASWELL SKYLAKEX ZEN' USE_OPENMP=1 NUM_THREADS=64 \
        NOFORTRAN=1 NO_LAPACKE=1 NO_CBLAS=1 BUILD_SINGLE=1 BUILD_DOUBLE=1
    cp -L libopenblas.a "$out/lib/"
    cp LICENSE "$out/licence/OpenBLAS.txt"
    cp /usr/share/doc/gcc-mingw-w64-x86-64-posix/copyright "$out/licence/gcc-runtime.txt"
    cp /usr/share/doc/mingw-w64-x86-64-dev/copyright "$out/licence/mingw-w64.txt"
}

from_debian windows openblas "$version"
