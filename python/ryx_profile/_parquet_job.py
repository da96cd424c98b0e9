# SPDX-License-Identifier: Apache-2.0
"""What is to be exported of a log, and what became of it."""

from __future__ import annotations

import hashlib
import os
import re
from dataclasses import dataclass
from pathlib import Path

from ryx_profile._sources import Sources
from ryx_profile._table import Selection, Table


@dataclass(frozen=True)
class Job:
    """What is to be exported of a log, and into which folder."""

    log: str
    folder: str
    table: str
    columns: tuple[str, ...] | None
    graphs: tuple[str, ...]
    methods: tuple[str, ...]
    level: int | None

    def target(self) -> Path:
        """Return the file to make.

        Its name is the log's, with a hash of the absolute path to tell it from others.
        """
        path = os.path.abspath(self.log)  # noqa: PTH100 - with pathlib, links would be followed
        digest = hashlib.sha256(os.fsencode(path)).hexdigest()[:12]
        stem = re.sub(r"[^\w.-]+", "_", Path(path).stem, flags=re.ASCII).lstrip("._")[:80]
        return Path(self.folder, f"table={self.table}", f"{stem}-{digest}.parquet")

    def source(self) -> Table:
        """Return the rows to export. ValueError for a selection that the table cannot serve."""
        selection = Selection(self.columns, self.graphs, self.methods, self.level)
        return Table(self.table, Sources((os.fsencode(self.log),)), selection)


@dataclass(frozen=True)
class Exported:
    """What became of one log."""

    log: str
    file: str | None
    """None for a log that could not be opened."""
    rows: int
    damage: str | None
    """What ended the log before its time, naming the log; the rows before it are in the file."""
    is_new: bool
    """False for a file that was there already, made of the same log as it is now."""
