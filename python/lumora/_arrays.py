"""From what users have to what a field can stand on: dtype, order, alignment and sizes of arrays."""
import warnings

import numpy as np

from ._errors import LumoraWarning

ALIGNMENT = 16  # bytes, of the library's vector loads
LARGEST = 1 << 30  # samples along an axis


def raised(n):
    """The power of two that holds n samples, as the library raises sizes."""
    return 1 << max(n - 1, 0).bit_length() if n else 0


def _shape(given):
    if isinstance(given, (int, np.integer)) and not isinstance(given, bool):
        return int(given), int(given)
    if isinstance(given, tuple) and len(given) == 2 and all(
            isinstance(n, (int, np.integer)) and not isinstance(n, bool) for n in given):
        return int(given[0]), int(given[1])
    return None


def _why_not(array):
    """What keeps a field from standing on the array itself, or an empty text."""
    if array.dtype != np.complex64 or not array.dtype.isnative:
        return f"its dtype is {array.dtype}, not complex64"
    if not array.flags.c_contiguous:
        return "it is not in C order without gaps"
    if not array.flags.writeable:
        return "it cannot be written to"
    if any(n & (n - 1) for n in array.shape):
        return f"{array.shape[0]} by {array.shape[1]} are not both powers of two"
    if array.ctypes.data % ALIGNMENT:
        return f"its memory is not aligned to {ALIGNMENT} bytes"
    return ""


def prepare(given, copy):
    """(array to stand on or None, (ny, nx), values or None, window (left, top, right, bottom) or None)."""
    shape = _shape(given)
    if shape is not None:
        if min(shape) < 0 or max(shape) > LARGEST:
            raise ValueError(f"sizes are from 0 to {LARGEST}, not {shape}")
        return None, shape, None, None
    if hasattr(given, "asm_prop"):  # another field: copied, unless its samples are asked for
        array = given.samples
        copy = True if copy is None else copy
    else:
        array = np.asarray(given)
    if array.dtype.kind not in "bifuc":
        raise TypeError(f"samples are complex or real numbers, not {array.dtype}")
    if array.ndim == 1:
        array = array[np.newaxis, :]
    if array.ndim != 2:
        raise ValueError(f"samples have the shape (ny, nx); this array has {array.ndim} dimensions. A colour picture "
                         "becomes a grey one by array.mean(axis=2)")
    if not array.size or max(array.shape) > LARGEST:
        raise ValueError(f"sizes are from 1 to {LARGEST}, not {array.shape}")
    why = _why_not(array)
    if copy is False and why:
        raise ValueError(f"a field cannot stand on this array: {why}. Leave copy=False out, or make one with "
                         "numpy.zeros((ny, nx), numpy.complex64), both sizes powers of two")
    if not copy and not why:
        return array, array.shape, None, None
    ny, nx = array.shape
    grid = raised(ny), raised(nx)
    if grid != array.shape:
        warnings.warn(f"{ny} by {nx} samples stand in the middle of a grid of {grid[0]} by {grid[1]}, zeros around "
                      "them; the window is set to them: field.samples[field.window.slices]", LumoraWarning,
                      stacklevel=2)
    # As load_npy and the other loaders centre what they raise.
    bottom, left = (grid[0] - ny) // 2, (grid[1] - nx) // 2
    return None, grid, array, (left, bottom + ny, left + nx, bottom)
