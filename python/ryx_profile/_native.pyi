# SPDX-License-Identifier: Apache-2.0
"""The libraries behind the package, which checks its arguments before they come here.

A failure is the path of a log, what is wrong with it, and for damage the chunk and its byte.
"""

from collections.abc import Mapping, Sequence

from typing_extensions import CapsuleType

SCHEMA_VERSION: int

def check_logs(paths: Sequence[bytes], /) -> None: ...
def schema(
    table: str,
    columns: Sequence[str] | None,
    graphs: Sequence[str],
    methods: Sequence[str],
    level: int | None,
    /,
) -> CapsuleType: ...
def stream(
    paths: Sequence[bytes],
    table: str,
    columns: Sequence[str] | None,
    graphs: Sequence[str],
    methods: Sequence[str],
    level: int | None,
    skips_damaged: bool,
    requested_schema: object,
    /,
) -> CapsuleType: ...

# The names of the columns, and rows of them.
def first_rows(
    paths: Sequence[bytes],
    table: str,
    columns: Sequence[str] | None,
    graphs: Sequence[str],
    methods: Sequence[str],
    level: int | None,
    count: int,
    /,
) -> tuple[tuple[str, ...], list[tuple[int | float | str | None, ...]]]: ...

# The JSON document, or None where a failure ended it.
def stats(
    paths: Sequence[bytes], options: Mapping[str, object], skips_damaged: bool, /
) -> tuple[str | None, list[tuple[bytes, str, int | None, int | None]]]: ...
def diff(
    base: Sequence[bytes],
    new: Sequence[bytes],
    options: Mapping[str, object],
    skips_damaged: bool,
    /,
) -> tuple[str | None, list[tuple[bytes, str, int | None, int | None]]]: ...

# Whether the page was written. Without a base, of one run.
def page(
    base: Sequence[bytes], new: Sequence[bytes], target: bytes, skips_damaged: bool, /
) -> tuple[bool, list[tuple[bytes, str, int | None, int | None]]]: ...

# Chunks and bytes kept, chunks mended, what is lost (offset, bytes, reason), and whether searching
# was given up; or why there is nothing to keep.
def salvage(
    path: bytes, target: bytes, /
) -> tuple[int, int, int, list[tuple[int, int, str]], bool] | str: ...
