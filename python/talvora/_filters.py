"""Filtering and gaps, on arrays."""

from __future__ import annotations

import warnings
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._arrays import (check_output, choose_axis, describe_array, make_output, take_coefficients,
                      take_number, take_samples, take_whole)
from ._errors import ShortRunsWarning
from ._library import call, choose_stop, ffi, lib

_OPTIONS = ffi.typeof("talvora_filter_options *")
_OPTIONS_SIZE = ffi.sizeof("talvora_filter_options")
_SHORT_RUNS = ffi.typeof("talvora_short_runs *")
_SHORT_RUNS_SIZE = ffi.sizeof("talvora_short_runs")
_DESIGN = ffi.typeof("talvora_butterworth_design *")
_DESIGN_SIZE = ffi.sizeof("talvora_butterworth_design")
_COEFFICIENTS = ffi.typeof("double[]")

_MISSING = {"omit": lib.TALVORA_OMIT, "propagate": lib.TALVORA_PROPAGATE}
_SHORT = {"refuse": lib.TALVORA_REFUSE_SHORT, "leave": lib.TALVORA_LEAVE_SHORT}
_FORMS = {"low-pass": lib.TALVORA_LOW_PASS, "high-pass": lib.TALVORA_HIGH_PASS,
          "band-pass": lib.TALVORA_BAND_PASS, "band-stop": lib.TALVORA_BAND_STOP}
_FORMS.update({name.replace("-", ""): form for name, form in _FORMS.items()})

# Fewer samples take less time than one notices: Ctrl-C may wait for them.
_SHORT_CALL = 1 << 16
_MOST_WORKERS = 1024  # of the library
# No filter of a higher one has coefficients that double precision can hold.
_HIGHEST_ORDER = 1000


def filtfilt(b: ArrayLike, a: ArrayLike, x: Any, axis: int | None = None, nan: str = "omit",
             padlen: int | None = None, workers: int = 1, *, short: str = "refuse",
             out: NDArray[Any] | None = None) -> Any:
    """Filter forward and backward, so that nothing is delayed, with given coefficients.

    Each line along `axis` is extended at both ends by samples turned about its end points,
    filtered in both directions, each time from the steady state of its first sample, and cut to
    its length: what `scipy.signal.filtfilt` does by default, but for missing samples.

    Parameters
    ----------
    b, a : array_like
        Numerator and denominator of the filter, from the highest power of z. It has to be stable.
    x : array_like, shape (..., n, ...)
        The samples. float32 and float64 stay what they are; integers, truth values and other
        floats become float64. NaN is a missing sample, and so is what a masked array masks.
        A pandas Series or DataFrame comes back with its index, columns and name.
    axis : int, optional
        Along which lines run: the last one (-1) by default; of a DataFrame 0, down its columns.
    nan : {"omit", "propagate"}, optional
        "omit": each run of samples between missing ones is filtered by itself. Missing samples
        between two filtered runs stay missing, and runs there that are too short stay as they
        are; what lies before the first and after the last filtered run becomes NaN. A line
        without a run that is long enough stays as it is. "propagate": as in SciPy, a NaN makes
        its line NaN, or with ``a = [1]`` its neighbourhood.
    padlen : int, optional
        By how many samples a line is extended at each end; ``3 * max(len(a), len(b))`` by
        default, as in SciPy. A line or run has to be longer.
    workers : int, optional
        Threads that share the lines; -1 is one for each processor. The result is the same.
    short : {"refuse", "leave"}, optional
        Whether lines that are too short as a whole are an error, or stay as they are.
    out : ndarray, optional
        Where the result goes, of the shape and type of the result: `x` itself, or an array that
        shares no memory with it. A masked array is refused: its mask would hide samples.

    Returns
    -------
    ndarray, Series or DataFrame
        Of the shape of `x`, float32 or float64; `out` if that was given. The samples of a line lie
        next to each other in memory, whatever the axis.

    Raises
    ------
    ValueError
        Coefficients that are not finite, a leading ``a[0]`` of 0, an unstable filter; an axis that
        `x` does not have; lines that are too short; an unfit or overlapping `out`.
    TypeError
        Samples or coefficients that are no real numbers.
    KeyboardInterrupt
        Ctrl-C while it worked. `out` is then partly written.

    Warns
    -----
    ShortRunsWarning
        Samples of runs that are too short stayed as they were, or became missing.

    Notes
    -----
    Sums are of double precision, whatever the type of the samples; the same input gives the same
    bits on every processor. Beyond the result, 5 MiB are taken for each worker. Other threads run
    meanwhile.

    The initial states are those of F. Gustafsson, "Determining the initial states in
    forward-backward filtering", IEEE Transactions on Signal Processing 44 (1996), as SciPy has
    them: the steady state of the step response times the first sample.

    Examples
    --------
    >>> import numpy as np, talvora
    >>> x = np.array([0, 1, 2, 9, np.nan, 4, 5, 6], dtype=float)
    >>> talvora.filtfilt([0.5, 0.5], [1], x, padlen=1)
    array([0. , 1. , 3.5, 9. , nan, 4. , 5. , 6. ])
    """
    b_values, b_count = take_coefficients(b, "b")
    a_values, a_count = take_coefficients(a, "a")
    settings = {"missing": choose(_MISSING, nan, "nan"), "pad": choose_pad(padlen),
                "short_lines": choose(_SHORT, short, "short")}

    def work(taken: Any, given: Any, options: Any) -> None:
        call(lib.talvora_filtfilt, b_values, b_count, a_values, a_count, taken, given, options)

    return filter_lines(work, x, axis, workers, out, settings)


