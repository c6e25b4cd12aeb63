#!/bin/sh
# Installs what building, testing and running this project needs, from Debian's packages; further ones can be named as
# arguments. Does nothing if all is there.
set -eu
packages="
  g++ cmake ninja-build make git
  tcl tcl-dev
  libboost-dev nlohmann-json3-dev
  libedit-dev
  libgtest-dev libgmock-dev libfftw3-dev locales
  clang libclang-rt-dev clang-format clang-tidy
  valgrind gcovr
  $*
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
