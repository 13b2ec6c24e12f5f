"""The build backend: that of setuptools, also where builds are isolated without a network.

What builds isolate themselves from is looked up again: the packages of the interpreter and
of Debian. Only what is missing there is asked for.
"""

import importlib.util
import os
import sys
import sysconfig

_NEEDED = ("setuptools", "wheel")


def _missing():
    return [name for name in _NEEDED if importlib.util.find_spec(name) is None]


def _installed_packages():
    base = {"base": sys.base_prefix, "platbase": sys.base_prefix}
    for scheme in sysconfig.get_scheme_names():
        folder = sysconfig.get_path("purelib", scheme, base)
        if folder not in sys.path and os.path.isdir(folder):
            yield folder


if _missing():
    sys.path.extend(_installed_packages())
if not _missing():
    from setuptools.build_meta import *  # noqa: F401,F403


# In place of those of setuptools, which ask for wheel in any case.
def get_requires_for_build_wheel(config_settings=None):
    return _missing()


def get_requires_for_build_sdist(config_settings=None):
    return _missing()