def butterworth(x: Any, *, rate: float, order: int = 4, cutoff: float | None = None,
                bandwidth: float | None = None, edges: ArrayLike | None = None,
                form: str | None = None, axis: int | None = None, nan: str = "omit",
                workers: int = 1, short: str = "refuse",
                out: NDArray[Any] | None = None) -> Any:
    """Filter with the Butterworth filter of the unit `apply-set-butterworth`, without delay.

    Either `cutoff`, with `bandwidth` for the band forms, as the unit has them, or `edges`.

    Parameters
    ----------
    x : array_like
        The samples, as in `filtfilt`.
    rate : float
        Samples a second (Hz).
    order : int, optional
        Over both passes: each has half of it, an odd one loses one. 2 or more.
    cutoff : float
        Hz; of the band forms the centre. The unit's own edge, multiplied by 1.2465 before it is
        used: both passes together are 3 dB down there for a low pass of order 4, elsewhere for
        others.
    bandwidth : float
        Hz, of the band forms. Of a band pass a larger one passes less, see the unit's page.
    edges : float or pair of floats
        Hz: both passes together are 3 dB down exactly there, whatever form and order. Two for the
        band forms. They are found by a search, about a millisecond in every call: for many short
        arrays, `filtfilt` takes the filter that `design_butterworth` gives once.
    form : {"low-pass", "high-pass", "band-pass", "band-stop"}, optional
        SciPy's words without a hyphen are taken, too. By default a band pass where there are two
        edges or a bandwidth, else a low pass.
    axis, nan, workers, short, out : optional
        As in `filtfilt`. Lines are extended by three times the number of coefficients less one.

    Returns
    -------
    ndarray, Series or DataFrame
        As from `filtfilt`. Of float32 samples the bits are those of the unit.

    Raises
    ------
    ValueError
        A rate of 0, an order below 2, an edge that is not between 0 and half the rate, neither or
        both of `cutoff` and `edges`, an unknown form; and what `filtfilt` raises.
    TypeError
        What is no number.

    Warns
    -----
    ShortRunsWarning
        As by `filtfilt`.

    See Also
    --------
    design_butterworth : the coefficients of one pass, to be designed once for many calls.

    Examples
    --------
    >>> import numpy as np, talvora
    >>> t = np.arange(1000) / 1000
    >>> x = np.sin(2 * np.pi * 5 * t) + np.sin(2 * np.pi * 100 * t)
    >>> y = talvora.butterworth(x, rate=1000, order=4, cutoff=20)
    >>> bool(abs(y - np.sin(2 * np.pi * 5 * t))[100:-100].max() < 0.01)
    True
    """
    design = make_design(rate, order, cutoff, bandwidth, edges, form)
    settings = {"missing": choose(_MISSING, nan, "nan"), "pad": lib.TALVORA_PAD_UNIT,
                "short_lines": choose(_SHORT, short, "short")}

    def work(taken: Any, given: Any, options: Any) -> None:
        call(lib.talvora_butterworth, design, taken, given, options)

    return filter_lines(work, x, axis, workers, out, settings)


