#!/bin/sh
# Installs what is missing, configures, builds and runs the demo.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/default/bin/kov_demo
