# SPDX-License-Identifier: Apache-2.0
"""Tables of logs, which whatever speaks Arrow's PyCapsule interface can scan."""

from __future__ import annotations

import os
from collections.abc import Iterable
from dataclasses import dataclass
from typing import TYPE_CHECKING

from ryx_profile import _native
from ryx_profile._html_table import Cell, html_table
from ryx_profile._sources import Sources

if TYPE_CHECKING:
    from typing_extensions import CapsuleType


_SHOWN_ROWS = 10


@dataclass(frozen=True)
class Selection:
    """The part of a table that is wanted; what is None or empty sets no condition."""

    columns: tuple[str, ...] | None = None
    graphs: tuple[str, ...] = ()
    methods: tuple[str, ...] = ()
    level: int | None = None

    def narrowed(
        self,
        columns: str | Iterable[str] | None,
        graph: str | Iterable[str] | None,
        method: str | int | Iterable[str | int] | None,
        level: int | None,
    ) -> Selection:
        """Return this with what is given in place of what was."""
        return Selection(
            self.columns if columns is None else texts_of(columns),
            self.graphs if graph is None else texts_of(graph),
            self.methods if method is None else texts_of(method),
            self.level if level is None else level,
        )


def texts_of(values: str | int | Iterable[str | int]) -> tuple[str, ...]:
    """Return one value, or any number of them, as texts."""
    items = (values,) if isinstance(values, str | int) else tuple(values)
    for item in items:
        if not isinstance(item, str | int):
            raise TypeError(f"{item!r} is neither a name nor a number")
    return tuple(str(item) for item in items)


class Table:
    """A table of one log or several, to be scanned again and again.

    Nothing is kept of it: each scan reads the logs anew, a chunk at a time, from files that it
    opens when it comes to them. Scans share nothing, and may run on several threads at once.

    Data frames and query engines take it as it is: ``pyarrow.table(t)``, ``polars.DataFrame(t)``,
    ``pandas.DataFrame.from_arrow(t)``, ``duckdb.sql("SELECT ... FROM t")``. docs/tables.md of the
    sources defines every column; times and durations are in microseconds, sizes in bytes, and what
    a log does not have is null.
    """

    def __init__(self, name: str, sources: Sources, selection: Selection) -> None:
        """Make a table; a log does that."""
        self._name = name
        self._sources = sources
        self._selection = selection
        # Whatever is wrong with the selection is said here, and not by the first scan.
        self.__arrow_c_schema__()

    @property
    def name(self) -> str:
        """Which table it is: "events", "messages", "executions" or "logs"."""
        return self._name

    @property
    def columns(self) -> tuple[str, ...]:
        """The names of its columns, in order."""
        return self._first_rows(0)[0]

    def _first_rows(self, count: int) -> tuple[tuple[str, ...], list[tuple[Cell, ...]]]:
        chosen = self._selection
        return _native.first_rows(
            self._sources.paths if count else (),
            self._name,
            chosen.columns,
            chosen.graphs,
            chosen.methods,
            chosen.level,
            count,
        )

    def _repr_html_(self) -> str:
        """Show the first rows in a notebook; of damaged logs what comes before the damage."""
        names, rows = self._first_rows(_SHOWN_ROWS + 1)
        return html_table(names, rows[:_SHOWN_ROWS], has_more=len(rows) > _SHOWN_ROWS)

    def __repr__(self) -> str:
        """Name the table, its columns and its logs."""
        paths = [os.fsdecode(path) for path in self._sources.paths]
        return f"<ryx_profile.Table {self._name} {list(self.columns)} of {paths}>"

    def select(
        self,
        *,
        columns: str | Iterable[str] | None = None,
        graph: str | Iterable[str] | None = None,
        method: str | int | Iterable[str | int] | None = None,
        level: int | None = None,
    ) -> Table:
        """Return this table with less in it; what is left out is not decoded, and costs nothing.

        columns: only this, or these in this order.
        graph: only messages of this graph, or any of these, with their executions and events.
        method: likewise; names ("Execute", in any case) or numbers.
        level: only messages that a reader of this level shows, those below it, -128 to 127.

        What is not given stays as it was. Raises ValueError for what the table cannot have.
        """
        selection = self._selection.narrowed(columns, graph, method, level)
        return Table(self._name, self._sources, selection)

    def __arrow_c_schema__(self) -> CapsuleType:
        """Return the schema, for a consumer of Arrow's PyCapsule interface."""
        chosen = self._selection
        return _native.schema(
            self._name, chosen.columns, chosen.graphs, chosen.methods, chosen.level
        )

    def __arrow_c_stream__(self, requested_schema: object = None) -> CapsuleType:
        """Return a new stream of the table's rows, for a consumer of the same interface.

        The stream reads by itself: it needs neither this object nor Python's lock. Its errors,
        which name the file, the chunk and the byte, are raised by the consumer.

        requested_schema: the consumer's wish. Types are left for it to cast; other columns than the
        table's are a ValueError. OSError where a log cannot be opened.
        """
        chosen = self._selection
        return _native.stream(
            self._sources.paths,
            self._name,
            chosen.columns,
            chosen.graphs,
            chosen.methods,
            chosen.level,
            self._sources.skips_damaged,
            requested_schema,
        )
