#!/usr/bin/env python3
"""nano.py: nano itself takes the rules, and shows a script in their colours."""
import os
import pty
import re
import sys
import tempfile

from scripts import SOURCE


def shown(rules, script):
    """All that nano writes to a terminal until the script's last word is there, and while it ends."""
    process, terminal = pty.fork()
    if process == 0:
        os.environ.update(TERM="xterm-256color", LC_ALL="C.UTF-8", HOME=os.path.dirname(script))
        os.execvp("nano", ["nano", "-f", rules, script])
    text, ended = b"", False
    while True:
        try:
            part = os.read(terminal, 65536)
        except OSError:  # the terminal has gone with nano
            part = b""
        if not part:
            break
        text += part
        if b"lastword" in text and not ended:
            ended = True
            os.write(terminal, b"\x18")  # Ctrl-X
    os.waitpid(process, 0)
    return text.decode(errors="replace")


def main():
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + "/nanorc", "w", encoding="utf-8") as file:
            file.write(f'include "{SOURCE}/editors/nano/qrtscript.nanorc"\n')
        with open(folder + "/a.qrt", "w", encoding="utf-8") as file:
            file.write('REM remark\nWRITE "quoted"\nlastword\n')
        text = shown(folder + "/nanorc", folder + "/a.qrt")
    complaints = re.findall(r"(?:Error|Mistakes|Warning) in[^\r\n]*", text)
    colours = {}
    for word in ("REM remark", "WRITE", '"quoted"', "lastword"):
        found = re.search(r"((?:\x1b[^a-zA-Z]*[a-zA-Z])*)" + re.escape(word), text)
        colours[word] = found and "".join(re.findall(r"\x1b\[([\d;]+)m", found.group(1)))
    if not complaints and None not in colours.values() and len(set(colours.values())) == len(colours):
        return 0
    print(complaints, colours, repr(text))
    return 1


if __name__ == "__main__":
    sys.exit(main())
