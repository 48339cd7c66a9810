#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Builds the Debian packages in build/package and checks the symbols that their libraries export. `scripts/package.sh
# --try` also installs them in a minimal Debian 12 in a temporary folder, and builds and runs programs there; this needs
# root.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh --package
cmake --workflow --preset package >build-package.log 2>&1 || { tail -50 build-package.log; exit 1; }
rm -f build-package.log
if grep -q '^OQSDK_PACKAGE_CONTACT:.*@localhost>' build/package/CMakeCache.txt; then
  echo "package: the packages have no real maintainer address; before you publish them, run" >&2
  echo '  cmake --preset package -DOQSDK_PACKAGE_CONTACT="Name <address>"' >&2
fi
python3 tests/package/exports_test.py build/package/liboqsdk.so= build/package/hosts/liboqsdk_headless.so=headless \
        build/package/hosts/liboqsdk_gtk.so=gtk build/package/hosts/liboqsdk-webkit.so=module
ls -l build/package/*.deb
[[ ${1:-} != --try ]] || tests/package/bare_debian.sh build/package
