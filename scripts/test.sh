#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test: the release build, and again under the
# address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${test_packages[@]}"
for preset in release asan; do
  cmake --preset "$preset" -DRYX_BUILD_TESTS=ON
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
