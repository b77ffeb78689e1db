"""Arrays of NumPy and pandas as the library takes them, and its results as they were given."""

from __future__ import annotations

import operator
import sys
from typing import Any, Callable, NamedTuple

import numpy as np
from numpy.typing import NDArray

from ._library import ffi, lib

_TYPES = {np.dtype(np.float32): lib.TALVORA_FLOAT32, np.dtype(np.float64): lib.TALVORA_FLOAT64}
_ARRAY = ffi.typeof("talvora_array *")
_ARRAY_SIZE = ffi.sizeof("talvora_array")
_EXTENTS = ffi.typeof("int64_t[]")


class Samples(NamedTuple):
    """What was given, as an array that the library takes, and the way back."""

    array: NDArray[Any]
    default_axis: int
    wrap: Callable[[NDArray[Any]], Any] | None  # None: the array itself is the result


def take_samples(x: Any, round_later: bool = False) -> Samples:
    """Float32 stays, other real types become float64; nothing is copied that can be taken. Of those
    that become float32 later whole numbers are rounded then, and not before."""
    to_floats = keep_for_rounding if round_later else to_doubles
    pandas: Any = sys.modules.get("pandas")
    if pandas is not None:
        if isinstance(x, pandas.Series):
            array = to_floats(take_columns(pandas, x, [x.dtype]))
            return Samples(array, -1, lambda y: pandas.Series(y, x.index, name=x.name, copy=False))
        if isinstance(x, pandas.DataFrame):
            array = to_floats(take_columns(pandas, x, list(x.dtypes)))
            return Samples(array, 0, lambda y: pandas.DataFrame(y, x.index, x.columns, copy=False))
    if holds_masks(x):
        x = np.ma.array(x)
    if isinstance(x, np.ma.MaskedArray):
        return Samples(fill_masked(x, to_floats), -1, None)
    return Samples(to_floats(np.asarray(x)), -1, None)


def holds_masks(x: Any) -> bool:
    """Lists of masked arrays, whose masks an array of them would not have."""
    if not isinstance(x, (list, tuple)):
        return False
    if any(holds_masks(row) for row in x if isinstance(row, (list, tuple))):
        raise TypeError("masked arrays stand in lists within a list; one masked array is wanted, such "
                        "as numpy.ma.stack makes")
    return any(isinstance(row, np.ma.MaskedArray) for row in x)


def fill_masked(x: Any, to_floats: Callable[[NDArray[Any]], NDArray[Any]]) -> NDArray[Any]:
    mask = np.ma.getmaskarray(x)
    floats = to_floats(x.data)
    return np.where(mask, floats.dtype.type(np.nan), floats) if mask.any() else floats


def keep_for_rounding(array: NDArray[Any]) -> NDArray[Any]:
    """To float64 that rounds to the same float32 as the whole numbers themselves: beyond 2**53 the
    halves between two float32 are multiples of 2**12, and what is between two of those stays there."""
    doubles = to_doubles(array)
    if array.dtype.kind not in "iu" or array.dtype.itemsize < 8:
        return doubles
    below = array.dtype.type(2**12 - 1) & array
    between = (array - below + (below != 0) * array.dtype.type(2**11)).astype(np.float64)
    return np.where(np.abs(doubles) < 2.0**53, doubles, between)


def to_doubles(array: NDArray[Any]) -> NDArray[Any]:
    if array.dtype in _TYPES and array.flags.aligned:
        return array
    if array.dtype.kind not in "fiub":
        raise TypeError(f"samples are of the type {array.dtype}; real numbers are wanted")
    is_single = array.dtype.kind == "f" and array.dtype.itemsize == 4
    return array.astype(np.float32 if is_single else np.float64)


def take_columns(pandas: Any, frame: Any, types: list[Any]) -> NDArray[Any]:
    """The values of a Series or DataFrame whose columns have these types; missing ones are NaN."""
    kinds = pandas.api.types
    for dtype in types:
        if not kinds.is_numeric_dtype(dtype) or kinds.is_complex_dtype(dtype):
            raise TypeError(f"samples are of the type {dtype}; real numbers are wanted")
    if not types:
        return frame.to_numpy(dtype=np.float64)
    common = np.result_type(*map(find_numpy_type, types))
    if all(isinstance(dtype, np.dtype) for dtype in types):
        return frame.to_numpy(dtype=common)
    return frame.to_numpy(dtype=common if common in _TYPES else np.float64, na_value=np.nan)


