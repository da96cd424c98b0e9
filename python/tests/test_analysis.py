# SPDX-License-Identifier: Apache-2.0
"""Statistics and comparisons say what the toolbox says, and take what it takes."""

from __future__ import annotations

import json
import re
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from conftest import DAMAGE, ROOT, SAMPLE, MakeLog, event, execution, toolbox

import ryx_profile as rp

BASE = [ROOT / f"samples/backbone-{i}.log" for i in (1, 2, 4)]
NEW = [ROOT / f"samples/backbone-one-core-{i}.log" for i in (1, 2, 3)]

STATS: list[tuple[dict[str, Any], str]] = [
    ({}, ""),
    ({"by": "type", "warmup": "auto", "top": 3}, "--by type --warmup auto --top 3"),
    ({"by": r"!(p2o)\.", "warmup": 2}, r"--by !(p2o)\. --warmup 2"),
    ({"by": re.compile("Conv")}, "--by Conv"),
    ({"event": "Conv", "depth": 1, "sort": "p99"}, "--event Conv --depth 1 --sort p99"),
    ({"graph": "det", "level": 127, "first": 5}, "--graph det --level 127 --first 5"),
    ({"method": ["init", 2], "messages": (0, 9)}, "--method init --method 2 --messages 0:9"),
    ({"from_": "+0.1s", "to": "+0.2s"}, "--from +0.1s --to +0.2s"),
]


@pytest.mark.parametrize(("options", "arguments"), STATS)
def test_stats_are_those_of_the_toolbox(options: dict[str, Any], arguments: str) -> None:
    expected = json.loads(toolbox("stats", "-f", "json", *arguments.split(), SAMPLE))
    assert rp.stats(SAMPLE, **options) == expected
    assert rp.stats(rp.open(SAMPLE), **options) == expected


def test_stats_of_several_logs_taken_together() -> None:
    expected = json.loads(toolbox("stats", "-f", "json", "--merge", *BASE))
    assert rp.stats([rp.open(BASE[:2]), BASE[2]], merge=True) == expected


def test_events_are_grouped_by_a_function(make_log: MakeLog) -> None:
    value = {"value_kind": "UINT64", "uint_value": 5}
    child = event("child", **value)
    log = make_log("run.log", [execution("net", event("root", **value, nested_events=[child]))])
    seen: list[tuple[str, ...]] = []

    def group_of(path: tuple[str, ...]) -> str | None:
        seen.append(path)
        return "leaves" if len(path) > 1 else None

    (graph,) = rp.stats(log, by=group_of)["graphs"]
    assert [row["path"] for row in graph["events"]] == [["(other)"], ["leaves"]]
    assert set(seen) == {("root",), ("root", "child")}


DIFFS: list[tuple[dict[str, Any], str]] = [
    ({}, ""),
    ({"metric": "mean", "gate": "events", "by": "type"}, "--metric mean --gate events --by type"),
    ({"threshold": 60, "min_us": 10, "noise": 2}, "--threshold 60 --min-us 10 --noise 2"),
    ({"ignore": "Conv", "warmup": 1, "strict": True}, "--ignore Conv --warmup 1 --strict"),
]


@pytest.mark.parametrize(("options", "arguments"), DIFFS)
def test_a_comparison_is_that_of_the_toolbox(options: dict[str, Any], arguments: str) -> None:
    comparison = rp.diff(BASE, NEW, **options)
    status = {"worse": 1, "not comparable": 3}.get(comparison["verdict"], 0)
    sides: list[str | Path] = ["--base", *BASE, "--new", *NEW]
    text = toolbox("diff", "-f", "json", *arguments.split(), *sides, status=status)
    assert comparison == json.loads(text)


def test_thresholds_by_name() -> None:
    assert rp.diff(BASE, NEW)["verdict"] == "worse"
    rows = rp.diff(BASE, NEW, thresholds={"backbone": 1000})["rows"]
    assert {row["verdict"] for row in rows if row["graph"] == "backbone" and not row["path"]} == {
        "same"
    }


def test_a_side_may_be_statistics_that_were_written(tmp_path: Path) -> None:
    document = tmp_path / "base.json"
    document.write_text(json.dumps(rp.stats(BASE[0])))
    assert rp.diff(document, NEW[0])["verdict"] == rp.diff(BASE[0], NEW[0])["verdict"]


def depth_of(path: tuple[str, ...]) -> int:
    return len(path)


def raise_key_error(_name: object) -> bool:
    raise KeyError("of the caller")


@pytest.mark.parametrize(
    ("options", "error", "message"),
    [
        ({"sort": "x"}, ValueError, "sort: 'x' is not one of self, total, p99, cv, order"),
        ({"warmup": "x"}, ValueError, "warmup: 'x' is not auto, none or a number"),
        ({"method": "x"}, ValueError, "method: 'x' is unknown; known are Execute, "),
        ({"level": 128}, ValueError, "the level is not a number between -128 and 127"),
        ({"from_": "x"}, ValueError, "from: 'x' is no time"),
        ({"first": 1, "last": 1}, ValueError, "--first and --last contradict each other"),
        ({"first": -1}, OverflowError, "negative"),
        ({"graph": "a\0b"}, ValueError, "a null character"),
        ({"graph": [b"det"]}, TypeError, "neither a name nor a number"),
        ({"event": "("}, ValueError, "'(' is no regular expression: missing )"),
        ({"event": raise_key_error}, KeyError, "of the caller"),
        ({"by": raise_key_error}, KeyError, "of the caller"),
        ({"by": depth_of}, TypeError, "bad argument type"),
        ({"on_error": "x"}, ValueError, "on_error is 'x'"),
    ],
)
def test_options_that_make_no_sense(
    options: dict[str, Any], error: type[Exception], message: str
) -> None:
    with pytest.raises(error, match=re.escape(message)):
        rp.stats(SAMPLE, **options)


def test_damage_is_an_error_with_its_place(damaged: Path) -> None:
    works: list[Callable[[], object]] = [
        lambda: rp.stats([SAMPLE, damaged]),
        lambda: rp.diff(SAMPLE, damaged),
    ]
    for work in works:
        with pytest.raises(rp.LogError, match=DAMAGE) as caught:
            work()
        assert caught.value.path == str(damaged)
        assert (caught.value.chunk, caught.value.offset) == (4, 295092)


def test_damage_is_skipped_with_a_warning(damaged: Path) -> None:
    with pytest.warns(rp.LogWarning, match=DAMAGE):
        numbers = rp.stats(rp.open(damaged, on_error="skip"))
    assert numbers == json.loads(toolbox("stats", "-f", "json", damaged, status=1))
    with pytest.warns(rp.LogWarning, match=DAMAGE):
        comparison = rp.diff(SAMPLE, damaged, on_error="skip")
    assert comparison == json.loads(toolbox("diff", "-f", "json", SAMPLE, damaged, status=2))


def test_a_log_that_is_not_there(tmp_path: Path) -> None:
    missing = tmp_path / "missing.log"
    works: list[Callable[[Path], object]] = [
        rp.open,
        rp.stats,
        lambda path: rp.diff(SAMPLE, path),
    ]
    for work in works:
        with pytest.raises(FileNotFoundError) as caught:
            work(missing)
        assert caught.value.filename == str(missing)
    with pytest.raises(IsADirectoryError):
        rp.open(tmp_path)
    with pytest.raises(ValueError, match="no logs are given"):
        rp.open([])
