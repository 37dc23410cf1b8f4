#!/bin/sh
# Installs what is missing, configures, builds the demo (with the tools and
# sample plug-ins it uses, not the tests) and runs it.
set -e
cd "$(dirname "$0")/.."
sh scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target kov_demo
exec build/default/bin/kov_demo
