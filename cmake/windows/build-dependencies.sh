#!/bin/sh
# Builds OpenBLAS as a static library for 64-bit Windows and prints the folder that holds it: lib/, licences/.
# Works in a cache outside the tree; an entry there is used again as long as this file and the compiler stay the
# same.
#
# The sources come from Debian, whatever this system's own package lists say; apt checks signatures and sums.
set -eu

openblas=0.3.21+ds
mirror=${VYR_DEBIAN_MIRROR:-http://deb.debian.org/debian}
suite=bookworm
target=x86_64-w64-mingw32

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
        say "build-dependencies: failed: $1; the whole log is $PWD/$log"
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
    run source.log apt-get $own -q source --only-source "openblas/$suite"
    [ -d "openblas-$openblas" ] || {
        say "build-dependencies: $suite has no openblas-$openblas any more"
        exit 1
    }
}

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
build_openblas() {
    write_compiler
    gcc=$PWD/$target-gcc
    cd "openblas-$openblas"
    nice make -j "$(nproc)" MAKE_NB_JOBS="$(nproc)" libs CC="$gcc" HOSTCC=gcc CROSS=1 CROSS_SUFFIX="$target-" BINARY=64 \
        TARGET=PRESCOTT DYNAMIC_ARCH=1 DYNAMIC_LIST='HASWELL SKYLAKEX ZEN' USE_OPENMP=1 NUM_THREADS=64 \
        NOFORTRAN=1 NO_LAPACKE=1 NO_CBLAS=1 BUILD_SINGLE=1 BUILD_DOUBLE=1
    cp -L libopenblas.a "$out/lib/"
    cp LICENSE "$out/licences/OpenBLAS.txt"
}

compiler=$target-gcc-posix
command -v "$compiler" >/dev/null || {
    say "build-dependencies: there is no $compiler"
    exit 1
}
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vyr-windows
key=$({ cat "$0"; "$compiler" -v 2>&1; } | sha256sum | cut -c 1-16)
entry=$cache/openblas-$openblas-$key
if [ ! -d "$entry" ]; then
    mkdir -p "$cache"
    work=$(mktemp -d "$cache/building.XXXXXX")
    cd "$work"
    out=$work/out
    mkdir -p "$out/lib" "$out/licences"
    say "fetching the source of OpenBLAS"
    fetch
    say "building OpenBLAS for Windows: some minutes, once"
    run openblas.log build_openblas
    cp /usr/share/doc/gcc-mingw-w64-x86-64-posix/copyright "$out/licences/gcc-runtime.txt"
    cp /usr/share/doc/mingw-w64-x86-64-dev/copyright "$out/licences/mingw-w64.txt"
    mv -T "$out" "$entry" 2>/dev/null || [ -d "$entry" ] # another run may have been faster
    cd /
    rm -rf "$work"
fi
echo "$entry"
