# SPDX-License-Identifier: Apache-2.0
"""The notebook in samples/ runs, and holds what it shows."""

from __future__ import annotations

import ast
import json
from typing import Any

import pytest
from conftest import ROOT


def last_value(source: str, names: dict[str, Any]) -> object:
    """Run a cell; return what its last line is worth, which a notebook shows."""
    *statements, last = ast.parse(source).body
    exec(compile(ast.Module(statements, []), "cell", "exec"), names)
    assert isinstance(last, ast.Expr)
    return eval(compile(ast.Expression(last.value), "cell", "eval"), names)


def test_the_notebook_shows_what_its_cells_return(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(ROOT / "samples")
    notebook = json.loads((ROOT / "samples/notebook.ipynb").read_text())
    cells = [cell for cell in notebook["cells"] if cell["cell_type"] == "code"]
    names: dict[str, Any] = {}
    for cell in cells:
        value = last_value("".join(cell["source"]), names)
        (output,) = cell["outputs"]
        assert "".join(output["data"]["text/plain"]) == repr(value)
    assert len(cells) > 4
