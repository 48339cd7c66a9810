#!/usr/bin/env bash
# Makes the Debian packages in build/package and looks at what their libraries export. `scripts/package.sh --try` also
# installs them on a bare Debian 12 in a folder of its own, and builds and runs programs there; that needs root.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh --package
cmake --workflow --preset package >build-package.log 2>&1 || { tail -50 build-package.log; exit 1; }
rm -f build-package.log
if grep -q '^OQSDK_PACKAGE_CONTACT:.*@localhost>' build/package/CMakeCache.txt; then
  echo "package: the packages name no maintainer whom anybody can write to; for packages that others get, say first" >&2
  echo '  cmake --preset package -DOQSDK_PACKAGE_CONTACT="Name <address>"' >&2
fi
python3 tests/package/exports_test.py build/package/liboqsdk.so= build/package/hosts/liboqsdk_headless.so=headless \
        build/package/hosts/liboqsdk_gtk.so=gtk build/package/hosts/liboqsdk-webkit.so=module
ls -l build/package/*.deb
[[ ${1:-} != --try ]] || tests/package/bare_debian.sh build/package
