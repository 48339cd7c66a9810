#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# The complete demo: installs missing packages, builds, starts the campaign server (HTTPS) and the example shop in a
# real window (on Xvfb if there is no display), controls the shop with real pointer events, saves screenshots in
# build/demo/pictures and prints the events that the server received. Exit status: 1 if a step failed, 2 if only the web
# page was not shown. With --interactive the shop stays open for you.
#
# The name of another demo runs a program in another toolkit or language instead, and saves its pictures in
# build/demo-NAME/pictures: `qt` (Qt Widgets), `quick` (QML), `sdl` (a game), `c` (GTK, and OpenGL with GLFW) or `python`
# (GTK).
set -euo pipefail
cd "$(dirname "$0")"

usage() { echo "usage: ./demo.sh [gtk|qt|quick|sdl|c|python] [--interactive]" >&2; exit 2; }
name=gtk
if [[ ${1:-} =~ ^[a-z]+$ ]]; then name=$1; shift; fi
case $name in
  gtk) hosts=(gtk gtk-web) targets=(gtk-shop oqsdk_webkit) ;;
  qt) hosts=(qt qt-web) targets=(qt-shop oqsdk_qt_web) ;;
  quick) hosts=(qt) targets=(quick-shop) ;;
  sdl) hosts=(sdl) targets=(sdl-game) ;;
  c) hosts=(gtk) targets=(first-window-main first-window-glfw) ;;
  python) hosts=(gtk) targets=(oqsdk_gobject_introspection oqsdk_gtk_introspection) ;;
  *) usage ;;
esac
case "${1:-}" in
  "") ;;
  --interactive) [[ ${targets[0]} == *-shop ]] || usage ;;
  *) usage ;;
esac

scripts/install-deps.sh --demo "${hosts[@]}"
echo "building ..."
mkdir -p build
cmake --preset release >build/demo-configure.log 2>&1 || { cat build/demo-configure.log; exit 1; }
cmake --build --preset release --target oqsdk-server "${targets[@]}" -- --quiet
exec python3 scripts/demo "$name" "$@"
