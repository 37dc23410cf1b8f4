#!/bin/sh
# Checks the installed package: installs the default build into a temporary
# prefix, builds and runs examples/consumer against it twice (through
# find_package(kov CONFIG) and through pkg-config), runs an installed tool,
# and checks that the Debian package from CPack holds the same files.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/usr"
cmake --install build/default --prefix "$prefix" >/dev/null
libdir="$(dirname "$(find "$prefix" -name 'libkov.so' | head -n 1)")"
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

cmake -S examples/consumer -B "$work/build-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/build-cmake" >/dev/null
"$work/build-cmake/consumer"

pcdir="$(dirname "$(find "$prefix" -name kov.pc | head -n 1)")"
# shellcheck disable=SC2046
g++ -std=c++20 -o "$work/consumer-pc" examples/consumer/main.cpp \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs kov)
"$work/consumer-pc"

# An installed tool finds the installed libraries by itself.
env -u LD_LIBRARY_PATH "$prefix/bin/kovprop" encode --int 42

(cd build/default && cpack -G DEB >/dev/null)
deb="$(ls build/default/kov_*.deb | head -n 1)"
dpkg-deb -x "$deb" "$work/deb"
(cd "$prefix" && find . -type f -o -type l | sed 's|^\./||' | sort) > "$work/installed.txt"
(cd "$work/deb/usr" && find . -type f -o -type l | sed 's|^\./||' | sort) > "$work/packaged.txt"
if ! diff -u "$work/installed.txt" "$work/packaged.txt"; then
  echo "the Debian package differs from the installed tree" >&2
  exit 1
fi
echo "package: consumer built and ran through CMake and pkg-config; $(basename "$deb") holds the $(wc -l < "$work/installed.txt") installed files"
