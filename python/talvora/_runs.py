"""Units run on signals, and files of signals."""

from __future__ import annotations

import errno
import os
import re
import warnings
from typing import Any, Iterable, Mapping

import numpy as np

from ._errors import GuardError, LeftOutWarning, NarrowingWarning, UnitError, UnitWarning
from ._library import call, callback, choose_stop, decode, encode, encode_path, ffi, lib
from ._signals import Signals
from ._trees import Tree
from ._units import find_unit, open_plugin


@callback("talvora_tell")
def _take_message(context: Any, level: int, text: Any) -> None:
    ffi.from_handle(context).append((level, decode(text)))


def run(unit: str, signals: Mapping[str, Any], /, *, accept: Iterable[str] = (),
        plugin: str | os.PathLike[str] | None = None, **parameters: Any) -> Signals:
    """Run a unit on signals.

    Parameters
    ----------
    unit : str
        Its identifier, or what follows the last dot of it; `units` lists them.
    signals : mapping of str to Signal
        By path, names parted by "/": ``{"Imu/Rate": talvora.Signal(x, rate=100)}``. They are not
        changed. Bare arrays are signals without a rate.
    accept : iterable of str, optional
        Guards to accept: a result that one speaks against is given all the same, with a warning.
    plugin : path, optional
        As in `units`.
    **parameters
        Of the unit, by key: texts, numbers, truth values, or lists of them. `describe` lists them.

    Returns
    -------
    Signals
        A dictionary of the signals that the unit changed or made, by path: float32, of the shape
        that the unit gives them. Those of which it wrote attributes alone are among them. What it
        told is in `messages`.

    Raises
    ------
    NotFoundError
        There is no such unit, parameter or guard.
    ValueError
        Values of parameters or paths that are wrong; samples beyond float32.
    TypeError
        Samples, attributes or parameters of a type that nothing takes.
    GuardError
        The result would mislead.
    UnitError
        The unit failed; its messages are in `messages`.
    PluginError
        As in `units`.
    KeyboardInterrupt
        Ctrl-C while it worked.

    Warns
    -----
    UnitWarning
        What the unit or a guard warned of.

    Notes
    -----
    Units work on float32. Samples of that type that lie in C order are borrowed, others are copied.

    Examples
    --------
    >>> import talvora
    >>> signal = talvora.Signal([[1, 2, 3], [4, 5, 9]], rate=100)
    >>> out = talvora.run("average-set", {"Imu/Rate": signal},
    ...                   SourceGroup="Imu", DestinationGroup="Mean")
    >>> out["Mean/Rate"].samples.ravel()
    array([2., 6.], dtype=float32)
    """
    opened = open_plugin(plugin)
    index = find_unit(opened, unit)
    tree = Tree()
    tree.add_all(signals)
    words = keep_texts([word for key, value in parameters.items()
                        for word in make_words(key, value)], "a parameter")
    messages: list[tuple[int, str]] = []
    handle = ffi.new_handle(messages)
    guards = keep_texts(list_guards(accept), "the name of a guard")
    options = ffi.new("talvora_run_options *", {
        "struct_size": ffi.sizeof("talvora_run_options"), "accepted_guards": guards.array,
        "accepted_guard_count": guards.count, "tell": _take_message(),
        "should_stop": choose_stop(), "context": handle})
    try:
        call(lib.talvora_run, opened, index, tree.pointer, words.array, words.count, options)
    except GuardError as error:
        error.guard = find_guard(str(error))
        raise
    except UnitError as error:
        error.messages = [text for _, text in messages]
        raise
    result = tree.get_all(only_written=True)
    result.messages = [text for _, text in messages]
    for level, text in messages:
        if level != lib.TALVORA_INFO:
            warnings.warn(text, UnitWarning, stacklevel=2)
    return result


