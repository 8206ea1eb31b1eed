"""components.py SOURCE_DIR BUILD_DIR: what needs a window toolkit is a component of its own; everything else is installed
without it, and is built where there is none, which the build says."""
import glob
import os
import subprocess
import sys
import tempfile

TOOLKIT = ("libgtk", "libgdk", "libglib", "libgobject", "libgio", "libX11", "libwayland")
WINDOW_PROGRAMS = {"/usr/libexec/qrtscript/qrt-prompt-window", "/usr/libexec/qrtscript/qrt-login-window"}
# What a desktop knows of the login by.
DESKTOP_FILES = {f"/usr/share/{place}/org.libqrtscript.qrtlogin.{kind}" for place, kind in (
    ("applications", "desktop"), ("icons/hicolor/scalable/apps", "svg"), ("metainfo", "metainfo.xml"))}
LEFT_OUT = "the windows of the prompts are left out"


def run(*words, **variables):
    done = subprocess.run(words, env={**os.environ, **variables}, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{words}: {done.stdout}{done.stderr}")
    return done.stdout


def complaint_of(build, folder):
    """What the installed library says about a window on a display that there is not."""
    variables = {"LD_LIBRARY_PATH": folder + "/usr/lib", "DISPLAY": ":4711", "PATH": "/usr/bin:/bin"}
    done = subprocess.run([build + "/tests/installed_asker", "pause"], env=variables, capture_output=True, text=True,
                          stdin=subprocess.DEVNULL, start_new_session=True)
    return done.stderr.strip().removeprefix("installed_asker: cannot ask in a window: ")


def installed(build, folder, *components):
    """The files that the components put below `folder`, without it, with the libraries of a toolkit that each needs; and
    what the library says then. Then they are uninstalled again."""
    for component in components:
        run("cmake", "--install", build, "--prefix", "/usr", "--component", component, DESTDIR=folder)
    paths = [f"{parent}/{name}" for parent, _, names in os.walk(folder) for name in names]
    said = complaint_of(build, folder) if "base" in components else ""
    needed = {path[len(folder):]: toolkits_of(path) for path in paths if not os.path.islink(path)}
    run("cmake", "--build", build, "--target", "uninstall", DESTDIR=folder)
    if any(names for _, _, names in os.walk(folder)):
        raise RuntimeError(f"uninstalling {components} has left something")
    return needed, said


def toolkits_of(path):
    """The libraries of a toolkit that a file needs at its start."""
    with open(path, "rb") as file:
        if file.read(4) != b"\x7fELF":
            return []
    dynamic = run("readelf", "-dW", path)
    return [line for line in dynamic.splitlines() if "(NEEDED)" in line and any(name in line for name in TOOLKIT)]


def check_components(build, folder):
    base, said = installed(build, folder, "base")
    if said != f"cannot run {folder}/usr/lib/../libexec/qrtscript/qrt-prompt-window: No such file or directory":
        yield f"without the windows the library says: {said}"
    windows, _ = installed(build, folder, "windows")
    both, said = installed(build, folder, "base", "windows")
    if said != "the display cannot be opened":
        yield f"with the windows the library says: {said}"
    with_toolkit = [path for path, libraries in base.items() if libraries]
    if with_toolkit or len(base) < 20:
        yield f"the component base has {len(base)} files, of which {with_toolkit} need a toolkit"
    if set(windows) != WINDOW_PROGRAMS | DESKTOP_FILES or not all(windows[path] for path in WINDOW_PROGRAMS):
        yield f"the component windows is {windows}"
    if set(both) != set(base) | set(windows):
        yield f"both components together are {set(both) ^ (set(base) | set(windows))}"


def without_gtk(folder):
    """A folder with what pkg-config knows on this machine, but for GTK."""
    known = folder + "/known"
    os.mkdir(known)
    for path in run("pkg-config", "--variable", "pc_path", "pkg-config").strip().split(":"):
        for file in glob.glob(path + "/*.pc"):
            name = os.path.basename(file)
            if not name.startswith("gtk4") and not os.path.lexists(f"{known}/{name}"):
                os.symlink(file, f"{known}/{name}")
    return known


def check_builds_without_windows(source, folder):
    ways = {"is not installed": ({"PKG_CONFIG_LIBDIR": without_gtk(folder)}, []),
            "QRT_WINDOWS is off": ({}, ["-DQRT_WINDOWS=OFF"])}
    for number, (reason, (variables, options)) in enumerate(ways.items()):
        build = f"{folder}/build{number}"
        said = run("cmake", "-S", source, "-B", build, "-G", "Ninja", "-DQRT_TESTS=OFF", *options, **variables)
        if not any(reason in line and LEFT_OUT in line for line in said.splitlines()):
            yield f"the build does not say that {reason}: {said}"
        targets = run("ninja", "-C", build, "-t", "targets", "all")
        if "qrt-prompt-window" in targets or "qrt-login-window" in targets:
            yield f"the build has the windows though {reason}"


def main():
    source, build = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="qrt-components-") as folder:
        os.mkdir(folder + "/destination")
        complaints = [*check_components(build, folder + "/destination"), *check_builds_without_windows(source, folder)]
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
