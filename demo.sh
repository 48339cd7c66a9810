#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# The complete demo: installs missing packages, builds, starts the campaign server (HTTPS) and the example shop in a
# real window (on Xvfb if there is no display), controls the shop with real pointer events, saves screenshots in
# build/demo/pictures and prints the events that the server received. Exit status: 1 if a step failed, 2 if only the web
# page was not shown. With --interactive the shop stays open for you.
set -euo pipefail
cd "$(dirname "$0")"

case "${1:-}" in
  ""|--interactive) ;;
  *) echo "usage: ./demo.sh [--interactive]" >&2; exit 2 ;;
esac

scripts/install-deps.sh --demo
echo "building ..."
mkdir -p build
cmake --preset release >build/demo-configure.log 2>&1 || { cat build/demo-configure.log; exit 1; }
cmake --build --preset release --target oqsdk-server gtk-shop -- --quiet
exec python3 scripts/demo.py "$@"
