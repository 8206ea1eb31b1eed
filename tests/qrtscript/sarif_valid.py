#!/usr/bin/env python3
"""sarif_valid.py QRTSCRIPT SOURCE_DIR: what `qrtscript check --format sarif` writes is valid by the schema."""
import json
import subprocess
import sys
import tempfile
from pathlib import Path

import jsonschema

QRTSCRIPT, SOURCE = sys.argv[1], Path(sys.argv[2])
SCHEMA = json.loads((SOURCE / "tests/qrtscript/schemas/sarif-2.1.0-rtm.5.json").read_text())
VALIDATOR = jsonschema.Draft4Validator(SCHEMA)


def sarif(*inputs):
    done = subprocess.run([QRTSCRIPT, "check", "--format=sarif", *inputs], stdout=subprocess.PIPE, check=False)
    return json.loads(done.stdout)


def main():
    VALIDATOR.check_schema(SCHEMA)
    # The schema finds what is wrong.
    assert not VALIDATOR.is_valid({"version": "2.1.0", "runs": [{"results": []}]})
    with tempfile.TemporaryDirectory() as folder:
        hostile = Path(folder) / "a b#?%.qrt"
        hostile.write_bytes(b"FOO " + bytes(range(1, 256)) + b"\n L:\nWRITE\r\n\xff\xfe GOTO")
        clean = Path(folder) / "clean.qrt"
        clean.write_text('WRITE "x"\n')
        found = 0
        for inputs in ([SOURCE / "tests/scripts"], [hostile], [clean], [Path(folder) / "none.qrt"]):
            log = sarif(*inputs)
            errors = [error.message[:300] for error in VALIDATOR.iter_errors(log)]
            assert not errors, errors
            found += len(log["runs"][0]["results"])
        assert found > 50, found


main()
