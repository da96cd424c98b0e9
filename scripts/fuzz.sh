#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs every fuzzer: scripts/fuzz.sh [SECONDS [OPTION...]], a minute each unless told otherwise, with
# options of libFuzzer. Any finding is an error.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${fuzz_packages[@]}"
for target in chunk log model salvage; do
  fuzz/run.sh "$target" "${1:-60}" "${@:2}"
done
