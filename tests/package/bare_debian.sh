#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Installs the packages in minimal Debian 12 systems in a temporary folder, uses them there as a newcomer would, and
# removes them. The first system gets no recommended packages, so it has no web engine: libraries and server, programs
# in C++ and C that are built with CMake and pkg-config, and the guide's first window, on an X display, until it shows a
# campaign's message. The second gets the hosts for SDL and Qt. The third also gets the web engine, and shows a web
# page; then the first window in Python, for which it gets introspection data. The fourth gets all recommended packages.
# Prints how many packages and megabytes each step adds. Needs root and the network.
#   bare_debian.sh FOLDER-OF-PACKAGES
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd)

folder=$(mktemp -d)
trap 'rm -rf --one-file-system "$folder"' EXIT
echo "== a minimal Debian 12"
mmdebstrap --quiet --variant=minbase bookworm "$folder/minimal.tar" http://deb.debian.org/debian
mkdir "$folder/packages" "$folder/work"
cp "$packages"/*.deb "$folder/packages"
(cd "$folder/packages" && dpkg-scanpackages --multiversion . >Packages 2>/dev/null)
cp -r "$source/tests/package/consumer" "$source/examples/first-window" "$source/tests/package/first_window.sh" \
  "$folder/work"
# The names of the library packages contain the interface version.
name_of() { (cd "$packages" && basename "$1"[0-9]*_*.deb | sed 's/_.*//'); }
library=$(name_of liboqsdk) gtk=$(name_of liboqsdk-gtk) web=$(name_of liboqsdk-gtk-web)
sdl=$(name_of liboqsdk-sdl2-) qt=$(name_of liboqsdk-qt6-) quick=$(name_of liboqsdk-qt6-quick)
ours=$(cd "$packages" && for file in *.deb; do echo "${file%%_*}"; done)

# A system in which our packages are in a repository, as it is for a user.
new_system() {
  [[ ! -v root ]] || rm -rf --one-file-system "$root"
  root=$folder/$1
  mkdir "$root"
  tar -xf "$folder/minimal.tar" -C "$root"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  cp -r "$folder/packages" "$folder/work" "$root"
  echo "deb [trusted=yes] file:/packages ./" >"$root/etc/apt/sources.list.d/ours.list"
  inside "apt-get -qq update >/dev/null"
  before=(0 0)
  measure "Debian $(cat "$root/etc/debian_version")"
}

# Runs commands in the system. The root folder is replaced, not only changed: the web engine's sandbox needs that.
inside() {
  unshare --mount --propagation private "${network[@]}" bash -euc '
    [[ $3 == 0 ]] || ip link set lo up
    mount --bind "$1" "$1"; cd "$1"; mount -t proc proc proc; mount --rbind /sys sys; mount --rbind /dev dev
    mkdir -p old; pivot_root . old; umount -l old
    exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
      bash -euo pipefail -c "$2"' bash "$root" "$1" "${#network[@]}"
}
network=()
# With a loopback device of their own, so that the server's ports are free.
inside_alone() { local network=(--net); inside "$1"; }
apt_get() { inside "apt-get -y -qq $1 >/work/apt.log 2>&1 || { cat /work/apt.log; exit 1; }; apt-get clean"; }
installed() { inside "dpkg-query -f '\${binary:Package}\n' -W"; }

measure() {
  local now size
  size=$(du -sxm "$root" --exclude="$root"/{packages,work,var/lib/apt,var/cache/apt} | cut -f1)
  now=("$(installed | wc -l)" "$size")
  printf '%-50s %+4d packages %+5d MB\n' "$1" $((now[0] - before[0])) $((now[1] - before[1]))
  before=("${now[@]}")
}

# After our packages have been removed, nothing of them is left but folders of other packages.
remove_ours() {
  local names
  names=$(installed | grep oqsdk | tr '\n' ' ')
  inside "dpkg-query -L $names | grep -vx /. | sort -u >/work/files"
  [[ $(wc -l <"$root/work/files") -gt 20 ]]
  apt_get "purge $names"
  inside 'while read -r file; do
            [[ ! -e $file && ! -L $file ]] || dpkg-query -S "$file" >/dev/null 2>&1 || { echo "left: $file"; exit 1; }
          done </work/files'
  echo "removed, and nothing is left"
}

echo "== without recommended packages"
new_system plain
for package in "$library" liboqsdk-c1 "$gtk" oqsdk-server; do
  apt_get "--no-install-recommends install $package"
  measure "$package"
