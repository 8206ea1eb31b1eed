#!/bin/bash
# Takes the pictures of the windows anew, into docs/images/: light, dark, at 200 %, in German and Japanese, and
# from right to left. Look at each of them before it is committed.
#   scripts/make-screenshots.sh [FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check screenshots
cmake --preset release >/dev/null
cmake --build --preset release --target product installed_asker
/usr/bin/python3 -B -W ignore::ResourceWarning tests/windows/screenshots.py build/release "${1-docs/images}"
