"""A desktop of the tests' own: a display without a screen, a D-Bus session, the accessibility bus, and the programs that
ask on it. Windows are read and pressed through the accessibility tree, and typed into as a keyboard does.

    with Desktop("x11", build) as desktop:
        asked = desktop.ask("login", "ACME", "jdoe")
        asked.type("sun flower\\n")
        print(asked.answer())
"""
import contextlib
import fcntl
import glob
import os
import pwd
import re
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time

PATIENCE = 60  # seconds until what a test waits for counts as missing: no outcome depends on it
ISOLATES = {ord("\u2068"): None, ord("\u2069"): None}


def is_running(pid, name=""):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as file:
            before, _, rest = file.read().rpartition(")")
            return rest.split()[0] != "Z" and before.endswith(name)
    except OSError:
        return False


def wait_for(what, found, patience=PATIENCE):
    """The first true value that `found` returns."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        value = found()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError(f"waited in vain for {what}")


class Desktop:
    def __init__(self, kind, build, size="1000x700", accessible=True, **variables):
        self.kind, self.build, self.size, self.accessible = kind, build, size, accessible
        self.processes = []
        self.qrtlogin = build + "/qrtlogin"
        self.folder = tempfile.mkdtemp(prefix="qrt-windows-")
        os.chmod(self.folder, 0o700)
        self.environment = {
            "PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": self.folder, "LANG": "C.UTF-8", "XDG_RUNTIME_DIR": self.folder,
            "GSK_RENDERER": "cairo", "GSETTINGS_BACKEND": "memory", "GDK_BACKEND": kind, "TZ": "UTC", **variables}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]

    def __enter__(self):
        try:
            self.start_bus()
            self.start_display()
            if self.accessible:
                self.start_accessibility()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        # With what each has started: the accessibility bus is a process of its launcher's.
        for process in reversed(self.processes):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, *words, **options):
        quiet = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        process = subprocess.Popen(words, env=self.environment, cwd="/", start_new_session=True,
                                   **{**quiet, **options})
        self.processes.append(process)
        return process

    def start_bus(self):
        address = f"unix:path={self.folder}/bus"
        bus = self.start("dbus-daemon", "--session", "--nofork", "--nosyslog", "--print-address=1",
                         f"--address={address}", stdout=subprocess.PIPE)
        bus.stdout.readline()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address

    def start_display(self):
        if self.kind == "x11":
            self.display = self.start("Xvfb", "-displayfd", "1", "-screen", "0", f"{self.size}x24", "-nolisten", "tcp",
                                      "-noreset", stdout=subprocess.PIPE)
            self.environment["DISPLAY"] = ":" + self.display.stdout.readline().decode().strip()
            return
        # The compositor refuses to be root's.
        other = {}
        runtime = self.folder
        if os.geteuid() == 0:
            nobody = pwd.getpwnam("nobody")
            other = {"user": nobody.pw_uid, "group": nobody.pw_gid, "extra_groups": []}
            os.chmod(self.folder, 0o755)
            runtime = self.folder + "/wayland"
            os.mkdir(runtime, 0o700)
            os.chown(runtime, nobody.pw_uid, nobody.pw_gid)
        with open(self.folder + "/sway.conf", "w", encoding="utf-8") as file:
            file.write(f"output HEADLESS-1 resolution {self.size}\nfor_window [app_id=.*] floating enable\n")
        environment = {**self.environment, "WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1",
                       "WLR_RENDERER": "pixman", "XDG_RUNTIME_DIR": runtime, "HOME": runtime}
        self.display = subprocess.Popen(["sway", "-c", self.folder + "/sway.conf"], env=environment, cwd="/",
                                        start_new_session=True, **other, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.processes.append(self.display)
        self.runtime = runtime
        sockets = wait_for("the compositor", lambda: [path for path in glob.glob(runtime + "/wayland-*")
                                                      if not path.endswith(".lock")])
        self.environment["WAYLAND_DISPLAY"] = sockets[0]
        # A keyboard that stays: without one no window has the focus.
        self.start("wtype", "-s", "100000000", "-k", "Shift_L")

    def start_accessibility(self):
        self.start("/usr/libexec/at-spi-bus-launcher", "--launch-immediately", "--a11y=1")
        # The accessibility library reads it once, when it is loaded.
        os.environ.update(self.environment)
        os.environ.pop("GDK_BACKEND")
        global pyatspi, GLib
        import pyatspi
        from gi.repository import GLib
        wait_for("the accessibility bus", lambda: pyatspi.Registry.getDesktop(0) is not None)

    def run(self, *words):
        return subprocess.run(words, env=self.environment, capture_output=True, text=True, check=True).stdout

    def ask(self, *words, **settings):
        return Asked(self, words, **settings)

    def has_window(self, asked):
        """Whether the window is on the display; for a desktop without the accessibility bus, too."""
        if self.kind == "x11":
            return asked.visible_window()
        return '"app_id"' in self.run("swaymsg", "-s", glob.glob(self.runtime + "/sway-ipc.*")[0], "-t", "get_tree")


class Asked:
    """One program that asks, and the window in which it does."""

    def __init__(self, desktop, words, program="asker", prefix=(), terminal=False, before=lambda: None, **variables):
        """`before` is called in the new process; a variable that is None is not set."""
        self.desktop = desktop
        self.has_keyboard = False
        self.found = None
        environment = {**desktop.environment, **variables}
        environment = {name: value for name, value in environment.items() if value is not None}
        # Both ends stay open: the program opens its own only for a question.
        self.terminal, self.others_terminal = os.openpty() if terminal else (None, None)

        def prepare():
            if terminal:
                fcntl.ioctl(self.others_terminal, termios.TIOCSCTTY, 0)
            before()
        self.process = subprocess.Popen([*prefix, os.path.join(desktop.build, "tests", program), *words], env=environment, text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        start_new_session=True, preexec_fn=prepare)
        desktop.processes.append(self.process)

    # ---- the processes ----

    def has_helper(self):
        """The process with the window, if there is one. (Its files in /proc are root's.)"""
        for path in glob.glob("/proc/[0-9]*/stat"):
            try:
                with open(path, encoding="ascii") as file:
                    pid, name, rest = re.match(r"(\d+) \((.*)\) (.*)", file.read()).groups()
            except (OSError, AttributeError, UnicodeDecodeError):
                continue
            state, parent = rest.split()[:2]
            if int(parent) in self.own_processes() and name == "qrt-prompt-wind" and state != "Z":
                return int(pid)
        return None

    def own_processes(self):
        """The program, or what it is started by and it."""
        pid = self.process.pid
        try:
            with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
                return {pid, *map(int, file.read().split())}
        except OSError:  # It has ended.
            return {pid}

    def helper(self):
        return wait_for("the program with the window", self.has_helper)

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def line(self, start):
        """Reads what the program writes up to a line that begins so."""
        for line in self.process.stdout:
            if line.startswith(start):
                return line.rstrip("\n")
        raise AssertionError(f"the program ended without '{start}': {self.process.stderr.read()}")

    def finish(self):
        """Everything that it has still to write, on both streams."""
        out, errors = self.process.communicate(timeout=PATIENCE)
        return out, errors

    def answer(self):
        """The line with the answer; nothing else may be wrong."""
        out, errors = self.finish()
        if errors:
            raise AssertionError(errors)
        lines = out.splitlines()
        if lines[0] != "before" or lines[-2] != "after":
            raise AssertionError(f"the caller's functions were not called: {lines}")
        return lines[-1]

    def answer_terminal(self, question, answer):
        """Waits for a question on the program's terminal, and types the answer."""
        shown = ""
        while question not in shown:
            shown += os.read(self.terminal, 1024).decode()
        os.write(self.terminal, answer.encode())

    # ---- the window ----

    def window(self):
        if self.found is None:
            self.found = self.look_for_window()
        return self.found

    def look_for_window(self):
        helper = self.helper()

        def of_helper():
            desktop = pyatspi.Registry.getDesktop(0)
            for application in desktop:
                if application is not None and application.get_process_id() == helper:
                    for window in application:
                        return window
            return None
        return wait_for("the window in the accessibility tree", of_helper)

    def parts(self, start=None):
        """All of the window, from the top."""
        start = start or self.window()
        start.clear_cache()
        yield start
        for part in start:
            if part is not None:
                yield from self.parts(part)

    def find(self, role, name=None):
        def found():
            for part in self.parts():
                if part.getRoleName() == role and (name is None or name in part.name.translate(ISOLATES)):
                    return part
            return None
        return wait_for(f"{role} '{name}'", found)

    def has(self, role, name):
        return any(part.getRoleName() == role and name in part.name.translate(ISOLATES) for part in self.parts())

    def press(self, name):
        self.act(self.find("push button", name), "click")

    def act(self, part, name):
        actions = part.queryAction()
        with contextlib.suppress(GLib.GError):  # The program may end before it has replied.
            actions.doAction([actions.getName(number) for number in range(actions.nActions)].index(name))

    def focus(self):
        """Gives the window the keyboard, as a window manager does, and waits until a part of it has the focus."""
        self.window()
        if self.desktop.kind == "x11":
            window = wait_for("the window on the display", lambda: self.visible_window())
            self.desktop.run("xdotool", "windowfocus", "--sync", window)
        part = wait_for("the focus", lambda: next((part for part in self.parts()
                                                   if part.getState().contains(pyatspi.STATE_FOCUSED)), None))
        self.has_keyboard = True
        return part

    def have_keyboard(self):
        if not self.has_keyboard:
            self.focus()

    def picture(self, path):
        """Writes a picture of the window, when it has drawn itself."""
        window = self.visible_window()
        before = None
        while True:
            # What is drawn from time to time, such as the text cursor, comes to the same thing again.
            self.desktop.run("import", "-window", window, "+dither", "-colors", "64", "-strip", "-define",
                             "png:exclude-chunks=date,time", "PNG8:" + path)
            with open(path, "rb") as file:
                picture = file.read()
            if picture == before:
                return
            before = picture
            time.sleep(0.1)

    def visible_window(self):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.helper())], text=True,
                               env=self.desktop.environment, capture_output=True, check=False).stdout.split()
        return found[-1] if found else None

    def type(self, text):
        """Types; a line end is the Enter key."""
        self.have_keyboard()
        words = []
        for part in text.splitlines(keepends=True):
            line = part.rstrip("\n")
            words += [line] if line else []
            words += ["-k", "Return"] if part.endswith("\n") else []
        self.press_keys(words)

    def key(self, name):
        """One key; with "alt+" before its name the two together."""
        self.have_keyboard()
        self.press_keys(["-k", name])

    def press_keys(self, words):
        if self.desktop.kind == "wayland":
            # A keyboard that is there for as long as this runs; the first key is lost while it is being made known.
            if words[-1].startswith("alt+"):
                words = ["-M", "alt", "-k", words[-1][-1], "-m", "alt"]
            self.desktop.run("wtype", "-k", "Shift_L", *words)
            return
        for option, word in zip([None, *words], words):
            if option == "-k":
                self.desktop.run("xdotool", "key", word)
            elif word != "-k":
                self.desktop.run("xdotool", "type", "--delay", "0", word)


