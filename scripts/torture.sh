#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Attacks the built tools: scripts/torture.sh [SEED [SECONDS [ATTACK...]]], by default a minute of all.
# What is attacked how, and what must hold, is in torture/. Exit status 1 when something did not.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${torture_packages[@]}"
built=$(cmake --preset release 2>&1 && cmake --build --preset release 2>&1) || {
  echo "$built" >&2
  exit 1
}
exec python3 -B scripts/torture build/release/bin "${1:-1}" "${2:-60}" "${@:3}"
