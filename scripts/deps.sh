#!/bin/sh
# Installs the Debian packages that building and testing need, when missing.
# Usage: scripts/deps.sh [windows]   (windows: also the MinGW-w64 cross
# compiler, GoogleTest's sources to build with it, and Wine to run the tests)
set -e
packages="cmake ninja-build g++ pkg-config dpkg-dev file libsqlite3-dev libgtest-dev libgmock-dev libbenchmark-dev libgmp-dev libspdlog-dev"
if [ "$1" = windows ]; then
  packages="$packages g++-mingw-w64-x86-64-posix googletest wine64"
fi
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
