#!/bin/sh
# Installs what this project needs from Debian's packages: install_packages.sh package|all [PACKAGE...]
# `package` is for building the package and running it in a tclsh; `all` for everything else as well, the tests among it.
# Further packages can be named. Does nothing if all is there.
set -eu
what=${1:-}
[ "$what" = package ] || [ "$what" = all ] || { echo "usage: install_packages.sh package|all [PACKAGE...]" >&2; exit 2; }
shift
packages="
  g++ cmake ninja-build make
  tcl tcl-dev
  libboost-dev libboost-thread-dev nlohmann-json3-dev libexpat1-dev libpugixml-dev
  libzip-dev zlib1g-dev
  android-libnativehelper-dev
  libelf-dev libsodium-dev
  $*
"
[ "$what" = package ] || packages="$packages
  git
  libedit-dev
  libgtest-dev libgmock-dev libfftw3-dev locales
  clang lld libclang-rt-dev clang-format-14 clang-tidy
  qemu-system-arm
  valgrind gcovr
  dpkg-dev file pkgconf
  openjdk-17-jdk-headless junit4
"
missing=""
for package in $packages; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=""
[ "$(id -u)" -eq 0 ] || as_root="sudo"
echo "Installing:$missing"
$as_root apt-get update -q
# shellcheck disable=SC2086  # the list is meant to be split into words
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -q -y --no-install-recommends $missing
