"""What calls raise. Every text says what is wrong and what to do about it."""


class Error(Exception):
    """Base of all that the library raises by itself."""


class ArgumentError(Error, ValueError):
    """An argument, or an input as a whole, means nothing: names the argument."""


class ArgumentTypeError(ArgumentError, TypeError):
    """An argument is of a type that it cannot have."""


class NoSurfaceError(Error, ValueError):
    """There is nothing to make a surface of, or none came out."""


class FileError(Error, OSError):
    """A file cannot be read or written: begins with its name."""


class TooLargeError(Error, MemoryError):
    """More than the numbers or the memory of the library cover."""


class CancelledError(Error):
    """The progress function has answered False."""


class LicenseError(Error):
    """The licence policy has refused the call."""


class InternalError(Error, RuntimeError):
    """An inconsistency inside the library. Please report it."""