done
if installed | grep -i webkit; then exit 1; fi
inside "dpkg -L $library liboqsdk-c1 $gtk oqsdk-server"' | grep -E "\.so|/bin/." | xargs -n1 ldd >/work/ldd
        if grep "not found" /work/ldd; then exit 1; fi
        oqsdk-server --version
        gzip -t /usr/share/man/man1/oqsdk-server.1.gz'

echo "== development files: programs of ten lines in C++ and C"
development=$(grep -e '-dev$' <<<"$ours" | tr '\n' ' ')
apt_get "--no-install-recommends install $development g++ cmake ninja-build pkg-config"
inside 'cd /work; cmake -G Ninja -S consumer -B by-cmake >/dev/null; cmake --build by-cmake; by-cmake/consumer
        c++ -std=c++17 consumer/main.cpp -o by-pkg-config $(pkg-config --cflags --libs oqsdk-headless); ./by-pkg-config
        ls -l screen.png
        cc -std=c99 consumer/main.c -o in-c $(pkg-config --cflags --libs oqsdk-c); ./in-c
        for file in /packages/*.deb; do
          package=$(dpkg-deb -f "$file" Package)
          if [[ -e /usr/share/doc/$package ]]; then
            grep -q "^License: Apache-2.0" "/usr/share/doc/$package/copyright"
          fi
        done'

echo "== development files: programs with Qt and SDL"
inside 'cd /work
        echo "#include <oqsdk/sdl/SdlHost.h>
              int main() { return oq::sdl::attach(nullptr) != nullptr; }" >sdl.cpp
        echo "#include <oqsdk/qt/QtHost.h>
              int main() { return oq::qt::attach(static_cast<QWidget*>(nullptr)); }" >qt.cpp
        c++ -std=c++17 sdl.cpp -o in-sdl $(pkg-config --cflags --libs oqsdk-sdl2); ./in-sdl
        c++ -std=c++17 qt.cpp -o in-qt $(pkg-config --cflags --libs oqsdk-qt6); ./in-qt'

echo "== the guide's first window, in C++ and C"
display="xvfb xdotool imagemagick x11-utils fonts-dejavu-core ca-certificates"
apt_get "--no-install-recommends install $display"
inside 'cd /work; cmake -G Ninja -S first-window -B build >/dev/null; cmake --build build
        cc -std=c99 first-window/main.c -o build/first-window-c $(pkg-config --cflags --libs oqsdk-gtk-c)'
for program in first-window first-window-c; do
  inside_alone "cd /work; ./first_window.sh build/$program first-window"
done
cp "$root"/work/*.png "$packages"
if installed | grep -i webkit; then exit 1; fi
remove_ours

cp -r "$root/work/build" "$folder/work"
echo "== the hosts for SDL and Qt, without recommended packages"
new_system toolkits
for package in "$library" "$sdl" "$qt" "$quick" qml6-module-oqsdk; do
  apt_get "--no-install-recommends install $package"
  measure "$package"
done
if installed | grep -e libgtk -e webengine; then exit 1; fi
inside "dpkg -L $sdl $qt $quick qml6-module-oqsdk"' | grep "\.so" | xargs -n1 ldd >/work/ldd
        if grep "not found" /work/ldd; then exit 1; fi'
remove_ours

echo "== the web engine without other recommended packages"
new_system engine
apt_get "--no-install-recommends install $gtk $web"
measure "$gtk $web"
apt_get "--no-install-recommends install oqsdk-server $display"
inside_alone "cd /work; ./first_window.sh --page build/first-window first-window"
cp "$root/work/page.png" "$packages"

echo "== the guide's first window in Python, without development files"
apt_get "--no-install-recommends install gir1.2-oqsdkgtk-1 python3-gi"
measure "gir1.2-oqsdkgtk-1 python3-gi"
inside_alone "cd /work; ./first_window.sh first-window/main.py first-window 'middle-button buy'"
cp "$root/work/main.py.png" "$packages"
if installed | grep -e "oqsdk.*-dev$"; then exit 1; fi
remove_ours

echo "== with recommended packages"
new_system recommended
for package in "$gtk" liboqsdk-c1 oqsdk-server; do
  apt_get "install $package"
  measure "$package"
done
installed | grep -x "$web"
apt_get "--no-install-recommends install $display"
for program in first-window first-window-c; do
  inside_alone "cd /work; ./first_window.sh build/$program first-window"
done
inside_alone "cd /work; ./first_window.sh --page build/first-window first-window"
echo "pictures: $packages/*.png"
remove_ours
