"""Arrays as the library takes them: as they lie where that is possible, else converted once."""

import os

import numpy as np

from ._errors import ArgumentError, ArgumentTypeError


def _short(value):
    if isinstance(value, np.ndarray) and value.size > 3:
        return f"an array of shape {value.shape}"
    text = repr(value)
    return text if len(text) <= 60 else text[:60] + "..."


def _as_array(name, value, wish):
    if value is None or isinstance(value, (str, bytes, dict, set)):
        raise ArgumentTypeError(f"{name} is {_short(value)}; it must be {wish}")
    try:
        array = np.asarray(value)
    except Exception as error:  # whatever an object answers that asks to be an array
        raise ArgumentTypeError(f"{name} is no array ({error}); it must be {wish}") from error
    if array.dtype.kind not in "fiu":
        raise ArgumentTypeError(f"{name} has values of type {array.dtype}; it must be {wish}")
    return array


def _require_shape(name, array, widths, wish):
    if array.ndim != 2 or array.shape[1] not in widths:
        raise ArgumentError(f"{name} has the shape {array.shape}; it must be {wish}")


def _lies_well(array, dtype):
    """Rows may lie apart, the numbers of a row not."""
    size = array.itemsize
    return (
        array.dtype == dtype
        and array.flags.aligned
        and array.strides[1] == size
        and (len(array) < 2 or (array.strides[0] >= size * array.shape[1] and array.strides[0] % size == 0))
    )


def _in_layout(array, dtype):
    return array if _lies_well(array, dtype) else np.require(array, dtype, ["C_CONTIGUOUS", "ALIGNED"])


def _hint(name, array):
    """For arrays as people have them who are nearly there."""
    if array.ndim == 2 and array.shape[0] == 3:
        return f", as {name}.T is"
    if array.ndim == 2 and array.shape[1] > 3:
        return f", as {name}[:, :3] is"
    return ""


def coordinates(name, value, count=None):
    """(n, 3) doubles; what is masked becomes NaN."""
    wish = "an array of real numbers of shape (n, 3)"
    array = _as_array(name, value, wish)
    if isinstance(value, np.ma.MaskedArray):
        array = value.astype(np.float64).filled(np.nan)
    _require_shape(name, array, (3,), wish + _hint(name, array))
    if count is not None and len(array) != count:
        raise ArgumentError(f"{name} has {len(array)} rows; it must have {count}, one for each point")
    return _in_layout(array, np.float64)


def numbers(name, value):
    """(n,) doubles."""
    wish = "an array of real numbers of shape (n,)"
    array = _as_array(name, value, wish)
    if array.ndim != 1:
        raise ArgumentError(f"{name} has the shape {array.shape}; it must be {wish}")
    return np.ascontiguousarray(array, np.float64)


def corners(name, value):
    """(3m, 3) doubles, from (m, 3, 3) or as they are."""
    wish = "a Mesh, or an array of real numbers of shape (m, 3, 3): triangles, corners, x y z"
    array = _as_array(name, value, wish)
    if array.ndim == 3 and array.shape[1:] == (3, 3):
        array = array.reshape(-1, 3)
    _require_shape(name, array, (3,), wish)
    if len(array) % 3:
        raise ArgumentError(f"{name} has {len(array)} corners; it must be {wish}")
    return _in_layout(array, np.float64)


def color_bytes(name, value, count):
    """(n, 4) bytes; None stays."""
    if value is None:
        return None
    wish = "an array of shape (n, 3) or (n, 4), a row for each point: bytes, whole numbers up to 65535, or shares of 1"
    array = _as_array(name, value, wish)
    _require_shape(name, array, (3, 4), wish)
    if len(array) != count:
        raise ArgumentError(f"{name} has {len(array)} rows for {count} points; it must be {wish}")
    if array.dtype != np.uint8:
        array = _bytes_of_numbers(name, array, wish)
    if array.shape[1] == 3:
        with_alpha = np.full((count, 4), 255, dtype=np.uint8)
        with_alpha[:, :3] = array
        return with_alpha
    return _in_layout(array, np.uint8)


def _bytes_of_numbers(name, array, wish):
    """As files of points are read: the largest number tells what full is."""
    if not array.size:
        return array.astype(np.uint8)
    low, high = array.min(), array.max()
    is_real = array.dtype.kind == "f"
    if not (low >= 0 and high <= (255 if is_real else 65535)):
        raise ArgumentError(f"{name} has values from {low} to {high}; it must be {wish}")
    full = 1 if is_real and high <= 1 else 255 if high <= 255 else 65535
    return np.floor(array * (255.0 / full) + 0.5).astype(np.uint8)


def indices(name, value, num_vertices):
    """(m, 3) unsigned numbers, each of them a vertex."""
    wish = "an array of whole numbers of shape (m, 3), indices of the vertices"
    array = _as_array(name, value, wish)
    if array.dtype.kind == "f" and array.size:
        raise ArgumentTypeError(f"{name} has values of type {array.dtype}; it must be {wish}")
    if not array.size and array.ndim < 2:
        array = array.reshape(0, 3)
    _require_shape(name, array, (3,), wish)
    if array.size and not (array.min() >= 0 and array.max() < num_vertices):
        raise ArgumentError(
            f"{name} has indices from {array.min()} to {array.max()}; it must have indices of the "
            f"{num_vertices} vertices, from 0 on"
        )
    return np.ascontiguousarray(array, dtype=np.uint32)


def path(name, value):
    try:
        text = os.fsdecode(value)
    except TypeError:
        raise ArgumentTypeError(f"{name} is {_short(value)}; it must be the name of a file") from None
    if not text or "\0" in text:
        raise ArgumentError(f"{name} is {_short(value)}; it must be the name of a file")
    return os.fsencode(text)
