"""install.py SOURCE_DIR BUILD_DIR PREFIX: what `cmake --install` puts below the prefix works, and `uninstall` takes all
of it away. Everything is installed below a temporary folder (DESTDIR), so that the machine stays as it is.

In a private mount namespace, where the kernel allows one, the system's own catalogues are out of sight."""
import glob
import os
import subprocess
import sys
import tempfile

from example import Sample, check_example
from search_paths import search_paths

CONSUMER = """cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C)
find_package(qrtscript 1.0 REQUIRED)
add_executable(login login.c)
target_link_libraries(login PRIVATE qrtscript::qrtscript)
"""
SYSTEM_CATALOGUES = "/usr/share/locale"


class Installation:
    def __init__(self, source, build, prefix, folder, hidden):
        self.source, self.build, self.prefix, self.folder, self.hidden = source, build, prefix, folder, hidden
        self.destination = folder + "/destination"
        self.root = self.destination + prefix
        self.environment = {"PATH": "/usr/local/bin:/usr/bin:/bin", "DESTDIR": self.destination, "LC_ALL": "C.UTF-8",
                            "PKG_CONFIG_PATH": self.root + "/lib/pkgconfig"}
        self.complaints = []

    def command(self, *words):
        done = subprocess.run(words, env=self.environment, capture_output=True, text=True, cwd=self.folder)
        if done.returncode != 0:
            raise RuntimeError(f"{words}: {done.stdout}{done.stderr}")
        return done.stdout

    def standing(self):
        """All files and folders at the destination."""
        return sorted(f"{folder}/{name}" for folder, folders, files in os.walk(self.destination)
                      for name in folders + files)

    def check_search_paths(self):
        for path, elements in search_paths(self.root):
            program = os.path.dirname(path) in (self.root + "/bin", self.root + "/sbin")
            behind = os.path.dirname(path) == self.root + "/libexec/qrtscript"
            wanted = ["$ORIGIN/../lib"] if program else ["$ORIGIN/../../lib"] if behind else ["$ORIGIN"] if "qrtscript" in path else []
            if elements != wanted:
                self.complaints.append(f"{path} looks for its libraries in {elements}")

    def check_programs(self):
        """They start without help, and speak German."""
        sample, program = Sample(self.source, self.root + "/bin"), self.root + "/bin/qrtlogin"
        runs = {"a login": lambda language: sample.qrtlogin(program, LANGUAGE=language),
                "a wrong password": lambda language: sample.qrtlogin(program, "guess", LANGUAGE=language),
                "map": lambda language: sample.run([self.root + "/bin/map"], LANGUAGE=language)}
        for name, run in runs.items():
            english, german = run("en"), run("de")
            # A line that a script's program writes in German would not do.
            lines = [(shown + errors).split("\n")[0] for _, shown, errors in (english, german)]
            if english[0] != german[0] or english[0] not in (0, 2) or lines[0] == lines[1]:
                self.complaints.append(f"{name}\n--- in English\n{english}\n--- in German\n{german}")
        libraries = [line.split() for line in self.command("ldd", program).splitlines()]
        for name, _, path, *_ in filter(lambda words: "=>" in words, libraries):
            if name.startswith(("libqrtscript", "libzkclient", "libtreelogin")) and not os.path.samefile(
                    os.path.dirname(path), self.root + "/lib"):
                self.complaints.append(f"{program} loads {path}")

    def check_module(self):
        """A server is asked: what talks to it is found beside the libraries."""
        configuration = self.folder + "/servers.toml"
        with open(configuration, "w", encoding="utf-8") as file:
            file.write('[[tree]]\nname = "ACME"\nuris = ["ldap://127.0.0.1:1"]\nallow_cleartext_loopback = true\n')
        program = self.root + "/bin/qrtlogin"
        outcome = Sample(self.source, self.root + "/bin").qrtlogin(program, ZKCLIENT_CONF=configuration)
        if outcome[0] != 3 or "ldap://127.0.0.1:1: " not in outcome[2]:
            self.complaints.append(f"a login on servers: {outcome}")

    def check_manuals(self):
        """Each page is found by its name, those with a further name included."""
        for page in glob.glob(self.source + "/man/*.[1-8]*"):
            name, section = os.path.basename(page).removesuffix(".scd").rsplit(".", 1)
            words = ["man", "-M", self.root + "/share/man", section, name]
            shown = subprocess.run(words, env={**self.environment, "MANPAGER": "cat"}, capture_output=True, text=True)
            if shown.returncode != 0 or name not in shown.stdout:
                self.complaints.append(f"{words}: {shown.stdout}{shown.stderr}")

    def check_completions(self):
        """The shells of Debian find them below /usr/local and, fish, anywhere that XDG_DATA_DIRS names."""
        variables = {**self.environment, "HOME": self.folder,
                     "PATH": f"{self.root}/bin:/usr/bin:/bin", "XDG_DATA_DIRS": self.root + "/share"}
        for program in ("qrtlogin", "map", "qrtscript"):
            lines = {"bash": f'source {self.root}/share/bash-completion/completions/{program} && complete -p {program}',
                     "zsh": f'fpath=({self.root}/share/zsh/site-functions); autoload -Uz +X _{program}',
                     "fish": f'complete -C "{program} --he" | string match -q -- "--help*"'}
            for shell, line in lines.items():
                done = subprocess.run([shell, "-c", line], env=variables, capture_output=True, text=True)
                if done.returncode != 0 or done.stderr:
                    self.complaints.append(f"{shell} -c {line}: {done.stdout}{done.stderr}")

    def check_callers(self):
        """The example in C, compiled as its first lines say, and by CMake."""
        sample, program = Sample(self.source, self.root + "/bin"), self.root + "/bin/qrtlogin"
        example = self.source + "/examples/c/login.c"
        options = self.command("pkg-config", "--cflags", "--libs", "libqrtscript").split()
        self.command("cc", example, "-o", self.folder + "/login", *options)
        check_example(sample, self.folder + "/login", program, self.complaints.append,
                      LD_LIBRARY_PATH=self.root + "/lib")

        os.mkdir(self.folder + "/consumer")
        with open(self.folder + "/consumer/CMakeLists.txt", "w", encoding="utf-8") as file:
            file.write(CONSUMER)
        os.symlink(example, self.folder + "/consumer/login.c")
        build = self.folder + "/consumer/build"
        self.command("cmake", "-S", self.folder + "/consumer", "-B", build, "-G", "Ninja",
                     f"-DCMAKE_PREFIX_PATH={self.root}", "-DCMAKE_C_COMPILER_WORKS=ON")
        self.command("cmake", "--build", build)
        check_example(sample, build + "/login", program, self.complaints.append)
        self.check_german_caller(sample, build + "/login")

    def check_german_caller(self, sample, program):
        """For a caller the library goes by the system's catalogues, whatever the prefix."""
        if not self.hidden:
            print("the kernel allows no private mount namespace: no caller was run in German")
            return
        def first_line(language):  # The programs of the scripts have catalogues of their own.
            return sample.example(program, LANGUAGE=language)[1].split("\n")[0]
        english, german = first_line("en"), first_line("de")
        if english != german:
            self.complaints.append(f"a caller finds catalogues that are not the system's: {german}")
        subprocess.run(["mount", "--bind", self.root + "/share/locale", SYSTEM_CATALOGUES], check=True)
        german = first_line("de")
        subprocess.run(["umount", SYSTEM_CATALOGUES], check=True)
        if english == german:
            self.complaints.append(f"a caller in German: {german}")

    def check(self):
        # Something of others stands there already.
        os.makedirs(self.root + "/lib/pkgconfig")
        with open(self.root + "/lib/others", "w", encoding="utf-8"):
            before = self.standing()
        for _ in range(2):
            self.command("cmake", "--install", self.build, "--prefix", self.prefix)
        self.check_search_paths()
        self.check_programs()
        self.check_module()
        self.check_manuals()
        self.check_completions()
        self.check_callers()
        self.command("cmake", "--build", self.build, "--target", "uninstall")
        if self.standing() != before:
            self.complaints.append(f"uninstall left {set(self.standing()) ^ set(before)}")


def enter_namespace():
    for namespaces in ("-Urm", "-m"):
        words = ["unshare", namespaces, "sh", "-c", f"mount -t tmpfs none {SYSTEM_CATALOGUES} && exec \"$@\"", "sh"]
        if subprocess.run([*words, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            os.execvp(words[0], [*words, sys.executable, "-B", __file__, "--hidden", *sys.argv[1:]])


def main():
    hidden = sys.argv[1] == "--hidden"
    if not hidden:
        enter_namespace()
    source, build, prefix = sys.argv[-3:]
    with tempfile.TemporaryDirectory() as folder:
        installation = Installation(source, build, prefix, os.path.realpath(folder), hidden)
        installation.check()
    print("\n".join(installation.complaints))
    return 1 if installation.complaints else 0


if __name__ == "__main__":
    sys.exit(main())