def design_butterworth(*, rate: float, order: int = 4, cutoff: float | None = None,
                       bandwidth: float | None = None,
                       edges: ArrayLike | None = None, form: str | None = None
                       ) -> tuple[NDArray[np.float64], NDArray[np.float64]]:
    """Give the coefficients of one pass of `butterworth`.

    Parameters
    ----------
    rate, order, cutoff, bandwidth, edges, form
        As in `butterworth`.

    Returns
    -------
    b, a : ndarray of float64, shape (n,)
        Numerator and denominator, with ``order // 2 + 1`` coefficients, or
        ``2 * (order // 2) + 1`` of the band forms.

    Raises
    ------
    ValueError, TypeError
        As in `butterworth`.

    Notes
    -----
    ``filtfilt(b, a, x, padlen=3 * (len(a) - 1))`` gives the bits of `butterworth`, but that a run
    of just one sample more than that is filtered here and left there.

    Examples
    --------
    >>> import talvora
    >>> b, a = talvora.design_butterworth(rate=1000, order=4, cutoff=50)
    >>> a.round(6)
    array([ 1.      , -1.455726,  0.574951])
    """
    design = make_design(rate, order, cutoff, bandwidth, edges, form)
    capacity = 2 * min(max(design.order, 0), _HIGHEST_ORDER) + 1
    b, a = ffi.new(_COEFFICIENTS, capacity), ffi.new(_COEFFICIENTS, capacity)
    count = ffi.new("size_t *")
    call(lib.talvora_design_butterworth, design, b, a, capacity, count)
    return np.array(ffi.unpack(b, count[0])), np.array(ffi.unpack(a, count[0]))


def fill_gaps(x: Any, max_length: int | None = None, axis: int | None = None, workers: int = 1, *,
              out: NDArray[Any] | None = None) -> Any:
    """Put missing samples (NaN) on the straight line between the valid ones beside them.

    Those before the first and after the last valid sample of a line stay missing.

    Parameters
    ----------
    x : array_like
        The samples, as in `filtfilt`; an index of pandas, such as of times, is not looked at.
    max_length : int, optional
        The longest gap to fill, in samples; longer ones stay as they are. By default any.
    axis, workers, out : optional
        As in `filtfilt`.

    Returns
    -------
    ndarray, Series or DataFrame
        As from `filtfilt`. Of float32 samples the bits are those of the unit `apply-set-fill-gap`.

    Raises
    ------
    ValueError
        A `max_length` below 1, an axis that `x` does not have, an unfit or overlapping `out`.
    TypeError
        Samples that are no real numbers.

    Examples
    --------
    >>> import numpy as np, talvora
    >>> talvora.fill_gaps([np.nan, 1, np.nan, 3, np.nan, np.nan, 6], max_length=1)
    array([nan,  1.,  2.,  3., nan, nan,  6.])
    """
    longest = 0 if max_length is None else take_whole(max_length, "max_length")
    if max_length is not None and longest < 1:
        raise ValueError(f"max_length is {longest}; 1 or more is wanted, or None for any")

    def work(taken: Any, given: Any, options: Any) -> None:
        call(lib.talvora_fill_gaps, taken, given, longest, options)

    return work_on_lines(work, x, axis, workers, out, {})


