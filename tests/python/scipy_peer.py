"""What SciPy gives where samples are missing."""

import numpy as np
from scipy import signal


def filter_runs(b, a, line, pad):
    """Each run between missing samples by SciPy, as people write it: what lies before the first
    and after the last filtered run is missing, runs between that are too short stay."""
    result = np.array(line)
    edges = np.flatnonzero(np.diff(np.concatenate(([True], np.isnan(line), [True]))))
    runs = [(start, end) for start, end in zip(edges[::2], edges[1::2]) if end - start > pad]
    for start, end in runs:
        result[start:end] = signal.filtfilt(b, a, line[start:end], padlen=pad)
    if runs:
        result[:runs[0][0]] = result[runs[-1][1]:] = np.nan
    return result
