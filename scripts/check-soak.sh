#!/bin/bash
# The soak: 100,000 script runs and 10,000 whole logins in one process, whose memory and descriptors may not grow.
# tests/soak/soak.cpp says what a run does and what is left out.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
cmake --preset release >/dev/null
cmake --build --preset release --target soak map
build/release/tests/soak 100000 10000
