#!/bin/bash
# walkthrough.sh SOURCE_DIR: docs/walkthrough.md shows the golden cases as they are.
set -euo pipefail
diff "$1/docs/walkthrough.md" <("$1/docs/make-walkthrough.sh")
