#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs a build and uses it the way a stranger would, by CMake and by pkg-config.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR
# CMAKE, CXX and CXXFLAGS are taken from the environment.
set -eu

build=$1
source=$2
cmake=${CMAKE:-cmake}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Installed here, used there: nothing may remember where it was put.
"$cmake" --install "$build" --prefix "$work/staged" > "$work/install.txt"
mv "$work/staged" "$work/prefix"
prefix=$work/prefix

fail() {
  echo "install_test: $*" >&2
  exit 1
}

for file in bin/ryx-profile-viewer bin/ryx-profile-log include/ryx/profile_event.h \
            include/ryx/profile_log_reader.h include/ryx/profile_log_writer.h \
            include/ryx/profile_tables.h include/ryx/profile_arrow.h include/ryx/message_filter.h \
            share/man/man1/ryx-profile-log-stats.1.gz \
            share/bash-completion/completions/ryx-profile-log; do
  test -e "$prefix/$file" || fail "$file is not installed"
done
"$prefix/bin/ryx-profile-log" --version > /dev/null || fail "the installed tool does not run"
if grep -rlF -e "$source" -e "$build" "$prefix" --include='*.cmake' --include='*.pc' \
     --include='*.h'; then
  fail "the files above name the build's own folders"
fi

"$cmake" -S "$source/tests/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_FLAGS="${CXXFLAGS:-}" -DCMAKE_C_FLAGS="${CXXFLAGS:-}" ${CXX:+-DCMAKE_CXX_COMPILER="$CXX"} > "$work/configure.txt"
"$cmake" --build "$work/consumer" > "$work/build.txt" || { cat "$work/build.txt"; exit 1; }
"$work/consumer/consumer" "$work/cmake.log"
"$work/consumer/c-consumer" "$work/cmake.log" || fail "the C consumer does not read the log"
if nm -D --defined-only "$prefix"/lib*/libryx_profile.so.1 "$prefix"/lib*/*/libryx_profile.so.1 \
     2> /dev/null | awk 'NF == 3 && $2 != "A"' | grep -v 'ryx_profile_.*@@RYX_PROFILE_1$'; then
  fail "the C library shows the symbols above"
fi

pkgConfigFile=$(find "$prefix" -name ryx-profile.pc)
test -n "$pkgConfigFile" || fail "ryx-profile.pc is not installed"
export PKG_CONFIG_PATH="${pkgConfigFile%/*}"
# shellcheck disable=SC2046,SC2086 # compiler flags are words
"${CXX:-c++}" -std=c++17 ${CXXFLAGS:-} \
  -DPLUGIN_DIR="\"$(pkg-config --variable=plugindir ryx-profile)\"" \
  $(pkg-config --cflags ryx-profile) "$source/tests/consumer/main.cpp" \
  $(pkg-config --libs ryx-profile) -ldl -o "$work/by-pkg-config"
"$work/by-pkg-config" "$work/pkg-config.log"
cmp "$work/cmake.log" "$work/pkg-config.log"
