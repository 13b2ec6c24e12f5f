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


def takes_options(structure=None):
    """The function gets what was given of the options of this structure as a dict, given,
    and (threads, progress) as context. Its signature and docstring tell all of them."""
    options = _core.options[structure] if structure else ()
    names = frozenset(name for name, _, _ in options)

    def decorate(function):
        @functools.wraps(function)
        def call(*args, threads=0, progress=None, **keywords):
            given = {name: keywords.pop(name) for name in names.intersection(keywords)}
            for name in keywords:
                if name not in known:
                    raise ArgumentTypeError(f"{name} is no argument of {function.__name__}(); it must be one of "
                                            + ", ".join(known))
            extra = {"given": given} if structure else {}
            return function(*args, **keywords, **extra, context=(threads, progress))

        signature = inspect.signature(function)
        own = [p for p in signature.parameters.values() if p.name not in ("given", "context")]
        added = [
            inspect.Parameter(name, inspect.Parameter.KEYWORD_ONLY, default=default)
            for name, default, _ in (*options, *_CONTEXT)
        ]
        known = [p.name for p in (*own, *added) if p.name != "self"]
        call.__signature__ = signature.replace(parameters=own + added)
        lines = [_sentence(*option) for option in (*options, *_CONTEXT)]
        call.__doc__ = inspect.cleandoc(function.__doc__) + "\n\nOptions:\n\n" + "\n".join("- " + line for line in lines)
        return call

    return decorate
