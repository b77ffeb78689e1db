"""Failures that Python has no name for."""

from __future__ import annotations


class Error(Exception):
    """What the other exceptions of this package have in common.

    Wrong arguments are not among them: those raise `ValueError` or `TypeError`, a lack of memory
    `MemoryError`, files `OSError`.
    """


class GuardError(Error):
    """The result would mislead, so there is none; `accept` of `run` takes it all the same.

    Attributes
    ----------
    guard : str
        The name of the guard that spoke.
    """

    def __init__(self, text: str, guard: str = "") -> None:
        super().__init__(text)
        self.guard = guard


class UnitError(Error):
    """A unit said that it failed.

    Attributes
    ----------
    messages : list of str
        What it told before, in order.
    """

    def __init__(self, text: str, messages: list[str] | None = None) -> None:
        super().__init__(text)
        self.messages = messages or []


class PluginError(Error):
    """A plug-in library cannot be loaded, or broke the interface."""


class NotFoundError(Error, LookupError):
    """There is no such unit, parameter, guard, signal or attribute."""


class UnitWarning(UserWarning):
    """What a unit or a guard warned of while the result was made."""


class LeftOutWarning(UserWarning):
    """What may be a signal of a file, or is another name of one, is not in what `read` gave."""


class ShortRunsWarning(UserWarning):
    """Samples were not filtered: they are in runs between missing ones that are too short."""


class NarrowingWarning(UserWarning):
    """Samples that were read or written as float32 lost much of their range."""
