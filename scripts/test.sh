#!/bin/sh
# Installs what is missing, configures, builds and runs the whole test suite.
# Usage: scripts/test.sh [preset]   (default: "default"; "asan" for sanitizers;
# "portable" for the plain C++ extended-number arithmetic)
set -e
cd "$(dirname "$0")/.."
preset="${1:-default}"
sh scripts/deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
