#!/bin/sh
# Installs what the Windows cross build and its tests need, when missing: the
# MinGW-w64 cross compiler (posix thread model), GoogleTest's sources to build
# with it, and Wine to run the programs. Linux builds need none of it.
set -e
packages="cmake ninja-build g++-mingw-w64-x86-64-posix googletest wine wine64"
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "Installing:$missing"
  if [ "$(id -u)" -ne 0 ]; then SUDO=sudo; else SUDO=; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $missing >/dev/null
fi
