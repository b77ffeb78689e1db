"""What units there are, and what they take."""

from __future__ import annotations

import dataclasses
import os
from typing import Any, Tuple

from ._library import call, decode, decode_or_none, encode, encode_path, ffi, lib


@dataclasses.dataclass(frozen=True)
class Parameter:
    """A parameter of a unit.

    Attributes
    ----------
    key : str
    type : str
        Such as "number" or "list(string)", as units declare it.
    default : str or None
        As a signature writes it.
    required : bool
    meaning : str or None
        None for units of libraries that did not come with this package.
    measure : str or None
        What a number counts, such as "Hz".
    allowed : str or None
        Such as "above 0"; None where the type says enough.
    """

    key: str
    type: str
    default: str | None
    required: bool
    meaning: str | None = None
    measure: str | None = None
    allowed: str | None = None


@dataclasses.dataclass(frozen=True, repr=False)
class Unit:
    """A unit of a plug-in library; shown as text, it tells what it takes.

    Attributes
    ----------
    name : str
        What `run` and `describe` take.
    identifier : str
        The whole name.
    category, version, description, date : str or None
        None where the unit has none; a date have older identifiers alone.
    parameters : tuple of Parameter
    choices : str or None
        What it asks for besides, such as "SourceSets or SourceGroup has to be given".
    """

    name: str
    identifier: str
    category: str | None
    version: str | None
    description: str | None
    date: str | None
    parameters: tuple[Parameter, ...]
    choices: str | None = None

    def __repr__(self) -> str:
        title = " ".join(filter(None, (self.identifier, self.version or self.date)))
        lines = [f"{title}: {self.description}" if self.description else title]
        rows = align_columns([(parameter.key, parameter.type, describe_default(parameter))
                              for parameter in self.parameters])
        for row, parameter in zip(rows, self.parameters):
            lines += [row, *describe_meaning(parameter)]
        return "\n".join(lines + [f"  ({self.choices})"] * bool(self.choices))


class Units(Tuple[Unit, ...]):
    """Units in the order of the library; shown as text, a line for each."""

    def __repr__(self) -> str:
        return "\n".join(align_columns([
            (unit.identifier, unit.version or unit.date or "", unit.description or "")
            for unit in self]))


def units(plugin: str | os.PathLike[str] | None = None) -> Units:
    """List the units of a plug-in library.

    Parameters
    ----------
    plugin : path, optional
        A library; by default the one that came with this package. Loading one runs its code.

    Returns
    -------
    Units
        A tuple of `Unit`.

    Raises
    ------
    PluginError
        The library cannot be loaded, or is none.

    Examples
    --------
    >>> import talvora
    >>> [unit.name for unit in talvora.units() if "average" in unit.name]
    ['average-set', 'average-set-2']
    """
    opened = open_plugin(plugin)
    return Units(read_unit(opened, i) for i in range(lib.talvora_plugin_unit_count(opened)))


def describe(unit: str, plugin: str | os.PathLike[str] | None = None) -> Unit:
    """Tell what a unit does and which parameters it takes.

    Parameters
    ----------
    unit : str
        Its identifier, or what follows the last dot of it.
    plugin : path, optional
        As in `units`.

    Returns
    -------
    Unit

    Raises
    ------
    NotFoundError
        There is no such unit.
    PluginError
        As in `units`.

    Examples
    --------
    >>> import talvora
    >>> [parameter.key for parameter in talvora.describe("average-set").parameters][:2]
    ['SourceGroup', 'DestinationGroup']
    """
    opened = open_plugin(plugin)
    return read_unit(opened, find_unit(opened, unit))


def open_plugin(path: str | os.PathLike[str] | None) -> Any:
    name = ffi.NULL if path is None else encode_path(path, "plugin")
    if name == b"":
        raise ValueError("plugin is ''; the path of a library is wanted")
    opened = ffi.new("talvora_plugin **")
    call(lib.talvora_plugin_open, name, opened)
    return ffi.gc(opened[0], lib.talvora_plugin_close)


def find_unit(plugin: Any, name: str) -> int:
    index = ffi.new("size_t *")
    call(lib.talvora_plugin_find_unit, plugin, encode(name, "the name of a unit"), index)
    return index[0]


def read_unit(plugin: Any, index: int) -> Unit:
    unit = ffi.new("talvora_unit *", {"struct_size": ffi.sizeof("talvora_unit")})
    call(lib.talvora_plugin_unit, plugin, index, unit)
    parameters = tuple(read_parameter(plugin, index, i) for i in range(unit.parameter_count))
    return Unit(decode(unit.name), decode(unit.identifier), decode_or_none(unit.category),
                decode_or_none(unit.version), decode_or_none(unit.description),
                decode_or_none(unit.date), parameters, decode_or_none(unit.choices))


def read_parameter(plugin: Any, unit_index: int, index: int) -> Parameter:
    parameter = ffi.new("talvora_parameter *", {"struct_size": ffi.sizeof("talvora_parameter")})
    call(lib.talvora_plugin_parameter, plugin, unit_index, index, parameter)
    return Parameter(decode(parameter.key), decode(parameter.type),
                     decode_or_none(parameter.default_value), bool(parameter.is_required),
                     decode_or_none(parameter.meaning), decode_or_none(parameter.measure),
                     decode_or_none(parameter.allowed))


def describe_default(parameter: Parameter) -> str:
    if parameter.required:
        return "required"
    return "optional" if parameter.default is None else f"default {parameter.default}"


def describe_meaning(parameter: Parameter) -> list[str]:
    """A line, or none."""
    if parameter.meaning is None:
        return []
    values = "; ".join(filter(None, (parameter.measure, parameter.allowed)))
    return [f"      {parameter.meaning}" + (f" ({values})" if values else "")]


def align_columns(rows: list[tuple[str, ...]]) -> list[str]:
    widths = [max(map(len, column)) for column in zip(*rows)]
    return ["  " + "  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
            for row in rows]
