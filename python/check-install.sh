#!/bin/sh
# Installs the package by pip without network, once from the tree with an installed library, once by sdist and
# wheel with one built from the sources inside, and runs the tests on each.
# usage: python/check-install.sh PREFIX WORK     PREFIX: of an installed VYR; WORK: a folder to work in
set -eu
cd "$(dirname "$0")/.."
prefix=$1
rm -rf "$2"
mkdir -p "$2"
work=$(cd "$2" && pwd)
offline="--no-build-isolation --no-deps --no-index --disable-pip-version-check -q"
export PYTHONDONTWRITEBYTECODE=1
unset VYR_LIBRARY PYTHONPATH

# An environment of its own that sees what Debian has installed.
environment() {
    /usr/bin/python3 -m venv --system-site-packages "$work/$1"
}

# The package is the environment's, with the library it carries.
check() {
    (cd "$work" && "$work/$1/bin/python" -c '
import sys, vyr
from vyr import _library
vyr.show_versions()
sys.exit(not (_library.lib_path.startswith(sys.prefix) and vyr.__file__.startswith(sys.prefix)))')
    "$work/$1/bin/python" -m pytest -q -p no:cacheprovider tests/python
}

environment tree
# The options are words of their own.
# shellcheck disable=SC2086
VYR_PREFIX=$prefix "$work/tree/bin/pip" install $offline .
check tree

/usr/bin/python3 setup.py -q sdist -d "$work"
# shellcheck disable=SC2086
/usr/bin/python3 -m pip wheel $offline -w "$work" "$work"/vyr-*.tar.gz
environment wheel
# shellcheck disable=SC2086
"$work/wheel/bin/pip" install $offline "$work"/vyr-*.whl
check wheel
ls "$work/wheel"/lib/python3*/site-packages/vyr/licences
