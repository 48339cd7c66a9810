#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Installs the packages in a minimal Debian 12 in a temporary folder and uses them there as a newcomer would: first only
# the server and the libraries; then a program of ten lines, built with CMake and with pkg-config; then the guide's
# first window, on an X display, until it shows a campaign's message. Needs root and the network.
#   bare_debian.sh FOLDER-OF-PACKAGES [PICTURE]
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd)
picture=$(realpath -m "${2:-$packages/first-window.png}")

root=$(mktemp -d)
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf --one-file-system "$root"' EXIT
mmdebstrap --quiet --variant=minbase bookworm "$root" http://deb.debian.org/debian
mount -t proc proc "$root/proc"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mkdir "$root/packages" "$root/work"
cp "$packages"/*.deb "$root/packages"
cp -r "$source/tests/package/consumer" "$source/examples/first-window" "$source/tests/package/first_window.sh" \
  "$root/work"
# The names of the library packages contain the interface version.
library=$(cd "$packages" && echo liboqsdk[0-9]*_*.deb) gtk=$(cd "$packages" && echo liboqsdk-gtk[0-9]*_*.deb)
library=${library%%_*} gtk=${gtk%%_*}

inside() {
  chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    bash -euo pipefail -c "$1"
}
apt_get() { inside "apt-get -y -qq --no-install-recommends $1 >/work/apt.log 2>&1 || { cat /work/apt.log; exit 1; }"; }

echo "== Debian $(cat "$root/etc/debian_version"): libraries and server"
apt_get update
apt_get "install /packages/${library}_* /packages/${gtk}_* /packages/oqsdk-server_*"
inside "dpkg -L $library $gtk oqsdk-server"' | grep -E "\.so|/bin/." | xargs -n1 ldd >/work/ldd
        if grep "not found" /work/ldd; then exit 1; fi; oqsdk-server --version; dpkg -l | grep -c ^ii'

echo "== development files: a program of ten lines"
apt_get "install /packages/*-dev_* g++ cmake ninja-build pkg-config"
inside 'cd /work; cmake -G Ninja -S consumer -B by-cmake >/dev/null; cmake --build by-cmake; by-cmake/consumer
        c++ -std=c++17 consumer/main.cpp -o by-pkg-config $(pkg-config --cflags --libs oqsdk-headless); ./by-pkg-config
        ls -l screen.png'

inside 'for file in /packages/*.deb; do
          grep -q "^License: Apache-2.0" "/usr/share/doc/$(dpkg-deb -f "$file" Package)/copyright"
        done'

echo "== the guide's first window"
apt_get "install xvfb xdotool imagemagick x11-utils fonts-dejavu-core ca-certificates"
inside 'cd /work; cmake -G Ninja -S first-window -B build >/dev/null; cmake --build build
        ./first_window.sh build/first-window first-window'
cp "$root/work/first-window.png" "$picture"
echo "picture: $picture"
apt_get "purge $library oqsdk-server"
inside 'if ls -d /usr/share/oqsdk* /usr/include/oqsdk 2>/dev/null; then exit 1; fi'
echo "installed, used and removed"
