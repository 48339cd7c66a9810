#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Builds the Debian packages in build/package and checks the symbols that their libraries export. `scripts/package.sh
# --try` also installs them in minimal Debian 12 systems in a temporary folder, and builds and runs programs there; this
# needs root.
set -euo pipefail
cd "$(dirname "$0")/.."
case ${1:-} in
  "") try=() steps=5 ;;
  --try) try=(--try) steps=6 ;;
  *) echo "usage: package.sh [--try]" >&2; exit 2 ;;
esac

number=0
step() { number=$((number + 1)); echo "== $number of $steps: $*"; }

step "packages that building needs"
scripts/install-deps.sh --package "${try[@]}"

step "configuration"
mkdir -p build/package
log=build/package/configure.log
cmake --preset package >$log 2>&1 || { tail -50 $log; exit 1; }
if grep -q '^OQSDK_PACKAGE_CONTACT:.*@localhost>' build/package/CMakeCache.txt; then
  echo "package: the packages have no real maintainer address; before you publish them, run" >&2
  echo '  cmake --preset package -DOQSDK_PACKAGE_CONTACT="Name <address>"' >&2
fi

step "build"
# On a terminal ninja updates one line with this status. Otherwise it prints a line per file.
NINJA_STATUS="[%f of %t, %e s] " cmake --build --preset package

step "packages"
rm -f build/package/*.deb  # an earlier version may have had packages with other names
cpack --preset package

step "exported symbols"
python3 tests/package/exports_test.py build/package/liboqsdk.so= build/package/hosts/liboqsdk_headless.so=headless \
        build/package/hosts/liboqsdk_gtk.so=gtk build/package/hosts/liboqsdk-webkit.so=module \
        build/package/hosts/qt/liboqsdk_qt6.so=qt/AttachOptions.h,qt/QtHost.h \
        build/package/hosts/qt/quick/liboqsdk_qt6_quick.so=qt/QuickHost.h \
        build/package/hosts/sdl/liboqsdk_sdl2.so=sdl
python3 tests/package/c_interface_test.py build/package/bindings/liboqsdk-c.so=oqsdk.h \
        build/package/hosts/liboqsdk_gtk.so=gtk.h
ls -l build/package/*.deb

[[ ${#try[@]} -eq 0 ]] && exit 0
step "use in minimal systems"
tests/package/bare_debian.sh build/package
