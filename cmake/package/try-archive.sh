#!/bin/sh
# Uses the packages that need no installation: unpacks the .tar.gz in another place and builds the examples against it,
# and solves from Python with what the wheel carries.
# usage: try-archive.sh FOLDER WORK     FOLDER: with the packages; WORK: a folder to work in
set -eu
packages=$(cd "$1" && pwd)
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
rm -rf "$2"
mkdir -p "$2/anywhere"
cd "$2"
tar -xzf "$packages"/vyr-*-linux-*.tar.gz -C anywhere --strip-components=1
anywhere/bin/vyr generate poisson3d 20 -o A.mtx
anywhere/bin/vyr solve A.mtx
cmake -S "$examples" -B examples -G Ninja -DCMAKE_PREFIX_PATH="$PWD/anywhere" >examples.log
cmake --build examples >>examples.log
examples/example_first_solve
ls anywhere/share/doc/*/licences

/usr/bin/python3 -m venv --system-site-packages python
python/bin/pip install -q --disable-pip-version-check --no-deps --no-index "$packages"/vyr-*-linux_*.whl
python/bin/python -c '
import vyr
from scipy import sparse
vyr.show_versions()
print(vyr.solve(sparse.identity(3), [1, 2, 3]))'
