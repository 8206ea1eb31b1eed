#!/bin/bash
# What the ordinary tests leave out of the editors' files because it needs more packages: Neovim with the language server,
# nano itself, the extension for Visual Studio Code with the engine of that editor, and the library with which editors speak
# to language servers; npm fetches the last two.
#   ./check.sh --editors
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check editors
cmake --preset release >/dev/null
cmake --build --preset release --target script_places qrtscript_command
packages=build/release/tests/editors
mkdir -p $packages
cp tests/editors/npm/package.json $packages/
npm install --prefix $packages --no-audit --no-fund --no-package-lock --loglevel=error
ctest --test-dir build/release -C editors -R '^editors\.' --output-on-failure --no-tests=error |
    grep -vE --line-buffered '^ *(Start|[0-9]+/[0-9]+ Test .* Passed|Total Test time|$)'
