"""Signals, and groups of them."""

from __future__ import annotations

import sys
from typing import Any, Dict, Mapping

import numpy as np
from numpy.typing import NDArray

from ._arrays import take_number, take_samples

RATE_NAME = "SampleRate"


class Signal:
    """Samples at a fixed rate, as units take them and files hold them.

    Parameters
    ----------
    x : array_like
        One line as ``(n,)``, several components as ``(k, n)``, or ``(k, 1, n)`` as units have
        them: the samples run along the last dimension. Of a pandas DataFrame each column is a
        component, and its name a label. What is not float32 is narrowed to that where a unit or a
        file takes it. Of another signal rate and attributes stay, unless others are given.
    rate : float, optional
        Samples a second (Hz), above 0. Some units need none.
    attributes : mapping of str, optional
        What else is known, such as ``{"Unit": "g", "Labels": ["X", "Y", "Z"], "StartTime": 0.5}``:
        whole numbers, numbers and texts, or arrays of them.

    Attributes
    ----------
    samples : ndarray
        Three-dimensional or more: ``(n,)`` became ``(1, 1, n)``, ``(k, n)`` became ``(k, 1, n)``.
        `numpy.asarray` of a signal is this array.
    rate : float or None
        The attribute `SampleRate` where that is a rate; setting the one sets the other.
    attributes : dict

    Raises
    ------
    TypeError
        Samples that are no real numbers, a rate that is no number.
    ValueError
        A single number in place of samples, a rate that is not above 0 or that no float32 holds, or
        that is another one than the attribute `SampleRate`.

    Examples
    --------
    >>> import talvora
    >>> talvora.Signal([[1, 2, 3], [4, 5, 6]], rate=100, attributes={"Unit": "g"})
    Signal (2, 1, 3) at 100 Hz, Unit 'g'
    """

    samples: NDArray[Any]
    attributes: dict[str, Any]

    def __init__(self, x: Any, rate: float | None = None,
                 attributes: Mapping[str, Any] | None = None) -> None:
        if not isinstance(attributes, (Mapping, type(None))):
            raise TypeError(f"attributes are {type(attributes).__name__}; a mapping of names to "
                            "values is wanted")
        given = dict(attributes or {})
        if rate is not None:
            refuse_other_rate(rate, given)
        elif find_rate(given) is not None:
            rate = find_rate(given)
        if isinstance(x, Signal):
            given = {**x.attributes, **given}
            x = x.samples
        taken = take_samples(x, round_later=True)
        self.samples = as_components(taken.array.T if taken.default_axis == 0 else taken.array)
        self.attributes = {**name_columns(x), **given}
        if rate is not None:
            self.rate = rate

    @property
    def rate(self) -> float | None:
        return find_rate(self.attributes)

    @rate.setter
    def rate(self, rate: float | None) -> None:
        if rate is None:
            self.attributes.pop(RATE_NAME, None)
        else:
            self.attributes[RATE_NAME] = take_rate(rate, "rate")

    def __array__(self, dtype: Any = None, copy: bool | None = None) -> NDArray[Any]:
        array = self.samples if dtype is None else self.samples.astype(dtype, copy=False)
        return array.copy() if copy else array

    def __repr__(self) -> str:
        rate = "" if self.rate is None else f" at {self.rate:.6g} Hz"
        unit = f", Unit {self.attributes['Unit']!r}" if "Unit" in self.attributes else ""
        return f"Signal {self.samples.shape}{rate}{unit}"


def find_rate(attributes: Mapping[str, Any]) -> float | None:
    """The rate of a set, not that of its group, which is a hint for some units; units write NaN
    where there is none, as of a mean."""
    rate = np.asarray(attributes.get(RATE_NAME, "none"))
    if rate.size != 1 or rate.dtype.kind not in "iuf":
        return None
    return float(rate.item()) if 0 < rate.item() < np.inf else None


def refuse_other_rate(rate: float, attributes: Mapping[str, Any]) -> None:
    """Of two that were given neither counts more."""
    stored = find_rate(attributes)
    if RATE_NAME in attributes and (stored is None or np.float32(stored) != np.float32(rate)):
        raise ValueError(f"the attribute {RATE_NAME!r} is {attributes[RATE_NAME]!r}, and rate is "
                         f"{rate!r}; one of them is wanted")


class Signals(Dict[str, Signal]):
    """Signals by path, with what does not belong to one of them.

    Attributes
    ----------
    groups : dict
        Of each group that has attributes, or is empty, these by its path; the root is ``""``.
    messages : list of str
        What the unit told, or what in a file was left out.
    """

    groups: dict[str, dict[str, Any]]
    messages: list[str]

    def __init__(self, *arguments: Any, **paths: Any) -> None:
        super().__init__(*arguments, **paths)
        self.groups = {}
        self.messages = []

    def copy(self) -> Signals:
        copied = Signals(self)
        copied.groups = dict(self.groups)
        copied.messages = list(self.messages)
        return copied

    def __repr__(self) -> str:
        return "\n".join(f"{path}: {signal!r}" for path, signal in self.items()) or "no signals"


def as_components(array: NDArray[Any]) -> NDArray[Any]:
    if array.ndim == 0:
        raise ValueError("one number is no signal; an array is wanted")
    if array.ndim == 1:
        return array[np.newaxis, np.newaxis, :]
    return array[:, np.newaxis, :] if array.ndim == 2 else array


def take_rate(value: Any, name: str) -> float:
    """Files hold it as float32."""
    rate = take_number(value, name)
    with np.errstate(over="ignore", under="ignore"):
        if not 0 < np.float32(rate) < np.inf:
            raise ValueError(f"{name} is {rate:.6g} Hz; a number above 0 that a float32 can hold is "
                             "wanted")
    return rate


def name_columns(x: Any) -> dict[str, Any]:
    pandas: Any = sys.modules.get("pandas")
    if pandas is not None and isinstance(x, pandas.DataFrame):
        return {"Labels": [str(column) for column in x.columns]}
    return {}
