#!/usr/bin/env bash
# Makes the reference from the comments of the public headers: build/docs/reference/index.html. Any warning is an error.
# With --quick it installs nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

[[ ${1:-} == --quick ]] || scripts/install-deps.sh --docs
mkdir -p build/docs
OQSDK_VERSION=$(sed -n 's/^project(OQSDK VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) doxygen Doxyfile
echo "$PWD/build/docs/reference/index.html"