def read(path: str | os.PathLike[str]) -> Signals:
    """Read the signals of an HDF5 file, such as `talvora-host` writes.

    Parameters
    ----------
    path : path
        The file.

    Returns
    -------
    Signals
        A dictionary by path, samples as float32; attributes of groups are in `groups`, and
        `messages` says what the file holds besides and is left out.

    Raises
    ------
    FileNotFoundError
        There is no such file.
    OSError
        It cannot be read, or is no HDF5 file.

    Warns
    -----
    NarrowingWarning
        The file holds a small signal on a large offset, which float32 does not hold.
    LeftOutWarning
        What may be a signal is left out, or another name of one; soft links are never taken.
    """
    name = encode_path(path)
    if not os.path.exists(name):
        raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), os.fspath(path))
    refuse_folder(path)
    messages: list[tuple[int, str]] = []
    handle = ffi.new_handle(messages)
    pointer = ffi.new("talvora_tree **")
    call(lib.talvora_tree_read, name, pointer, _take_message(), handle)
    tree = Tree(pointer[0])
    _warn_of_narrowing(tree, path)
    signals = tree.get_all(only_written=False)
    signals.messages = [text for _, text in messages]
    for level, text in messages:
        if level != lib.TALVORA_INFO:
            warnings.warn(text, LeftOutWarning, stacklevel=2)
    return signals


def write(path: str | os.PathLike[str], signals: Mapping[str, Any], *, replace: bool = False
          ) -> None:
    """Write signals to a new HDF5 file, which appears whole or not at all.

    Parameters
    ----------
    path : path
        The file.
    signals : mapping of str to Signal
        As in `run`; the `groups` of what `read` gave are written, too.
    replace : bool, optional
        Whether a file of that name may be replaced.

    Raises
    ------
    FileExistsError
        There is such a file, and `replace` is not true.
    OSError
        It cannot be written: `FileNotFoundError` where there is no folder for it.
    ValueError, TypeError
        As in `run`.

    Warns
    -----
    NarrowingWarning
        Files hold float32: a small signal on a large offset lost digits that it had.
    """
    if not isinstance(replace, (bool, np.bool_)):
        raise TypeError(f"replace is {replace!r}; True or False is wanted")
    name = encode_path(path)
    refuse_folder(path)
    folder = os.path.dirname(os.fspath(path)) or os.curdir
    if not os.path.isdir(folder):
        raise FileNotFoundError(errno.ENOENT, "There is no folder for the file", os.fspath(path))
    tree = Tree()
    tree.add_all(signals)
    try:
        call(lib.talvora_tree_write, tree.pointer, name, bool(replace))
    except OSError:
        if not replace and os.path.isfile(name):
            raise FileExistsError(errno.EEXIST, "File exists; replace=True replaces it",
                                  os.fspath(path)) from None
        raise
    _warn_of_narrowing(tree, path)


def _warn_of_narrowing(tree: Tree, path: str | os.PathLike[str]) -> None:
    messages: list[tuple[int, str]] = []
    handle = ffi.new_handle(messages)
    call(lib.talvora_tree_tell_narrowed, tree.pointer, _take_message(), handle)
    for _, text in messages:
        warnings.warn(f"{os.fsdecode(path)}: {text}", NarrowingWarning, stacklevel=3)


def refuse_folder(path: str | os.PathLike[str]) -> None:
    if os.path.isdir(path):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), os.fspath(path))


class Texts:
    """An array of texts for the library."""

    def __init__(self, texts: list[bytes]) -> None:
        self._kept = [ffi.new("char[]", text) for text in texts]
        self.array = ffi.new("char *[]", self._kept)
        self.count = len(texts)


def keep_texts(texts: Iterable[str], what: str) -> Texts:
    return Texts([encode(text, what) for text in texts])


def list_guards(accept: Any) -> list[str]:
    if isinstance(accept, str):
        return [accept]
    if isinstance(accept, (bytes, Mapping)) or not isinstance(accept, Iterable):
        raise TypeError(f"accept is {accept!r}; names of guards are wanted")
    return list(accept)


def make_words(key: str, value: Any) -> list[str]:
    """As in a terminal; a list repeats its key."""
    if isinstance(value, np.ndarray):
        value = value.tolist()
    if isinstance(value, (list, tuple)):
        return [word for item in value for word in make_words(key, item)]
    return [f"{key}={format_value(key, value)}"]


def format_value(key: str, value: Any) -> str:
    if isinstance(value, str):
        return value
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    if isinstance(value, (int, np.integer)):
        return str(int(value))
    if isinstance(value, (float, np.floating)):
        return repr(float(value))
    raise TypeError(f"{key} is {value!r}; texts, numbers, truth values or lists of them are wanted")


def find_guard(sentence: str) -> str:
    """The guard that a sentence of the library names first."""
    names: list[str] = []
    while (name := lib.talvora_guard_name(len(names))) != ffi.NULL:
        names.append(decode(name))
    found = re.search(rf"\b({'|'.join(map(re.escape, names))}): ", sentence)
    return found.group(1) if found else ""
