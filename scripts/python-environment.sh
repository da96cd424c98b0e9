# SPDX-License-Identifier: Apache-2.0
# The Python environment that tests and releases use, with the versions that are pinned; sourced by
# the other scripts.
# shellcheck shell=bash

export PIP_DISABLE_PIP_VERSION_CHECK=1
venv=build/python-tests
python=$venv/bin/python

# Made anew when the lock has changed.
make_python_environment() {
  local lock=python/requirements-test.txt
  cmp -s "$lock" "$venv/lock.txt" && return
  python3 -m venv --clear "$venv" && "$python" -m pip install --quiet --require-hashes -r "$lock" &&
    cp "$lock" "$venv/lock.txt"
}

make_wheel() { # folder
  rm -rf "$1"
  "$python" -m pip wheel --quiet --no-deps --no-build-isolation --wheel-dir "$1" .
}
