#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Builds the API reference from the comments of the public headers: build/docs/reference/index.html. Warnings are
# errors. With --quick it does not install packages.
set -euo pipefail
cd "$(dirname "$0")/.."

[[ ${1:-} == --quick ]] || scripts/install-deps.sh --docs none
mkdir -p build/docs
OQSDK_VERSION=$(sed -n 's/^project(OQSDK VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) doxygen Doxyfile
echo "$PWD/build/docs/reference/index.html"
