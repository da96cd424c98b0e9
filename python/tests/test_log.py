# SPDX-License-Identifier: Apache-2.0
"""Logs that are opened: their paths, what they show of themselves, and the files made of them."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pyarrow as pa
import pytest
from conftest import DAMAGE, SAMPLE, MakeLog, event, execution, rows_of, toolbox

import ryx_profile as rp
from ryx_profile import _native


def test_paths_may_be_of_any_kind(tmp_path: Path) -> None:
    odd = os.fsdecode(os.fsencode(tmp_path) + b"/odd \xff.log")
    Path(odd).symlink_to(SAMPLE)
    log = rp.open([str(SAMPLE), os.fsencode(odd), rp.open(SAMPLE)])
    assert log.paths == (str(SAMPLE), odd, str(SAMPLE))
    rows = pa.table(log.info).to_pylist()
    assert rows[1]["log"].endswith("/odd \N{REPLACEMENT CHARACTER}.log")


def test_a_selection_is_refused_at_once() -> None:
    events = rp.open(SAMPLE).events
    for options, message in [
        ({"columns": ["value", "x"]}, "events has no column x"),
        ({"columns": "xyz"}, "events has no column xyz"),
        ({"columns": []}, "no column is selected"),
        ({"method": "x"}, "unknown method 'x'"),
        ({"level": 128}, "the level is not a number"),
    ]:
        with pytest.raises(ValueError, match=message):
            events.select(**options)  # type: ignore[arg-type]


def test_selections_add_up() -> None:
    events = rp.open(SAMPLE).events
    narrowed = events.select(graph="det").select(columns=["graph"]).select(method="Init")
    assert pa.table(narrowed).num_rows == 0
    assert narrowed.columns == ("graph",)
    assert events.columns[:3] == ("log", "event_id", "message_id")


def test_a_requested_schema_names_the_same_columns() -> None:
    table = rp.open(SAMPLE).executions.select(columns=["graph", "method"])
    wish = pa.schema([("graph", pa.large_utf8()), ("method", pa.utf8())])
    assert pa.table(table, schema=wish).schema.types == [pa.large_utf8(), pa.utf8()]
    with pytest.raises(ValueError, match="has the columns graph, and the table has graph, method"):
        table.__arrow_c_stream__(pa.schema([wish.field("graph")]).__arrow_c_schema__())
    with pytest.raises(ValueError, match="PyCapsule"):
        table.__arrow_c_stream__(42)


def test_a_stream_that_nobody_takes_is_released() -> None:
    table = rp.open(SAMPLE).events
    open_files = Path("/proc/self/fd")
    before = len(list(open_files.iterdir()))
    for _ in range(100):
        table.__arrow_c_stream__()
        table.__arrow_c_schema__()
    assert len(list(open_files.iterdir())) == before


def test_a_notebook_shows_the_first_rows(make_log: MakeLog, damaged: Path) -> None:
    hostile = event("<script>", value_kind="STRING", string_value="x" * 100)
    log = rp.open(make_log("run.log", [execution("net", *[hostile] * 11)]))
    html = log.events._repr_html_()
    assert html.count("<tr>") == 12
    assert "&lt;script&gt;" in html
    assert "<script>" not in html
    assert "x" * 59 + "\u2026" in html
    assert rp.open(damaged).executions._repr_html_().count("<tr>") == 12
    assert "Table events ['log', 'event_id', " in repr(log.events)


def test_salvage_keeps_what_is_good(damaged: Path, tmp_path: Path) -> None:
    good = tmp_path / "good.log"
    result = rp.open(damaged).salvage(good)
    assert (result.kept_chunks, result.kept_bytes, result.mended_chunks) == (3, 295092, 0)
    assert result.lost == (rp.LostRange(295092, 4908, DAMAGE.split(": ")[1]),)
    assert not result.gave_up
    toolbox("verify", good)
    assert rows_of("events", good) == [
        {**row, "log": str(good)} for row in rows_of("events", damaged, status=1)
    ]


def test_salvage_leaves_nothing_where_nothing_is_good(tmp_path: Path) -> None:
    text = tmp_path / "text.log"
    text.write_text("no log " * 100)
    target = tmp_path / "good.log"
    with pytest.raises(rp.LogError, match=r"text\.log: ") as caught:
        rp.open(text).salvage(target)
    assert caught.value.path == str(text)
    with pytest.raises(ValueError, match="is the same file"):
        rp.open(text).salvage(text)
    with pytest.raises(FileNotFoundError):
        rp.open(SAMPLE).salvage(tmp_path / "missing" / "good.log")
    with pytest.raises(ValueError, match="takes one log, and these are 2"):
        rp.open([SAMPLE, SAMPLE]).salvage(target)
    assert list(tmp_path.iterdir()) == [text]


def test_a_page_is_that_of_the_toolbox(damaged: Path, tmp_path: Path) -> None:
    page, expected = tmp_path / "page.html", tmp_path / "expected.html"
    toolbox("html", SAMPLE, "-o", expected)
    rp.open(SAMPLE).html(page)
    assert page.read_bytes() == expected.read_bytes()
    with pytest.raises(FileExistsError, match="force=True replaces it"):
        rp.open(SAMPLE).html(page)
    toolbox("html", SAMPLE, SAMPLE, "-o", expected, "--force")
    rp.open(SAMPLE).html(page, base=SAMPLE, force=True)
    assert page.read_bytes() == expected.read_bytes()
    page.unlink()
    with pytest.raises(rp.LogError, match=DAMAGE):
        rp.open(damaged).html(page)
    assert not page.exists()
    with pytest.warns(rp.LogWarning, match=DAMAGE):
        rp.open(damaged, on_error="skip").html(page)
    with pytest.warns(rp.LogWarning, match=DAMAGE):
        rp.open(SAMPLE).html(page, base=rp.open(damaged, on_error="skip"), force=True)
    assert f"<title>{Path(SAMPLE).name} against {damaged.name}" in page.read_text("utf-8")


def test_the_extension_takes_the_c_library_and_zlib_alone() -> None:
    assert _native.__file__.endswith("/_native.abi3.so")
    dynamic = subprocess.check_output(["readelf", "-d", _native.__file__], text=True)
    needed = {line.split("[")[1].rstrip("]") for line in dynamic.splitlines() if "NEEDED" in line}
    assert needed <= {
        "libc.so.6",
        "libgcc_s.so.1",
        "libm.so.6",
        "libstdc++.so.6",
        "libz.so.1",
        "ld-linux-x86-64.so.2",
        "ld-linux-aarch64.so.1",
    }


def test_the_package_needs_nothing_but_itself() -> None:
    program = (
        "import sys, ryx_profile as rp; t = rp.open(sys.argv[1]); t.events._repr_html_();"
        "rp.stats(sys.argv[1]); print(*sys.modules.keys() & {'pyarrow', 'numpy'})"
    )
    out = subprocess.check_output([sys.executable, "-c", program, SAMPLE], text=True)
    assert out == "\n"
