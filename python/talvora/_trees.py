"""Trees of the library: signals go in, signals come out."""

from __future__ import annotations

from typing import Any, Mapping

import numpy as np
from numpy.typing import NDArray

from ._arrays import describe_array, take_array, take_samples
from ._library import call, callback, decode, encode, ffi, lib
from ._signals import RATE_NAME, Signal, Signals, take_rate

_ATTRIBUTE_SIZE = ffi.sizeof("talvora_attribute")


@callback("talvora_visit_object", error=1)
def _take_object(context: Any, path: Any, kind: int) -> int:
    ffi.from_handle(context).append((decode(path), kind))
    return 0


@callback("talvora_visit_name", error=1)
def _take_name(context: Any, name: Any) -> int:
    ffi.from_handle(context).append(decode(name))
    return 0


class Tree:
    """Borrows the samples that it is given, and lives as long as what was taken out of it."""

    def __init__(self, pointer: Any = None) -> None:
        if pointer is None:
            created = ffi.new("talvora_tree **")
            call(lib.talvora_tree_create, created)
            pointer = created[0]
        self.pointer = ffi.gc(pointer, lib.talvora_tree_destroy)
        self._borrowed: dict[int, NDArray[Any]] = {}  # by their addresses

    # ---- in

    def add_all(self, signals: Mapping[str, Any]) -> None:
        if not isinstance(signals, Mapping):
            raise TypeError(f"signals are {type(signals).__name__}; a mapping of paths to signals "
                            "is wanted")
        for path, attributes in getattr(signals, "groups", {}).items():
            if path:
                call(lib.talvora_tree_add_group, self.pointer, encode(path, "a path"))
            self.set_attributes(path, attributes)
        for path, signal in signals.items():
            self.add(path, signal if isinstance(signal, Signal) else Signal(signal))

    def add(self, path: str, signal: Signal) -> None:
        taken = take_samples(signal.samples, round_later=True)
        if taken.default_axis == 0:
            raise TypeError(f"the samples of {path!r} are a DataFrame; talvora.Signal takes its columns "
                            "as components")
        samples = taken.array
        self._borrowed[samples.__array_interface__["data"][0]] = samples
        described, kept = describe_array(samples)
        call(lib.talvora_tree_add_set, self.pointer, encode(path, "the path of a signal"), described)
        self.set_attributes(path, signal.attributes)
        if signal.rate is not None:
            rate = take_rate(signal.rate, f"the rate of {path!r}")
            self.set_attributes(path, {RATE_NAME: np.float32(rate)})

    def set_attributes(self, path: str, attributes: Mapping[str, Any]) -> None:
        owner = repr(path) if path else "the root"
        for name, value in attributes.items():
            encoded = encode(name, "the name of an attribute")
            attribute, kept = describe_attribute(value, f"the attribute {name!r} of {owner}")
            call(lib.talvora_tree_set_attribute, self.pointer, encode(path, "a path"), encoded,
                 attribute)

    # ---- out

    def get_all(self, only_written: bool) -> Signals:
        signals = Signals()
        objects = self.list_objects()
        full = {path.rpartition("/")[0] for path, _ in objects}
        for path, kind in objects:
            if kind == lib.TALVORA_GROUP:
                attributes = self.get_attributes(path)
                if attributes or path not in full:
                    signals.groups[path] = attributes
            elif not only_written or self.was_written(path):
                signals[path] = self.get(path)
        root = self.get_attributes("")
        if root:
            signals.groups[""] = root
        return signals

    def list_objects(self) -> list[tuple[str, int]]:
        objects: list[tuple[str, int]] = []
        handle = ffi.new_handle(objects)
        call(lib.talvora_tree_visit, self.pointer, _take_object(), handle)
        return objects

    def was_written(self, path: str) -> bool:
        written = ffi.new("int32_t *")
        call(lib.talvora_tree_was_written, self.pointer, encode(path, "a path"), written)
        return bool(written[0])

    def get(self, path: str) -> Signal:
        array = ffi.new("talvora_array *", {"struct_size": ffi.sizeof("talvora_array")})
        call(lib.talvora_tree_get_set, self.pointer, encode(path, "a path"), array)
        signal = Signal.__new__(Signal)
        signal.samples = self._view(array)
        signal.attributes = self.get_attributes(path)
        return signal

    def _view(self, array: Any) -> NDArray[Any]:
        """The samples where they lie, and keep the tree; of those of the caller's own a copy."""
        shape = unpack(array.extents, array.rank)
        size = 4 * int(np.prod(shape, dtype=object))
        if size == 0:
            return np.empty(shape, np.float32)
        if int(ffi.cast("uintptr_t", array.samples)) in self._borrowed:
            return np.frombuffer(ffi.buffer(array.samples, size), np.float32).reshape(shape).copy()
        owner = ffi.gc(array.samples, lambda _, tree=self: None)
        return np.frombuffer(ffi.buffer(owner, size), np.float32).reshape(shape)

    def get_attributes(self, path: str) -> dict[str, Any]:
        names: list[str] = []
        handle = ffi.new_handle(names)
        call(lib.talvora_tree_visit_attributes, self.pointer, encode(path, "a path"), _take_name(),
             handle)
        return {name: self.get_attribute(path, name) for name in names}

    def get_attribute(self, path: str, name: str) -> Any:
        attribute = ffi.new("talvora_attribute *", {"struct_size": _ATTRIBUTE_SIZE})
        call(lib.talvora_tree_get_attribute, self.pointer, encode(path, "a path"),
             encode(name, "the name of an attribute"), attribute)
        return read_attribute(attribute)


