# SPDX-License-Identifier: Apache-2.0
# The Debian packages that this project needs; sourced by the other scripts.
# shellcheck shell=bash disable=SC2034

build_packages=(
  g++ cmake ninja-build dpkg-dev file
  flatbuffers-compiler libflatbuffers-dev rapidjson-dev libcli11-dev libmimalloc-dev
  libboost-dev libre2-dev libsqlite3-dev libzstd-dev zlib1g-dev
)
test_packages=(libgtest-dev binutils pkg-config zstd python3 sqlite3 jq zsh fish groff lintian)
bench_packages=(libbenchmark-dev)
lint_packages=(git clang-format clang-tidy shellcheck)
fuzz_packages=(clang libclang-rt-14-dev)
torture_packages=(python3)
# For the HTML report's page; any node of version 18 or later that is there already will do.
page_packages=(chromium)
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then page_packages+=(nodejs npm); fi
# For the Python package; any python3 from 3.10 on that has venv and its headers will do.
python_packages=()
has_python='import ensurepip, os, sys, sysconfig
header = os.path.join(sysconfig.get_path("include"), "Python.h")
sys.exit(sys.version_info < (3, 10) or not os.path.exists(header))'
python3 -c "$has_python" 2>/dev/null || python_packages=(python3 python3-venv python3-dev)
# For Spark's tests; any Java from 17 on will do.
if [ -z "${JAVA_HOME:-}" ] && ! command -v java >/dev/null; then
  python_packages+=(openjdk-17-jre-headless)
fi
