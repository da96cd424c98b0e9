# SPDX-License-Identifier: Apache-2.0
"""Statistics and comparisons: what the commands `stats` and `diff` of the toolbox print as JSON.

The numbers are made by the same libraries, and docs/statistics.md of the sources defines each.
Times are in microseconds, memory in bytes; what a row does not have is None.
"""

from __future__ import annotations

import json
import re
from collections.abc import Callable, Iterable, Mapping
from typing import Any, Literal, TypeAlias

from ryx_profile import _native
from ryx_profile._errors import report
from ryx_profile._log import Logs, as_sources
from ryx_profile._sources import OnError
from ryx_profile._table import texts_of

Grouping: TypeAlias = str | re.Pattern[str] | Callable[[tuple[str, ...]], str | None]
"""How events are taken together: "path" (each path by itself), "identifier", "type" (what follows
the identifier's last colon), a regular expression, whose first group in the identifier is the name,
or a function from the identifiers, root first, to the name of a group or None."""

Choice: TypeAlias = str | re.Pattern[str] | Callable[[str], bool]
"""Which names are meant: a regular expression that matches somewhere in them, or a function."""

WarmUp: TypeAlias = int | Literal["none", "auto"]
"""What is left out at the front of each log's executions: so many, nothing, or what comes before
the steady state."""


def stats(
    logs: Logs,
    *,
    graph: str | Iterable[str] | None = None,
    method: str | int | Iterable[str | int] | None = None,
    level: int | None = None,
    from_: str | int | None = None,
    to: str | int | None = None,
    messages: tuple[int, int] | None = None,
    first: int | None = None,
    last: int | None = None,
    event: Choice | None = None,
    by: Grouping = "path",
    depth: int | None = None,
    sort: Literal["self", "total", "p99", "cv", "order"] = "order",
    top: int | None = None,
    warmup: WarmUp = "none",
    merge: bool = False,
    on_error: OnError | None = None,
) -> dict[str, Any]:
    """Work out where the time and memory of runs went: `ryx-profile-log stats -f json`.

    logs: a path, an open log, or any number of either.
    graph, method, level: only messages of these, as `Table.select` takes them.
    from_, to: only messages of these times, both included: microseconds as logged, "+1.5s" after
        the first message, or a date like "2024-03-04T10:15:02Z".
    messages: only those from the first to the second position in the log, both included, from 0.
    first, last: of these the first or the last so many.
    event: only events whose identifier is meant.
    by: how events are taken together.
    depth: only events of a depth up to this; roots are 0.
    sort, top: the order of each graph's events, and how many of them.
    warmup: what is left out at the front of each log's executions.
    merge: take the executions of all logs together.
    on_error: "fail": a log that is damaged or cannot be read is a LogError. "skip": the numbers are
        of what comes before the damage, which is a LogWarning. By default as the logs were opened.

    Returns the document that docs/statistics.md describes. ValueError for options that make no
    sense.
    """
    sources = as_sources(logs).with_on_error(on_error)
    _native.check_logs(sources.paths)
    text, failures = _native.stats(
        sources.paths,
        {
            "graph": None if graph is None else texts_of(graph),
            "method": None if method is None else texts_of(method),
            "level": level,
            "from": _text(from_),
            "to": _text(to),
            "first_message": messages[0] if messages else None,
            "last_message": messages[1] if messages else None,
            "first": first,
            "last": last,
            "event": _predicate(event),
            "depth": depth,
            "sort": sort,
            "top": top,
            "warmup": _text(warmup),
            "merge": merge,
            **_grouping(by),
        },
        sources.skips_damaged,
    )
    report(failures, are_skipped=text is not None)
    return _document(text)


def diff(
    base: Logs,
    new: Logs,
    *,
    metric: Literal["p50", "mean", "p90", "p99"] = "p50",
    threshold: float | None = None,
    min_us: float = 5,
    noise: float = 1,
    gate: Literal["graphs", "events", "all"] = "graphs",
    strict: bool = False,
    by: Grouping = "path",
    warmup: WarmUp = "auto",
    ignore: Choice | None = None,
    thresholds: Mapping[str, float] | None = None,
    on_error: OnError | None = None,
) -> dict[str, Any]:
    """Compare runs: `ryx-profile-log diff -f json`.

    Three logs a side tell slower builds from slower runs, one cannot.

    base, new: a path, an open log, or any number of either; a path may also lead to the JSON of
        `stats`.
    metric: what is compared of each row.
    threshold: percent; smaller changes are the same. By default 5, for events of fewer than three
        logs 10.
    min_us: so are those of fewer microseconds.
    noise: percent that the 95 % confidence interval has to exceed.
    gate: what decides beside phases and memory.
    strict: what gates and is inconclusive makes the logs not comparable.
    by, warmup: as `stats` takes them.
    ignore: graphs, phases and events that are left out, by name.
    thresholds: percent by the name of the graph, phase or event that it is for.
    on_error: as `stats` takes it.

    Returns the document that docs/statistics.md describes; "verdict" is its point.
    """
    base_sources = as_sources(base).with_on_error(on_error)
    new_sources = as_sources(new).with_on_error(on_error)
    _native.check_logs(base_sources.paths + new_sources.paths)
    text, failures = _native.diff(
        base_sources.paths,
        new_sources.paths,
        {
            "metric": metric,
            "threshold": threshold,
            "min_us": min_us,
            "noise": noise,
            "gate": gate,
            "strict": strict,
            "warmup": _text(warmup),
            "ignore": _predicate(ignore),
            "thresholds": dict(thresholds) if thresholds else None,
            **_grouping(by),
        },
        base_sources.skips_damaged or new_sources.skips_damaged,
    )
    report(failures, are_skipped=text is not None)
    return _document(text)


def _document(text: str | None) -> dict[str, Any]:
    document: dict[str, Any] = json.loads(text or "")
    return document


def _text(value: str | int | None) -> str | None:
    return None if value is None else str(value)


def _predicate(choice: Choice | None) -> Callable[[str], object] | None:
    if choice is None:
        return None
    return choice if callable(choice) else _expression(choice).search


def _expression(text: str | re.Pattern[str]) -> re.Pattern[str]:
    try:
        return re.compile(text)
    except re.error as error:
        raise ValueError(f"{text!r} is no regular expression: {error}") from None


def _grouping(by: Grouping) -> dict[str, object]:
    """Return what the extension takes of it: a name for people, and a function."""
    if by in ("path", "identifier", "type"):
        return {"by": by}
    if callable(by):
        return {"by": getattr(by, "__qualname__", repr(by)), "group_of": by}
    expression = _expression(by)

    def group_of(path: tuple[str, ...]) -> str | None:
        match = expression.search(path[-1])
        return match and match.group(min(1, expression.groups))

    return {"by": expression.pattern, "group_of": group_of}
