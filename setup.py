"""Builds the Python package: CMake makes the extension module, with the library inside."""

import os
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.build_py import build_py
from setuptools.command.sdist import sdist

ROOT = os.path.dirname(os.path.abspath(__file__))


def version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"project\(zef VERSION ([0-9.]+)", file.read()).group(1)


def pybind11_setting():
    """Where pybind11 is, unless CMake finds it by itself."""
    try:
        import pybind11
    except ImportError:
        return []
    return ["-Dpybind11_DIR=" + pybind11.get_cmake_dir()]


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        if not shutil.which("cmake"):
            raise SystemExit("zef: CMake is not installed; on Debian, scripts/setup.sh installs all that the build needs")
        target = os.path.abspath(self.get_ext_fullpath(extension.name))
        name = os.path.basename(target)
        settings = {
            "CMAKE_BUILD_TYPE": "Release",
            "ZEF_BUILD_TESTS": "OFF",
            "ZEF_BUILD_APPS": "OFF",
            "ZEF_INSTALL": "OFF",
            "ZEF_PYTHON": "ON",
            "ZEF_PYTHON_OUTPUT": os.path.dirname(target),
            "ZEF_PYTHON_SUFFIX": name[name.index("."):],
            "Python_EXECUTABLE": sys.executable,
        }
        folder = os.path.abspath(self.build_temp)
        command = ["cmake", "-S", ROOT, "-B", folder, *pybind11_setting()]
        command += ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(command + [f"-D{key}={value}" for key, value in settings.items()], check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", folder, "--target", "zef_python", "-j", jobs], check=True)


def put_page_script(folder):
    """The script of the interactive pages: as archives of a release bring it, or made by node."""
    target = os.path.join(folder, "page.js")
    made = os.path.join(ROOT, "page", "made", "page.js")
    if os.path.exists(made):
        shutil.copyfile(made, target)
    elif os.path.isdir(os.path.join(ROOT, "page", "node_modules", "esbuild")) and shutil.which("node"):
        subprocess.run(["node", os.path.join(ROOT, "page", "build.mjs"), os.path.abspath(target)], check=True)
    elif not os.path.exists(target):
        print("node or the packages of page/ are not installed (scripts/setup.sh does it): view() draws pictures only")


class BuildWithPage(build_py):
    def run(self):
        super().run()
        editable = getattr(self, "editable_mode", False)
        put_page_script(os.path.join(ROOT, "python", "zef") if editable else os.path.join(self.build_lib, "zef"))


class SourcesWithPage(sdist):
    """The script travels built, since a source archive has no packages of npm."""

    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        put_page_script(os.path.join(base_dir, "python", "zef"))


setup(
    version=version(),
    ext_modules=[Extension("zef._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild, "build_py": BuildWithPage, "sdist": SourcesWithPage},
)
