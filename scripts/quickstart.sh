#!/usr/bin/env bash
# From a bare Debian 12 to the statistics of a recorded log: installs what is missing, builds the
# tools and shows the text report of the log in samples/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}"
# What is built quietly is shown when it fails.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "building into build/release ..." >&2
{ cmake --preset release -DRYX_BUILD_TESTS=OFF && cmake --build --preset release; } >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
build/release/bin/ryx-profile-viewer samples/text-detection.log
