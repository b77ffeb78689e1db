"""The C library: where it is, what its header declares, what its errors become."""

from __future__ import annotations

import atexit
import contextlib
import os
import pathlib
import re
import threading
from typing import Any, Callable

import cffi

from ._errors import Error, GuardError, NotFoundError, PluginError, UnitError
from ._version import VERSION

# Beside this package in a wheel and in a build; else where it is installed with the library, as
# python3/dist-packages/talvora in the folder of that.
FOLDER = pathlib.Path(__file__).absolute().parent
LIBRARY_FOLDERS = (FOLDER, FOLDER.parent.parent.parent)
LIBRARY_NAME = "libtalvora.so.0"
ERROR_SIZE = 4096


def strip_header(text: str) -> str:
    """The declarations of the header alone, without comments, macros and what is for C++."""
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)
    text = re.sub(r"#ifdef __cplusplus.*?#endif", "", text, flags=re.DOTALL)
    text = re.sub(r"^#.*$", "", text, flags=re.MULTILINE)
    return text.replace("TALVORA_EXPORT", "")


def encode(text: str, what: str) -> bytes:
    """UTF-8; what it names is for the sentence about a text that C cannot take."""
    if not isinstance(text, str):
        raise TypeError(f"{what} is {text!r}; a text is wanted")
    try:
        return refuse_zeros(text.encode("utf-8", "surrogateescape"), what)
    except UnicodeEncodeError:
        raise ValueError(f"{what} is {text!r}, which cannot be written as UTF-8") from None


def encode_path(path: str | bytes | os.PathLike[Any], what: str = "path") -> bytes:
    try:
        return refuse_zeros(os.fsencode(path), what)
    except TypeError:
        raise TypeError(f"{what} is {path!r}; a path is wanted") from None


def refuse_zeros(text: bytes, what: str) -> bytes:
    if b"\0" in text:
        raise ValueError(f"{what} holds a zero character: {decode_bytes(text)!r}")
    return text


def decode_bytes(text: bytes) -> str:
    return text.decode("utf-8", "surrogateescape")


def decode(text: Any) -> str:
    return decode_bytes(ffi.string(text))


def decode_or_none(text: Any) -> str | None:
    return None if text == ffi.NULL else decode(text)


def find_library() -> str:
    for folder in LIBRARY_FOLDERS:
        if (folder / LIBRARY_NAME).exists():
            return str(folder / LIBRARY_NAME)
    raise ImportError(f"talvora {VERSION} finds no {LIBRARY_NAME} in "
                      f"{' or '.join(map(str, LIBRARY_FOLDERS))}")


def open_library() -> Any:
    path = find_library()
    try:
        library = ffi.dlopen(path)
    except OSError as error:
        # cffi names the file twice more, and where else it looked.
        reason = str(error).partition(f"{path}: ")[2].partition(".  Additionally")[0]
        raise ImportError(f"talvora {VERSION} cannot load {path}: {reason or error}") from None
    try:
        found = decode(library.talvora_version())
    except AttributeError:
        raise ImportError(f"talvora {VERSION} needs its library, but {path} has no function "
                          "'talvora_version'") from None
    if found != VERSION:
        raise ImportError(f"talvora {VERSION} needs its library in the same version, "
                          f"but {path} is {found}")
    return library


ffi: Any = cffi.FFI()
ffi.cdef(strip_header((FOLDER / "talvora.h").read_text(encoding="utf-8")))
lib = open_library()

_EXCEPTIONS: dict[int, type[Exception]] = {
    lib.TALVORA_INVALID_ARGUMENT: ValueError,
    lib.TALVORA_OUT_OF_MEMORY: MemoryError,
    lib.TALVORA_STOPPED: Error,
    lib.TALVORA_NOT_FOUND: NotFoundError,
    lib.TALVORA_PLUGIN_ERROR: PluginError,
    lib.TALVORA_UNIT_FAILED: UnitError,
    lib.TALVORA_GUARDED: GuardError,
    lib.TALVORA_FILE_ERROR: OSError,
}
_TEXT = ffi.typeof("char[]")


class _Raised(BaseException):
    """Called with what left a function that the library had called, it keeps that in `args`.

    In C throughout: a function in Python would handle the next signal on its way in, and the
    exception that it was called with would be lost.
    """

    __call__ = BaseException.__init__


class _Thread(threading.local):
    """What a thread has of its own."""

    def __init__(self) -> None:
        self.raised = _Raised()
        self.callbacks: dict[Any, Any] = {}


_thread = _Thread()


def callback(signature: str, **options: Any) -> Callable[[Callable[..., Any]], Callable[[], Any]]:
    """For a function that the library calls: what it raises comes out of the call.

    In its place stands a function that gives it for the library, in the thread that asks.
    `should_stop` has to be given besides, for the call to end when it raises.
    """
    def decorate(function: Callable[..., Any]) -> Callable[[], Any]:
        def give() -> Any:
            if function not in _thread.callbacks:
                _thread.callbacks[function] = ffi.callback(signature, function,
                                                           onerror=_thread.raised, **options)
            return _thread.callbacks[function]
        return give
    return decorate


@callback("talvora_should_stop", error=1)
def _ask_interpreter(context: Any) -> int:
    # Signals that are pending are handled on the way in here: after Ctrl-C this raises.
    return 1 if _thread.raised.args else 0


def choose_stop() -> Any:
    """For `should_stop` of a long call: signals are handled by the main thread alone."""
    return _ask_interpreter() if is_main_thread() else ffi.NULL


def is_main_thread() -> bool:
    return threading.current_thread() is threading.main_thread()


class _Calls:
    """Calls that the interpreter waits for before it ends; no other thread begins one after that.

    It would end daemon threads where they next ask for it: in the midst of a call that tells of
    something. A file that one writes would stay behind in part.
    """

    def __init__(self) -> None:
        self._changed = threading.Condition()
        self._count = 0
        self._last_thread: int | None = None

    def __enter__(self) -> None:
        with self._changed:
            self._changed.wait_for(lambda: self._last_thread in (None, threading.get_ident()))
            self._count += 1

    def __exit__(self, *_: Any) -> None:
        with self._changed:
            self._count -= 1
            self._changed.notify_all()

    def end(self) -> None:
        with self._changed:
            self._last_thread = threading.get_ident()
            self._changed.wait_for(lambda: self._count <= 0)


_calls = _Calls()
atexit.register(_calls.end)
os.register_at_fork(after_in_child=_calls.__init__)  # it has none of the other threads
_WAITED_FOR = {lib.talvora_run, lib.talvora_tree_read, lib.talvora_tree_write,
               lib.talvora_tree_tell_narrowed, lib.talvora_tree_visit, lib.talvora_tree_visit_attributes}


def call(function: Any, *arguments: Any) -> None:
    """Calls a function of the library whose last two parameters are a buffer for an error."""
    error = ffi.new(_TEXT, ERROR_SIZE)
    raised = _thread.raised
    outer, raised.args = raised.args, ()  # a signal handler within a call may call again
    # Not those of the main thread, which ends the interpreter: an exception of a signal handler
    # could leave one counted for ever.
    is_awaited = function in _WAITED_FOR and not is_main_thread()
    try:
        with _calls if is_awaited else contextlib.nullcontext():
            status = function(*arguments, error, ERROR_SIZE)
        kept = raised.args
    finally:
        raised.args = outer
    if kept:
        raise kept[1].with_traceback(None)
    if status == lib.TALVORA_OK:
        return
    raise _EXCEPTIONS.get(status, RuntimeError)(decode(error))
