#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Installs missing Debian packages. This is the only list of the project's packages. Without options: what building, the
# demo and packaging need. It is quick if nothing is missing, and needs root or sudo only if something is.
#
#   install-deps.sh [--tests] [--bench] [--fuzz] [--docs] [--package]
set -euo pipefail

packages=(
  # building
  g++ cmake ninja-build ccache pkg-config git ca-certificates
  # the library
  libcurl4-openssl-dev libssl-dev libsqlite3-dev libboost-json1.81-dev libglib2.0-dev libpango1.0-dev libcairo2-dev
  libgdk-pixbuf-2.0-dev libjpeg-dev libfontconfig-dev zlib1g-dev
  # the GTK host, the campaign server
  libgtkmm-4.0-dev libcpp-httplib-dev
  # introspection data and files for Vala
  gobject-introspection libgirepository1.0-dev valac
  # the web engine and its sandbox
  libwebkitgtk-6.0-dev bubblewrap xdg-dbus-proxy
  # the demo: a display, pointer events, screenshots, fonts
  python3 xvfb xdotool imagemagick fonts-dejavu-core fonts-noto-cjk
)
# Test libraries, a second compiler, programs that the tests run, and the formatter that they check with.
tests=(
  libgtest-dev libgmock-dev python3-jsonschema clang-14 clang-format-14
  openssl sqlite3 nginx dbus doxygen python3-gi strace
  # The keychain with a Secret Service: the service, and the library that the keychain loads at run time.
  gnome-keyring libsecret-1-0
  # A window manager, a Wayland compositor, window properties, another kind of GTK window, one more font.
  openbox weston x11-utils libadwaita-1-0 fonts-noto-color-emoji
  # The example of a game, and OpenGL without a graphics card.
  libglfw3-dev libgl-dev libgl1-mesa-dri
  # The example in Python.
  gir1.2-gtk-4.0
)

for option in "$@"; do
  case $option in
    --tests) packages+=("${tests[@]}") ;;
    --bench) packages+=(libspdlog-dev libplist-dev) ;;
    --fuzz) packages+=(clang-14 libclang-rt-14-dev) ;;
    --docs) packages+=(doxygen) ;;
    --package) packages+=(dpkg-dev file mmdebstrap) ;;
    *) echo "usage: install-deps.sh [--tests] [--bench] [--fuzz] [--docs] [--package]" >&2; exit 2 ;;
  esac
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
