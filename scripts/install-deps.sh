#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Installs missing Debian packages. This is the only list of the project's packages. Without options: what building
# needs. It is quick if nothing is missing, and needs root or sudo only if something is. HOST is gtk, gtk-web, qt, qt-web
# or sdl, where gtk-web and qt-web are the modules for web pages. Without a HOST, the packages of all hosts are
# installed; otherwise only those of the named ones, and with the name "none" those of no host.
#
#   install-deps.sh [--demo] [--tests] [--bench] [--fuzz] [--docs] [--package] [--try] [HOST...]
set -euo pipefail

packages=(
  # building
  g++ cmake ninja-build ccache pkg-config git ca-certificates
  # the library
  libcurl4-openssl-dev libssl-dev libsqlite3-dev libboost-json1.81-dev libglib2.0-dev libpango1.0-dev libcairo2-dev
  libgdk-pixbuf-2.0-dev libjpeg-dev libfontconfig-dev zlib1g-dev
  # the campaign server
  libcpp-httplib-dev
  # introspection data and files for Vala
  gobject-introspection libgirepository1.0-dev valac
)
# The demo: a display, pointer events, screenshots, fonts.
demo=(
  python3 xvfb xdotool imagemagick fonts-dejavu-core fonts-noto-cjk
)
# Test libraries, a second compiler, programs that the tests run, and the formatter that they check with.
tests=(
  libgtest-dev libgmock-dev python3-jsonschema clang-14 clang-format-14 groff-base
  openssl sqlite3 nginx dbus doxygen python3-gi strace
  # The keychain with a Secret Service: the service, and the library that the keychain loads at run time.
  gnome-keyring libsecret-1-0
  # A window manager, a Wayland compositor, window properties, one more font.
  openbox weston x11-utils fonts-noto-color-emoji
)

# The hosts: what building one needs, and what its demo, its tests and its benchmarks need as well.
declare -A host host_demo host_tests host_bench
host[gtk]="libgtkmm-4.0-dev"
# The examples in Python, and of a game with OpenGL without a graphics card.
host_demo[gtk]="python3-gi gir1.2-gtk-4.0 libglfw3-dev libgl-dev libgl1-mesa-dri"
host_tests[gtk]="libadwaita-1-0"  # another kind of window
host[gtk-web]="libwebkitgtk-6.0-dev"
host_demo[gtk-web]="bubblewrap xdg-dbus-proxy"  # the web engine's sandbox
host_tests[gtk-web]=""
host[qt]="qt6-base-dev qt6-declarative-dev"
host_demo[qt]="libgl1-mesa-dri qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-templates qml6-module-qtquick-window qml6-module-qtqml qml6-module-qtqml-models
  qml6-module-qtqml-workerscript"
host_tests[qt]="qt6-wayland at-spi2-core x11-xserver-utils libglib2.0-bin"
host[qt-web]="qt6-webengine-dev"
host_demo[qt-web]=""
host_tests[qt-web]=""
host[sdl]="libsdl2-dev"
host_demo[sdl]="libgl-dev libgl1-mesa-dri"
host_tests[sdl]=""

host_bench[gtk]="" host_bench[gtk-web]="" host_bench[qt-web]="" host_bench[sdl]=""
host_bench[qt]="kuserfeedback-dev"  # the neighbour

usage() {
  sed -n 's/^#   install-deps.sh/usage: install-deps.sh/p' "$0" >&2
  exit 2
}
chosen=() of_hosts=("")
for word in "$@"; do
  case $word in
    --demo) packages+=("${demo[@]}"); of_hosts+=(demo) ;;
    --tests) packages+=("${demo[@]}" "${tests[@]}"); of_hosts+=(demo tests) ;;
    --bench) packages+=("${demo[@]}" libspdlog-dev libplist-dev); of_hosts+=(demo bench) ;;
    --fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
    --docs) packages+=(doxygen) ;;
    --package) packages+=(dpkg-dev file python3) ;;
    --try) packages+=(mmdebstrap iproute2) ;;
    -*) usage ;;
    none) chosen+=(none) ;;
    *) [[ -v host[$word] ]] || usage; chosen+=("$word") ;;
  esac
done
[[ ${#chosen[@]} -gt 0 ]] || chosen=("${!host[@]}")
for name in "${chosen[@]}"; do
  [[ $name != none ]] || continue
  for purpose in "${of_hosts[@]}"; do
    declare -n list=host${purpose:+_$purpose}
    read -r -d '' -a words <<<"${list[$name]}" || true
    packages+=("${words[@]}")
  done
done

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null || true)
  [[ $state == ii* ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "install-deps: needs root or sudo to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# The tests start their own nginx. The package must not start one as a service.
nginx_is_new() { [[ " ${missing[*]} " == *" nginx "* && -d /run/systemd/system ]]; }
! nginx_is_new || "${as_root[@]}" systemctl --quiet mask nginx
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
! nginx_is_new || { "${as_root[@]}" systemctl --quiet unmask nginx; "${as_root[@]}" systemctl --quiet disable nginx; }
