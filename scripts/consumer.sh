#!/bin/sh
# Installs the default build into a temporary prefix, then builds and runs
# examples/consumer against it twice: through find_package(kov CONFIG) and
# through pkg-config.
set -e
cd "$(dirname "$0")/.."
root="$(pwd)"
sh scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
cmake --install build/default --prefix "$prefix/usr" >/dev/null
export LD_LIBRARY_PATH="$prefix/usr/lib:$prefix/usr/lib/x86_64-linux-gnu${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

cmake -S examples/consumer -B "$prefix/build-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/build-cmake" >/dev/null
"$prefix/build-cmake/consumer"

pcdir="$(dirname "$(find "$prefix/usr" -name kov.pc | head -n 1)")"
# shellcheck disable=SC2046
g++ -std=c++20 -o "$prefix/consumer-pc" examples/consumer/main.cpp \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs kov)
"$prefix/consumer-pc"
echo "consumer: built and ran against the installed package (CMake and pkg-config)"
