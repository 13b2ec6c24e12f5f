"""Gives functions the options of the library as keyword-only arguments."""

import functools
import inspect

from . import _core
from ._errors import ArgumentTypeError

_CONTEXT = (
    ("threads", 0, "how many may work at the same time; 0: all that the machine has. No result depends on it"),
    ("progress", None, "called with the stage, a text, and the share done, 0 to 1. If it answers False, the call "
     "ends with a CancelledError; what it raises ends the call too"),
)


def _sentence(name, default, meaning):
    return f"{name} (default {default!r}): {meaning}."


def _meant(name, known):
    import difflib

    close = difflib.get_close_matches(name, known, 1)
    return f"; perhaps {close[0]} is meant" if close else "; it must be one of " + ", ".join(known)


def takes_options(structure=None):
    """The function gets what was given of the options of this structure as a dict, given,
    and (threads, progress) as context. Its signature and docstring tell all of them."""
    options = _core.options[structure] if structure else ()
    names = frozenset(name for name, _, _ in options)

    def decorate(function):
        @functools.wraps(function)
        def call(*args, threads=0, progress=None, **keywords):
            if len(args) > len(places):
                unnamed = ", ".join(name for name in places if name != "self") or "nothing"
                raise ArgumentTypeError(f"{function.__name__}() takes {unnamed} without a name, and all else as name=value")
            given = {name: keywords.pop(name) for name in names.intersection(keywords)}
            for name in keywords:
                if name not in known:
                    raise ArgumentTypeError(f"{name} is no argument of {function.__name__}()" + _meant(name, known))
            extra = {"given": given} if structure else {}
            return function(*args, **keywords, **extra, context=(threads, progress))

        signature = inspect.signature(function)
        own = [p for p in signature.parameters.values() if p.name not in ("given", "context")]
        added = [
            inspect.Parameter(name, inspect.Parameter.KEYWORD_ONLY, default=default)
            for name, default, _ in (*options, *_CONTEXT)
        ]
        places = [p.name for p in own if p.kind is p.POSITIONAL_OR_KEYWORD]
        known = [p.name for p in (*own, *added) if p.name != "self"]
        call.__signature__ = signature.replace(parameters=own + added)
        lines = [_sentence(*option) for option in (*options, *_CONTEXT)]
        call.__doc__ = inspect.cleandoc(function.__doc__) + "\n\nOptions:\n\n" + "\n".join("- " + line for line in lines)
        return call

    return decorate
