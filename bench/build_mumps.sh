#!/bin/sh
# Builds MUMPS with OpenMP and METIS from Debian's source package, as a peer of the comparison of indefinite
# systems: Debian's own sequential build has neither.
#
#   bench/build_mumps.sh FOLDER
#
# makes FOLDER/libdmumps_seq.so, once, for -DVYR_MUMPS_METIS=FOLDER/libdmumps_seq.so and vyr_bench_indefinite. The
# headers are those of Debian's libmumps-headers-dev.
# Needs gfortran, libmetis-dev, libopenblas-dev and a deb-src line for apt, which it keeps to itself.
set -eu

folder=$(realpath -m "${1:?folder}")
if [ -f "$folder/libdmumps_seq.so" ]; then exit 0; fi
mkdir -p "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial"
cd "$folder"

echo "deb-src http://deb.debian.org/debian $(. /etc/os-release && echo "$VERSION_CODENAME") main" > apt/sources.list
apt="apt-get -qq -o Dir::Etc::sourcelist=$folder/apt/sources.list -o Dir::Etc::sourceparts=-
  -o Dir::State::lists=$folder/apt/lists -o Dir::Cache=$folder/apt/cache"
$apt update
$apt source mumps
cd mumps-*/

cat > Makefile.inc <<'END'
LPORDDIR = $(topdir)/PORD/lib/
IPORD = -I$(topdir)/PORD/include/
LPORD = -L$(LPORDDIR) -lpord
ORDERINGSF = -Dmetis -Dpord
ORDERINGSC = $(ORDERINGSF)
LORDERINGS = -lmetis $(LPORD)
IORDERINGSF =
IORDERINGSC = $(IPORD)
PLAT =
LIBEXT = .a
OUTC = -o # a blank follows
OUTF = -o # a blank follows
RM = /bin/rm -f
CC = gcc
FC = gfortran
FL = gfortran
AR = ar cr # a blank follows
RANLIB = ranlib
LIBBLAS = -lopenblas
INCSEQ = -I$(topdir)/libseq
LIBSEQ = -L$(topdir)/libseq -lmpiseq
CDEFS = -DAdd_
OPTF = -O3 -fPIC -fopenmp -fallow-argument-mismatch
OPTC = -O3 -fPIC -fopenmp
OPTL = -O3 -fPIC -fopenmp
INCS = $(INCSEQ)
LIBS = $(LIBSEQ)
LIBSEQNEEDED = libseqneeded
END
make -j2 d FPIC_OPT=-fPIC > build.log 2>&1 || make d FPIC_OPT=-fPIC >> build.log 2>&1 || { tail -20 build.log; exit 1; }
gfortran -shared -fopenmp -o "$folder/libdmumps_seq.so" \
  -Wl,--whole-archive lib/libdmumps.a lib/libmumps_common.a libseq/libmpiseq.a -Wl,--no-whole-archive \
  lib/libpord.a -lmetis -lopenblas
