#!/usr/bin/env bash
# Installs what building, running and testing needs: the one list of the project's Debian packages. Quick when nothing
# is missing. Needs root or sudo only when something is.
set -euo pipefail

packages=(
  # building
  g++ cmake ninja-build ccache pkg-config git ca-certificates
  # the library
  libcurl4-openssl-dev libssl-dev libsqlite3-dev libboost-json1.81-dev libglib2.0-dev libpango1.0-dev libcairo2-dev
  libgdk-pixbuf-2.0-dev libjpeg-dev libfontconfig-dev zlib1g-dev
  # the GTK host, the campaign server
  libgtkmm-4.0-dev libcpp-httplib-dev
  # the web engine, and what its sandbox is built with
  libwebkitgtk-6.0-dev bubblewrap xdg-dbus-proxy
  # tests and judges
  libgtest-dev libgmock-dev libplist-dev python3 python3-jsonschema sqlite3 openssl curl nginx clang-14 clang-format-14
  # the benchmarks' peer
  libspdlog-dev
  # a keyring service to keep secrets in, and the library that the keychain loads when it finds one
  gnome-keyring libsecret-1-0
  # a screen where there is none, a window manager, a hand to touch it, fonts to read it
  xvfb openbox weston xdotool x11-utils imagemagick dbus libadwaita-1-0
  fonts-dejavu-core fonts-noto-cjk fonts-noto-color-emoji
)

# What may be asked for besides: what fuzzing links, what makes the reference, what makes and tries Debian packages.
for option in "$@"; do
  case $option in
    --fuzz) packages+=(libclang-rt-14-dev) ;;
    --docs) packages+=(doxygen) ;;
    --package) packages+=(dpkg-dev file mmdebstrap) ;;
    *) echo "usage: install-deps.sh [--fuzz] [--docs] [--package]" >&2; exit 2 ;;
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
# A test starts its own nginx. The package would start one as a service.
nginx_is_new() { [[ " ${missing[*]} " == *" nginx "* && -d /run/systemd/system ]]; }
! nginx_is_new || "${as_root[@]}" systemctl --quiet mask nginx
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
! nginx_is_new || { "${as_root[@]}" systemctl --quiet unmask nginx; "${as_root[@]}" systemctl --quiet disable nginx; }
