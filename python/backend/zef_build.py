"""The build backend: that of setuptools, also where builds are isolated without a network.

What builds isolate themselves from is looked up again: the packages of the interpreter, and
those of Debian, which are plain Python and do for other interpreters too. Only what is missing
there is asked for.
"""

import importlib.util
import os
import sys
import sysconfig
from importlib import metadata

_NEEDED = {"setuptools": 61, "wheel": 0}  # the first version that reads pyproject.toml
_DEBIAN = "/usr/lib/python3/dist-packages"


def _has(name, path):
    for found in metadata.distributions(name=name, path=path):
        return int(found.version.split(".")[0]) >= _NEEDED[name]  # the first is the one that is imported
    return False


def _missing():
    return [f"{name}>={version}" if version else name for name, version in _NEEDED.items() if not _has(name, sys.path)]


def _missing_for_wheels():
    """CMake finds the pybind11 of the system by itself."""
    places = (f"{prefix}/{folder}/cmake/pybind11" for prefix in ("/usr", "/usr/local") for folder in ("lib", "share"))
    has_headers = importlib.util.find_spec("pybind11") or any(map(os.path.isdir, places))
    return _missing() + ([] if has_headers else ["pybind11>=2.12"])


def _installed_packages():
    base = {"base": sys.base_prefix, "platbase": sys.base_prefix}
    schemes = [sysconfig.get_path("purelib", scheme, base) for scheme in sysconfig.get_scheme_names()]
    return [folder for folder in dict.fromkeys([*schemes, _DEBIAN]) if os.path.isdir(folder)]


for _name in _NEEDED:
    for _folder in _installed_packages():
        if not _has(_name, sys.path) and _has(_name, [_folder]):
            sys.path.append(_folder)

if not _missing():
    from setuptools.build_meta import *  # noqa: F401,F403
    from setuptools.command.install import install

    # Debian's setuptools ask for options that interpreters from elsewhere do not have.
    for _option in ("install_layout", "prefix_option"):
        setattr(install, _option, getattr(install, _option, None))
else:

    def build_wheel(*_args, **_settings):
        raise SystemExit(f"zef: {' and '.join(_missing())} must be installed for {sys.executable} to build the package")

    build_sdist = build_editable = build_wheel


# In place of those of setuptools, which ask for wheel in any case.
def get_requires_for_build_wheel(config_settings=None):
    return _missing_for_wheels()


def get_requires_for_build_sdist(config_settings=None):
    return _missing()


def get_requires_for_build_editable(config_settings=None):
    return _missing_for_wheels()
