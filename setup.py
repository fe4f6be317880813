"""Puts the library and the licences of what is in it beside the Python files.

They come from the folder that VYR_PREFIX names, an installed VYR or an unpacked package for Windows; without it CMake
builds them from these sources. Everything else is in pyproject.toml.
"""

import os
import pathlib
import shutil
import subprocess

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

LIBRARIES = ["lib/**/libvyrsolver.so.1", "bin/vyrsolver.dll"]
LICENCES = ["share/doc/**/licences/*.txt", "licences/*.txt"]


def build_library(folder):
    """Builds and installs the library alone; returns the prefix."""
    prefix = folder / "prefix"
    configure = ["cmake", "-S", ".", "-B", folder, "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_INSTALL_LIBDIR=lib"]
    subprocess.run([*configure, "-DVYR_BUILD_TESTS=OFF", "-DVYR_BUILD_TOOLS=OFF"], check=True)
    subprocess.run(["cmake", "--build", folder, "--target", "vyrsolver", "--parallel"], check=True)
    install = ["cmake", "--install", folder, "--component", "libvyrsolver1", "--prefix", prefix, "--strip"]
    subprocess.run(install, check=True)
    return prefix


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        given = os.environ.get("VYR_PREFIX")
        scratch = pathlib.Path(self.get_finalized_command("build").build_temp)
        prefix = pathlib.Path(given) if given else build_library(scratch.absolute() / "vyr")
        package = pathlib.Path(self.build_lib) / "vyr"
        self.carry(prefix, LIBRARIES, package / "lib")
        self.carry(prefix, LICENCES, package / "licences")

    @staticmethod
    def carry(prefix, patterns, folder):
        found = [path for pattern in patterns for path in sorted(prefix.glob(pattern))]
        if not found:
            raise FileNotFoundError(f"{prefix} has none of {', '.join(patterns)}")
        folder.mkdir(parents=True, exist_ok=True)
        for path in found:
            shutil.copyfile(path, folder / path.name)


class PlatformWheel(bdist_wheel):
    """For any Python 3, but for one platform: the one of the library inside."""

    def get_tag(self):
        return ("py3", "none", super().get_tag()[2])


class WithLibrary(Distribution):
    def has_ext_modules(self):
        return True


setup(cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel}, distclass=WithLibrary)
