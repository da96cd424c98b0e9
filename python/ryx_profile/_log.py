# SPDX-License-Identifier: Apache-2.0
"""Logs that have been opened."""

from __future__ import annotations

import os
from collections.abc import Iterable
from dataclasses import dataclass
from typing import TypeAlias

from ryx_profile import _native
from ryx_profile._errors import LogError, report
from ryx_profile._sources import OnError, Path, Sources
from ryx_profile._table import Selection, Table


@dataclass(frozen=True)
class LostRange:
    """Bytes of a damaged log that could not be kept."""

    offset: int
    """In the damaged file."""
    bytes: int
    reason: str


@dataclass(frozen=True)
class Salvaged:
    """What became of a damaged log."""

    kept_chunks: int
    kept_bytes: int
    mended_chunks: int
    """Of those that were kept: the ones whose size was damaged, and nothing else."""
    lost: tuple[LostRange, ...]
    gave_up: bool
    """Searching took too long: chunks may have been missed."""


class Log:
    """One log, or several that are read as one. Made by `open`; it holds no file."""

    def __init__(self, sources: Sources) -> None:
        """Keep the sources; `open` has checked them."""
        self._sources = sources

    @property
    def paths(self) -> tuple[str, ...]:
        """The paths, as they were given."""
        return tuple(os.fsdecode(path) for path in self._sources.paths)

    @property
    def events(self) -> Table:
        """A row for each event at every depth, parents before their children."""
        return Table("events", self._sources, Selection())

    @property
    def messages(self) -> Table:
        """A row for each message, whatever its method."""
        return Table("messages", self._sources, Selection())

    @property
    def executions(self) -> Table:
        """A row for each execution of a graph, with its duration and queue wait in microseconds."""
        return Table("executions", self._sources, Selection())

    @property
    def info(self) -> Table:
        """A row for each log: its size in bytes, what it holds, its header, and its damage.

        Damage is a column here, and never an error.
        """
        return Table("logs", self._sources.with_on_error("skip"), Selection())

    def salvage(self, path: Path) -> Salvaged:
        """Write what is good in this damaged log to a log at `path`, and say what that is.

        A file that is there is replaced; the new one appears only when it is whole. The damaged log
        is never changed. Raises LogError where nothing in it can be kept, and OSError for a file
        that cannot be read or written; nothing is written then.
        """
        source = self._only_source("salvage")
        result = _native.salvage(source, os.fsencode(path))
        if isinstance(result, str):
            raise LogError(result, os.fsdecode(source))
        kept_chunks, kept_bytes, mended_chunks, lost, gave_up = result
        ranges = tuple(LostRange(*each) for each in lost)
        return Salvaged(kept_chunks, kept_bytes, mended_chunks, ranges, gave_up)

    def html(self, path: Path, *, base: Logs | None = None, force: bool = False) -> None:
        """Write a page that shows this run in any browser, offline: one file, `path`.

        base: logs to compare with; the page then shows what changed since.
        force: replace a file that is there, which is a FileExistsError otherwise.

        A damaged log is a LogError and writes nothing, or with ``on_error="skip"`` a LogWarning and
        a page of what comes before the damage. RuntimeError where the package was built without
        Node.js, which makes the page.
        """
        if base is None:
            self._only_source("html without a base")
        if not force and os.path.lexists(path):
            raise FileExistsError(f"{os.fsdecode(path)}: exists; force=True replaces it")
        base_sources = Sources(()) if base is None else as_sources(base)
        _native.check_logs(base_sources.paths + self._sources.paths)
        is_written, failures = _native.page(
            base_sources.paths,
            self._sources.paths,
            os.fsencode(path),
            base_sources.skips_damaged or self._sources.skips_damaged,
        )
        report(failures, are_skipped=is_written)

    def _only_source(self, operation: str) -> bytes:
        if len(self._sources.paths) != 1:
            raise ValueError(f"{operation} takes one log, and these are {len(self.paths)}")
        return self._sources.paths[0]

    def __repr__(self) -> str:
        """Name the logs."""
        return f"ryx_profile.open({list(self.paths)!r})"


Logs: TypeAlias = Path | Log | Iterable[Path | Log]
"""A path, an open log, or any number of either."""


def as_sources(logs: Logs) -> Sources:
    """Return where the logs are, in the order given. Nothing is opened."""
    if isinstance(logs, Log):
        return logs._sources
    if isinstance(logs, str | bytes | os.PathLike):
        return Sources((os.fsencode(logs),))
    each = [as_sources(log) for log in logs]
    if not each:
        raise ValueError("no logs are given")
    return Sources(
        tuple(path for sources in each for path in sources.paths),
        any(sources.skips_damaged for sources in each),
    )


def open(logs: Logs, *, on_error: OnError | None = None) -> Log:
    """Open a log, or several that are read as one, in the order given.

    logs: a path, an open log, or any number of either.
    on_error: what a damaged log does to whoever reads it. "fail", the default: reading ends with an
        error that names the file, the chunk and the byte, after the rows that come before the
        damage. "skip": those rows are read, and the table `info` says what is wrong.

    Raises OSError (FileNotFoundError, PermissionError, ...) for a log that cannot be opened. What
    is in the logs is not read yet.
    """
    sources = as_sources(logs).with_on_error(on_error)
    _native.check_logs(sources.paths)
    return Log(sources)
