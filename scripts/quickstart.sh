#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# From a bare Debian 12 to where the time of a recorded run went: installs what is missing, builds
# the tools and shows the log in samples/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

run=samples/text-detection.log
bin=build/release/bin

# Passes the build's output on into the file `log`; on a terminal, with one line that counts.
follow_build() {
  local line
  while IFS= read -r line; do
    printf '%s\n' "$line"
    if [[ -t 2 && $line =~ ^\[([0-9]+/[0-9]+)\] ]]; then
      printf '\r\033[Kbuilding: step %s' "${BASH_REMATCH[1]}" >&2
    fi
  done
  if [ -t 2 ]; then printf '\r\033[K' >&2; fi
}
build() {
  cmake --preset release -DRYX_BUILD_TESTS=OFF && NINJA_STATUS='[%f/%t] ' cmake --build --preset release
}

scripts/install-packages.sh "${build_packages[@]}"
# What is built quietly is shown when it fails.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "building into build/release ..." >&2
build 2>&1 | follow_build >"$log" || {
  cat "$log" >&2
  exit 1
}

echo "where the time of $run went:" >&2
"$bin/ryx-profile-log" stats --top 12 "$run" | sed '/^phases/,$d'
cat <<END
To try next:
    $bin/ryx-profile-log stats --by type $run    # by kind of layer
    $bin/ryx-profile-viewer $run | less          # every event, as a tree
END
