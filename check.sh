#!/bin/bash
# Installs what is missing, builds, and runs every test: as released, and built by clang under AddressSanitizer with
# UndefinedBehaviorSanitizer and LeakSanitizer. Neither compiler may have a warning.
# CTest runs both builds as one set, so that its own summary at the end counts them all.
#   ./check.sh                 what every change has to pass
#   ./check.sh --NAME [WORDS]  a longer check by itself: scripts/check-NAME.sh, each told in README.md
set -euo pipefail
cd "$(dirname "$0")"
case ${1-} in
    "") ;;
    --*)
        longer=scripts/check-${1#--}.sh
        [ -x "$longer" ] || { echo "check.sh: no check is called '$1'" >&2; exit 64; }
        shift
        exec "$longer" "$@"
        ;;
    *) echo "check.sh: unexpected '$1'" >&2; exit 64 ;;
esac
scripts/install-packages.sh build check

for preset in release sanitizers; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -- -k 0
done
mkdir -p build/check
cat >build/check/CTestTestfile.cmake <<END
subdirs("../release" "../sanitizers")
END
echo "== tests"
# Those of the windows have displays of their own; no other opens a window on this one.
unset DISPLAY WAYLAND_DISPLAY
# Only what is no success is shown in full. Many tests wait for most of their time: two for each core.
ctest --test-dir build/check --output-on-failure --no-tests=error -j "$(($(nproc) * 2))" |
    grep -vE --line-buffered '^ *(Start|[0-9]+/[0-9]+ Test .* Passed)'
