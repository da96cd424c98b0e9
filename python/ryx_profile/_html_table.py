# SPDX-License-Identifier: Apache-2.0
"""Rows as a small HTML table, for notebooks."""

from __future__ import annotations

from collections.abc import Sequence
from html import escape
from typing import TypeAlias

Cell: TypeAlias = int | float | str | None

_LONGEST_TEXT = 60


def html_table(names: Sequence[str], rows: Sequence[Sequence[Cell]], *, has_more: bool) -> str:
    """Return the table, with a row of dots where there are more. Null cells are empty."""
    lines = [_row(names, "th"), *(_row([_text(cell) for cell in row], "td") for row in rows)]
    if has_more:
        lines.append(_row(["\u2026"] * len(names), "td"))
    return "<table>\n" + "\n".join(lines) + "\n</table>"


def _row(texts: Sequence[str], tag: str) -> str:
    return "<tr>" + "".join(f"<{tag}>{escape(text)}</{tag}>" for text in texts) + "</tr>"


def _text(cell: Cell) -> str:
    text = "" if cell is None else str(cell)
    return text if len(text) <= _LONGEST_TEXT else text[: _LONGEST_TEXT - 1] + "\u2026"
