# SPDX-License-Identifier: Apache-2.0
"""What is wrong with logs, as exceptions and warnings."""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable
from typing import TypeAlias

Failure: TypeAlias = tuple[bytes, str, int | None, int | None]
"""Of the extension: a path, what is wrong, and for damage the chunk and the byte."""


class LogError(Exception):
    """A log that is damaged, or is none.

    path: as it was given.
    chunk: the damaged one, counted from 1; None where no chunk is to blame.
    offset: the byte of the file at which that chunk begins, with its size; None likewise.
    """

    def __init__(
        self, message: str, path: str, chunk: int | None = None, offset: int | None = None
    ) -> None:
        """Say what is wrong; the message names the file."""
        super().__init__(message, path, chunk, offset)
        self.path = path
        self.chunk = chunk
        self.offset = offset

    def __str__(self) -> str:
        """Return the message alone."""
        return str(self.args[0])


class LogWarning(UserWarning):
    """A log that was read up to its damage, or was left out, as ``on_error="skip"`` asks."""


def report(failures: Iterable[Failure], *, are_skipped: bool) -> None:
    """Raise the first failure, or warn of all of them where they are skipped."""
    for path, text, chunk, offset in failures:
        if not are_skipped:
            raise LogError(text, os.fsdecode(path), chunk, offset)
        warnings.warn(text, LogWarning, stacklevel=3)
