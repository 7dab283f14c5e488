"""Builds the extension module with CMake, because the library is built with it; see pyproject.toml for the rest.

The environment: CMAKE_ARGS are added to those of cmake, TRAMOSTREAM_BUILD is the folder to build in, TRAMOSTREAM_MODULE a module
that has been built already.
"""
import os
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
BUILD = os.environ.get("TRAMOSTREAM_BUILD", os.path.join(ROOT, "build", "python"))
MODULE = "_core.pyd" if os.name == "nt" else "_core.abi3.so"


def version():
    """The version of the library: it is written in one place."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"^project\(TramoStream VERSION (\S+)", file.read(), re.M)[1]


class Build(build_ext):
    def build_extension(self, ext):
        module = os.environ.get("TRAMOSTREAM_MODULE") or self.build_module()
        target = self.get_ext_fullpath(ext.name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copy2(module, target)

    def build_module(self):
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, *generator, "-DCMAKE_BUILD_TYPE=Release", "-DTRAMOSTREAM_PYTHON=ON",
                        "-DTRAMOSTREAM_TOOL=OFF", "-DTRAMOSTREAM_TESTS=OFF", "-DTRAMOSTREAM_INSTALL=",
                        f"-DPython3_EXECUTABLE={sys.executable}", *shlex.split(os.environ.get("CMAKE_ARGS", ""))], check=True)
        subprocess.run(["cmake", "--build", BUILD, "--target", "tramostream_python", "--parallel",
                        os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count()))], check=True)
        return os.path.join(BUILD, "python", MODULE)


os.makedirs(BUILD, exist_ok=True)
setup(
    version=version(),
    packages=["tramostream"],
    package_data={"tramostream": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("tramostream._core", [], py_limited_api=True)],
    cmdclass={"build_ext": Build},
    options={"bdist_wheel": {"py_limited_api": "cp39"},
             "build": {"build_base": os.path.join(BUILD, "setuptools")},
             "egg_info": {"egg_base": BUILD}},
    zip_safe=False,
)
