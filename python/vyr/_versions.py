"""Which versions are at work."""

from __future__ import annotations

import platform
import sys

import numpy as np
import scipy

from . import _library
from ._library import lib

__version__ = "1.0.0"


def show_versions() -> None:
    """Prints what a report of a fault should say: versions, the library's file and abilities, the machine."""
    version = lib.vyr_version()
    abilities = _library.Ability(lib.vyr_abilities())
    rows = {
        "vyr": __version__,
        "libvyrsolver": f"{version // 1000}.{version % 1000}, {_library.lib_path}",
        "abilities": ", ".join(ability.name or "" for ability in _library.Ability if ability in abilities),
        "Python": sys.version.split()[0],
        "numpy": np.__version__,
        "scipy": scipy.__version__,
        "system": platform.platform(),
        "processor": platform.machine(),
    }
    for name, value in rows.items():
        print(f"{name:<14}{value}")
