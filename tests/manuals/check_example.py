"""check_example.py SOURCE_DIR BUILD_DIR: the example of qrtscript(1) is what `qrtscript check` reports."""
import re
import subprocess
import sys
import tempfile


def main():
    source, build = sys.argv[1:]
    with open(source + "/man/qrtscript.1.scd", encoding="utf-8") as file:
        page = file.read().replace("\\\\", "\\")
    script, report = re.search(r"The file _sales\.qrt_\n\n```\n(.*?)```\n.*?```\n(.*?)```\n", page, re.S).groups()
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + "/sales.qrt", "w", encoding="utf-8") as file:
            file.write(script)
        done = subprocess.run([build + "/qrtscript", "check", "sales.qrt"], cwd=folder, text=True, capture_output=True,
                              env={"PATH": "/usr/bin:/bin", "LC_ALL": "C"}, timeout=60)
    if done.stdout != report:
        print(f"--- the page\n{report}--- check\n{done.stdout}{done.stderr}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