# ---- Attributes


def describe_attribute(value: Any, what: str) -> tuple[Any, Any]:
    """The structure of the library, and what has to live as long."""
    if isinstance(value, np.float32):
        numbers = ffi.new("double[]", [float(value)])
        return fill_attribute(lib.TALVORA_FLOAT_NUMBERS, (), numbers=numbers)
    array = take_array(value, what)
    if array.dtype.kind == "f" and not isinstance(value, np.ndarray):
        refuse_rounded(np.asarray(value, object), what)
    if array.dtype.kind in "UO":
        array = np.asarray(value, object)  # as they were given: NumPy makes texts of numbers beside
    if holds_only(array, str):
        texts = [ffi.new("char[]", encode(item, what)) for item in array.flat]
        attribute, kept = fill_attribute(lib.TALVORA_TEXTS, array.shape,
                                         texts=ffi.new("char *[]", texts))
        return attribute, (kept, texts)
    if array.dtype.kind in "iub" or holds_only(array, int):
        integers = ffi.new("int64_t[]", [take_integer(item, what) for item in array.flat])
        return fill_attribute(lib.TALVORA_INTEGERS, array.shape, integers=integers)
    if array.dtype.kind == "f":
        numbers = ffi.new("double[]", array.astype(np.float64).ravel().tolist())
        return fill_attribute(lib.TALVORA_NUMBERS, array.shape, numbers=numbers)
    raise TypeError(f"{what} is {value!r}; whole numbers, numbers or texts are wanted")


def holds_only(array: NDArray[Any], kind: type) -> bool:
    """Whether an array of objects does."""
    return array.dtype.kind == "O" and all(isinstance(item, kind) for item in array.flat)


def refuse_rounded(items: NDArray[Any], what: str) -> None:
    """Whole numbers in a list that NumPy takes for one of float64."""
    for item in items.flat:
        if isinstance(item, (int, np.integer)) and int(float(item)) != item:
            raise ValueError(f"{what} holds {item}, which no number of 64 bits beside the others is")


def take_integer(item: Any, what: str) -> int:
    if not -2**63 <= int(item) < 2**63:
        raise ValueError(f"{what} is {int(item)}; a whole number of 64 bits is wanted")
    return int(item)


def fill_attribute(kind: int, shape: tuple[int, ...], **values: Any) -> tuple[Any, Any]:
    extents = ffi.new("int64_t[]", shape)
    attribute = ffi.new("talvora_attribute *", {
        "struct_size": _ATTRIBUTE_SIZE, "type": kind, "rank": len(shape), "extents": extents,
        **values})
    return attribute, (extents, values)


def read_attribute(attribute: Any) -> Any:
    shape = unpack(attribute.extents, attribute.rank)
    count = int(np.prod(shape, dtype=object))
    if attribute.type == lib.TALVORA_INTEGERS:
        values = np.array(unpack(attribute.integers, count), np.int64)
    elif attribute.type == lib.TALVORA_TEXTS:
        texts = [decode(text) for text in unpack(attribute.texts, count)]
        values = np.array(texts, object if texts else str)
    else:
        values = np.array(unpack(attribute.numbers, count), np.float64)
    if shape:
        return values.reshape(shape).tolist() if values.dtype == object else values.reshape(shape)
    if attribute.type == lib.TALVORA_FLOAT_NUMBERS:
        return np.float32(values[0])
    return values[0] if values.dtype == object else values[0].item()


def unpack(pointer: Any, count: int) -> tuple[Any, ...]:
    """Values of the library, which may be at no address where there are none."""
    return tuple(ffi.unpack(pointer, count)) if count > 0 else ()