class Login(Asked):
    """A qrtlogin --gui in the sample tree, and its window, whose process is nobody's child. A password that is not None
    comes through a descriptor; with a script, that is run in the place of the tree's."""

    def __init__(self, desktop, *words, password=None, script=None, **settings):
        sample = os.path.dirname(os.path.abspath(__file__)) + "/../../examples/acme/client.toml"
        self.home = tempfile.mkdtemp(dir=desktop.folder)
        self.window_process = None
        if script is not None:
            with open(self.home + "/script.qrt", "w", encoding="utf-8") as file:
                file.write(script)
            words = (f"--login-script={self.home}/script.qrt", *words)
        if password is not None:
            words = ("--password-fd=0", *words)
        super().__init__(desktop, ["--gui", *words], program=desktop.qrtlogin,
                         **{"ZKCLIENT_CONF": sample, "HOME": self.home, **settings})
        if password is not None:
            self.tell(password)

    def has_helper(self):
        """The process of the window, which is the only one on its desktop, unless it has ended."""
        if self.window_process is None:
            with contextlib.suppress(GLib.GError):
                for application in pyatspi.Registry.getDesktop(0):
                    if application is not None and is_running(application.get_process_id(), "qrt-login-windo"):
                        self.window_process = application.get_process_id()
        return self.window_process if self.window_process and is_running(self.window_process) else None

    def clean_up(self):
        self.process.kill()
        self.process.wait()
        if self.window_process and is_running(self.window_process):
            os.kill(self.window_process, signal.SIGKILL)
            self.closes()

    def closes(self):
        """Waits until the window has gone, with its last thread: until then its end of the conversation is open."""
        with contextlib.suppress(ProcessLookupError):
            process = os.pidfd_open(self.window_process)
            ended, _, _ = select.select([process], [], [], PATIENCE)
            os.close(process)
            if not ended:
                raise AssertionError("waited in vain for the end of the window")


@contextlib.contextmanager
def read_events(name):
    """What comes with the events of that name while the block runs: yields a function that returns it."""
    data = []

    def listen(event):
        data.append(event.any_data)

    def all_data():
        while GLib.MainContext.default().iteration(False):
            pass
        return data

    pyatspi.Registry.registerEventListener(listen, name)
    try:
        yield all_data
    finally:
        pyatspi.Registry.deregisterEventListener(listen, name)


def text_of(part):
    """The text that a screen reader can read of a part, None where there is none to read."""
    try:
        text = part.queryText()
    except NotImplementedError:
        return None
    return text.getText(0, text.characterCount)
