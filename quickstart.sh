#!/bin/sh
# Installs what is missing, builds, and logs a user in to the sample tree.
set -eu
cd "$(dirname "$0")"
scripts/install-packages.sh build
cmake --preset release >build-quickstart.log 2>&1 && cmake --build --preset release --target product >>build-quickstart.log 2>&1 ||
    { cat build-quickstart.log >&2; exit 1; }
rm -f build-quickstart.log
exec scripts/sample-login.sh build/release
