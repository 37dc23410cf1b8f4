#!/bin/sh
# Installs the Debian packages that building and testing need, when missing.
set -e
packages="cmake ninja-build g++ pkg-config dpkg-dev file libsqlite3-dev libgtest-dev libgmock-dev libbenchmark-dev libgmp-dev libspdlog-dev libcurl4-openssl-dev nlohmann-json3-dev etcd-server etcd-client clang libclang-rt-14-dev"
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
