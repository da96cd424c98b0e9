#!/usr/bin/env bash
# Runs every fuzzer for a number of seconds, 60 unless told otherwise; any finding is an error.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${fuzz_packages[@]}"
for target in chunk log model salvage; do
  fuzz/run.sh "$target" "${1:-60}"
done
