# SPDX-License-Identifier: Apache-2.0
"""The logs that something is read from."""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Literal, TypeAlias

Path: TypeAlias = str | bytes | os.PathLike[str] | os.PathLike[bytes]

OnError: TypeAlias = Literal["fail", "skip"]
"""What a damaged log does: "fail" is an error; "skip" reads what comes before the damage."""


@dataclass(frozen=True)
class Sources:
    """Paths of logs, as the file system has them, and whether their damage is passed over."""

    paths: tuple[bytes, ...]
    skips_damaged: bool = False

    def with_on_error(self, on_error: OnError | None) -> Sources:
        """Return the same logs, read as `on_error` says; None leaves that as it is."""
        if on_error is None:
            return self
        if on_error not in ("fail", "skip"):
            raise ValueError(f"on_error is {on_error!r}; it can be 'fail' or 'skip'")
        return Sources(self.paths, on_error == "skip")