def filter_lines(work: Any, x: Any, axis: int | None, workers: int, out: Any,
                 settings: dict[str, Any]) -> Any:
    short_runs = ffi.new(_SHORT_RUNS, {"struct_size": _SHORT_RUNS_SIZE})
    result = work_on_lines(work, x, axis, workers, out, {**settings, "short_runs": short_runs})
    if short_runs.left_samples or short_runs.erased_samples:
        warnings.warn(f"runs of fewer than {short_runs.least_length} valid samples are too short "
                      f"to be filtered: {short_runs.left_samples:,} of their samples stayed as "
                      f"they were, {short_runs.erased_samples:,} at the ends of lines became "
                      "missing; fill gaps first, or take a lower order",
                      ShortRunsWarning, stacklevel=3)
    return result


def work_on_lines(work: Any, x: Any, axis: int | None, workers: int, out: Any,
                  settings: dict[str, Any]) -> Any:
    samples = take_samples(x)
    array = samples.array
    chosen_axis = choose_axis(axis, samples)
    result = make_output(array, chosen_axis) if out is None else check_output(out, array)
    options = ffi.new(_OPTIONS, {"struct_size": _OPTIONS_SIZE, "axis": chosen_axis,
                                 "workers": check_workers(workers), **settings})
    if array.size > _SHORT_CALL:
        options.should_stop = choose_stop()
    taken, kept_for_taken = describe_array(array)
    given, kept_for_given = describe_array(result)
    work(taken, given, options)
    return result if out is not None or samples.wrap is None else samples.wrap(result)


def choose(table: dict[str, int], word: Any, name: str) -> int:
    if isinstance(word, str) and word in table:
        return table[word]
    raise ValueError(f"{name} is {word!r}; one of {', '.join(map(repr, table))} is wanted")


def choose_form(form: Any, edge_count: int | None, bandwidth: Any) -> int:
    """Of as many edges as it has; None: of a cutoff, with a bandwidth where it has two."""
    chosen = choose(_FORMS, form, "form")
    wanted = 2 if chosen in (lib.TALVORA_BAND_PASS, lib.TALVORA_BAND_STOP) else 1
    ours = f"a filter of the form {form!r}"
    if edge_count is not None and edge_count != wanted:
        raise ValueError(f"the number of edges is {edge_count}; {ours} has {wanted}")
    if edge_count is None and wanted == 2 and bandwidth is None:
        raise ValueError(f"{ours} needs a bandwidth beside cutoff")
    if wanted == 1 and bandwidth is not None:
        raise ValueError(f"bandwidth is {bandwidth!r}; {ours} has none")
    return chosen


def choose_pad(padlen: int | None) -> int:
    if padlen is None:
        return lib.TALVORA_PAD_SCIPY
    length = take_whole(padlen, "padlen")
    if length < 0:
        raise ValueError(f"padlen is {length}; 0 or more is wanted")
    return length if length > 0 else lib.TALVORA_PAD_NONE


def check_workers(workers: int) -> int:
    count = take_whole(workers, "workers")
    if not 1 <= count <= _MOST_WORKERS and count != -1:
        raise ValueError(f"workers is {count}; 1 to {_MOST_WORKERS} are wanted, or -1 for one for "
                         "each processor")
    return count


def make_design(rate: Any, order: Any, cutoff: Any, bandwidth: Any, edges: Any, form: Any) -> Any:
    """The structure of the library."""
    if (cutoff is None) == (edges is None):
        given = "neither cutoff nor edges is" if cutoff is None else "cutoff and edges are"
        raise ValueError(f"{given} given; one of them is wanted")
    if edges is not None and bandwidth is not None:
        raise ValueError("bandwidth belongs to cutoff; edges say the width themselves")
    edge_values, edge_count = (None, None) if edges is None else take_coefficients(edges, "edges")
    if form is None:
        form = "band-pass" if bandwidth is not None or edge_count == 2 else "low-pass"
    design = ffi.new(_DESIGN, {
        "struct_size": _DESIGN_SIZE, "form": choose_form(form, edge_count, bandwidth),
        "order": take_whole(order, "order"), "rate": take_number(rate, "rate"),
        "cutoff": 0.0 if cutoff is None else take_number(cutoff, "cutoff"),
        "bandwidth": 0.0 if bandwidth is None else take_number(bandwidth, "bandwidth")})
    if edges is not None:
        call(lib.talvora_find_cutoff, design, edge_values, edge_count)
    return design
