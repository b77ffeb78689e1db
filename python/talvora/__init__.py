"""Zero-phase filters and signal-processing units, on arrays.

    >>> import numpy as np, talvora
    >>> t = np.arange(2000) / 1000
    >>> x = np.sin(2 * np.pi * 3 * t)
    >>> x[500:520] = np.nan                                     # a gap
    >>> y = talvora.butterworth(x, rate=1000, order=4, cutoff=6)
    >>> int(np.isnan(y).sum())
    20

`filtfilt` filters by given coefficients as `scipy.signal.filtfilt` does, many times as fast, and
steps over missing samples; `butterworth` designs the filter, too; `fill_gaps` fills gaps. They take
NumPy arrays of any layout, and pandas Series and DataFrames.

`run` runs any unit of the plug-in library on signals; `units` and `describe` tell which there are
and what they take. `read` and `write` share HDF5 files with the program `talvora-host`.
"""

from ._errors import (Error, GuardError, LeftOutWarning, NarrowingWarning, NotFoundError, PluginError,
                      ShortRunsWarning, UnitError, UnitWarning)
from ._filters import butterworth, design_butterworth, fill_gaps, filtfilt
from ._runs import read, run, write
from ._signals import Signal, Signals
from ._units import Parameter, Unit, Units, describe, units
from ._version import VERSION as __version__

__all__ = [
    "filtfilt", "butterworth", "design_butterworth", "fill_gaps",
    "Signal", "Signals", "run", "read", "write",
    "units", "describe", "Unit", "Units", "Parameter",
    "Error", "GuardError", "UnitError", "PluginError", "NotFoundError", "UnitWarning",
    "ShortRunsWarning", "NarrowingWarning", "LeftOutWarning",
]

# Where people find them, and what tracebacks and help() say.
for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