def find_numpy_type(dtype: Any) -> np.dtype[Any]:
    """That of the values of a column, such as float32 of pandas' own Float32."""
    if isinstance(dtype, np.dtype):
        return dtype
    return getattr(dtype, "numpy_dtype", np.dtype(np.float64))


def choose_axis(axis: int | None, samples: Samples) -> int:
    """Counted from the first."""
    rank = samples.array.ndim
    if rank == 0:
        raise ValueError("one number has no axis to work along; an array is wanted")
    chosen = samples.default_axis if axis is None else take_whole(axis, "axis")
    if not -rank <= chosen < rank:
        raise ValueError(f"axis {chosen} is out of range; {rank} dimensions have "
                         f"{-rank} to {rank - 1}")
    return chosen % rank


def make_output(array: NDArray[Any], axis: int) -> NDArray[Any]:
    """Like an array, with the samples of a line along the axis next to each other in memory."""
    if axis == array.ndim - 1:
        return np.empty(array.shape, array.dtype)
    shape = array.shape[:axis] + array.shape[axis + 1:] + array.shape[axis:axis + 1]
    return np.moveaxis(np.empty(shape, array.dtype), -1, axis)


def check_output(out: Any, array: NDArray[Any]) -> NDArray[Any]:
    """An array of the caller's for the result."""
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out is {type(out).__name__}; a NumPy array is wanted")
    if isinstance(out, np.ma.MaskedArray):
        raise TypeError("out is a masked array, whose mask would hide what is written; a plain array "
                        "is wanted")
    if out.dtype != array.dtype:
        raise TypeError(f"out is of the type {out.dtype}; {array.dtype} is wanted")
    if out.shape != array.shape:
        raise ValueError(f"out has the shape {out.shape}; {array.shape} is wanted")
    if not out.flags.writeable or not out.flags.aligned:
        raise ValueError("out cannot be written to, or its samples are not aligned")
    return out


def describe_array(array: NDArray[Any]) -> tuple[Any, Any]:
    """The structure of the library, and what has to live as long."""
    extents = ffi.new(_EXTENTS, array.shape)
    strides = ffi.new(_EXTENTS, array.strides)
    address = ffi.cast("void *", array.__array_interface__["data"][0])
    described = ffi.new(_ARRAY, (_ARRAY_SIZE, address, extents, strides, array.ndim,
                                 _TYPES[array.dtype]))
    return described, (extents, strides)


def take_coefficients(values: Any, name: str) -> tuple[Any, int]:
    """An array of doubles for the library, and how many."""
    array = take_array(values, name)
    if array.dtype.kind not in "fiub":
        raise TypeError(f"{name} is of the type {array.dtype}; real numbers are wanted")
    if array.ndim > 1:
        raise ValueError(f"{name} has {array.ndim} dimensions; one is wanted")
    listed = array.astype(np.float64).ravel().tolist()
    return ffi.new("double[]", listed), len(listed)


def take_array(values: Any, name: str) -> NDArray[Any]:
    if np.ma.is_masked(values):
        raise ValueError(f"{name} has masked values; all are needed")
    try:
        return np.asarray(values)
    except ValueError as error:
        raise ValueError(f"{name} is no array: {error}") from None


def take_whole(value: Any, name: str) -> int:
    try:
        whole = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} is {value!r}; a whole number is wanted") from None
    if not -2**31 <= whole < 2**31:
        raise ValueError(f"{name} is {whole}; a whole number of 32 bits is wanted")
    return whole


def take_number(value: Any, name: str) -> float:
    if isinstance(value, (str, bytes)):
        raise TypeError(f"{name} is {value!r}; a number is wanted")
    try:
        return float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name} is {value!r}; a number is wanted") from None
    except OverflowError:
        raise ValueError(f"{name} is beyond the largest double, {np.finfo(float).max:.6g}") from None
