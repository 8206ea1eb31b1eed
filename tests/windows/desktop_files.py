"""desktop_files.py SOURCE_DIR BUILD_DIR: what a desktop knows of the login by is valid, consistent, and installed with the
windows."""
import configparser
import glob
import os
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

NAME = "org.libqrtscript.qrtlogin"
FILES = {f"share/applications/{NAME}.desktop", f"share/icons/hicolor/scalable/apps/{NAME}.svg",
         f"share/metainfo/{NAME}.metainfo.xml"}


def run(*words, **variables):
    done = subprocess.run(words, env={**os.environ, **variables}, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{words}: {done.stdout}{done.stderr}")
    return done.stdout + done.stderr


def check(source, build, folder):
    base = f"{source}/share/{NAME}"
    complaints = run("desktop-file-validate", base + ".desktop")
    run("appstreamcli", "validate", "--no-net", base + ".metainfo.xml")
    run("rsvg-convert", "-o", folder + "/icon.png", base + ".svg")
    entry = configparser.RawConfigParser()
    entry.read(base + ".desktop", encoding="utf-8")
    program, *options = entry["Desktop Entry"]["Exec"].split()
    help_text = run(f"{build}/{program}", "--help", LC_ALL="C")
    complaints += "".join(f"{option} is not an option\n" for option in options if option not in help_text)
    if {entry["Desktop Entry"][key] for key in ("Icon", "StartupWMClass")} != {NAME}:
        complaints += "the icon or the window's class is not that of the entry\n"
    if xml.parse(base + ".metainfo.xml").findtext("launchable") != NAME + ".desktop":
        complaints += "the metadata start another entry\n"
    with open(f"{source}/tools/qrtlogin/window/main.cpp", encoding="utf-8") as file:
        if f'"{NAME}"' not in file.read():
            complaints += "the window has another name\n"
    run("cmake", "--install", build, "--prefix", folder, "--component", "windows", DESTDIR="")
    installed = {os.path.relpath(path, folder) for path in glob.glob(folder + "/share/**", recursive=True)
                 if os.path.isfile(path)}
    if installed != FILES:
        complaints += f"installed: {sorted(installed)}\n"
    run("cmake", "--build", build, "--target", "uninstall")
    return complaints


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as own:
        sys.exit(check(*sys.argv[1:], own) or 0)
