"""Builds the native part of korvex_color by CMake; pyproject.toml says the rest.

Two variables of the environment have a say. CMAKE_ARGS: further arguments for CMake. KX_BUILD_FOLDER: a build that exists
and is packed as it is.
"""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class BuildByCMake(build_ext):
    def run(self):
        folder = pathlib.Path(self.build_lib) / "korvex_color"
        if self.inplace:  # for editable installations
            folder = ROOT / "python/korvex_color"
        build = os.environ.get("KX_BUILD_FOLDER")
        if not build:
            build = self.build_temp
            generator = ["-G", "Ninja"] if shutil.which("ninja") else []
            subprocess.run(["cmake", "-S", ROOT, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=Release",
                            "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=0", f"-DKX_PYTHON={sys.executable}",
                            "-DKX_TOOLS=OFF", "-DKX_PYTHON_PACKAGE=ON", "-DBUILD_TESTING=OFF",
                            *shlex.split(os.environ.get("CMAKE_ARGS", ""))], check=True)
            subprocess.run(["cmake", "--build", build, "--target", "korvex_color", "--parallel", str(os.cpu_count())],
                           check=True)
        subprocess.run(["cmake", "--install", build, "--component", "python", "--prefix", folder.parent], check=True)
        for library in pathlib.Path(build, "lib").glob("korvex_kvi_*.so"):
            shutil.copy(library, folder)
        if pathlib.Path("/usr/share/doc/libspdlog-dev/copyright").exists():  # where the works of others are Debian's
            subprocess.run([sys.executable, ROOT / "packaging/notices.py", folder, "Linux", "the logger module",
                            "korvex_color"], check=True)

    def get_source_files(self):
        return []


[version] = re.findall(r"^project\(.* VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)
setup(
    version=version,
    ext_modules=[Extension("korvex_color._core", [])],  # so that the wheel is for this Python and this machine
    cmdclass={"build_ext": BuildByCMake},
)
