"""The morning: goal W11, hundreds of users who log in at the same time, on a server and its replica."""
import base64
import hashlib
import os
import shutil
import statistics
import subprocess
import sys
import time

from directory import Server, entry, set_copies
from side_by_side import Goal, read, row, time_of_left_children

BASE = "f94eccf"  # before the work on speed
TIME_LIMIT = 5  # client.toml's, in seconds
UNITS, TEAMS = 10, 6

SCRIPT = """WRITE "> %FULL_NAME of %LOGIN_CONTEXT"
IF MEMBER OF ".everybody.site" THEN WRITE "> everybody"
IF MEMBER OF ".managers.site" THEN WRITE "> manager"
IF MEMBER OF "team0" THEN WRITE "> team 0"
IF MEMBER OF "team1" THEN WRITE "> team 1"
SET HOME_FOLDER="%HOME_DIRECTORY"
"""


class User:
    def __init__(self, number):
        self.unit = f"unit{number % UNITS}"
        self.name, self.dn = f"user{number}.{self.unit}.site", f"cn=user{number},ou={self.unit},o=site"
        self.full_name = f"User {number}"
        self.manages = number % 5 == 0
        self.team_left_out = number % 7  # of those of the unit; some are in all

    def groups(self):
        return (["cn=everybody,o=site"] + ["cn=managers,o=site"] * self.manages
                + [f"cn=team{team},ou={self.unit},o=site" for team in range(TEAMS) if team != self.team_left_out])

    def expected(self):
        lines = [f"> {self.full_name} of {self.unit}.site", "> everybody"] + ["> manager"] * self.manages
        lines += [f"> team {team}" for team in (0, 1) if team != self.team_left_out]
        return lines + ["> profile"]


def site(users):
    """Units with scripts and profiles, users in some seven groups, servers with volumes, directory maps."""
    hashed = hashlib.sha1(b"gardeniasalt").digest() + b"salt"
    password = "{SSHA}" + base64.b64encode(hashed).decode()
    text = entry("o=site", objectClass=["organization", "qrtContainer"], o="site", qrtLoginScript=SCRIPT)
    for unit in {user.unit for user in users}:
        text += entry(f"ou={unit},o=site", objectClass=["organizationalUnit", "qrtContainer"], ou=unit,
                      qrtLoginScript=SCRIPT)
        text += entry(f"cn=profile,ou={unit},o=site", objectClass="qrtProfileObject", cn="profile",
                      qrtLoginScript='WRITE "> profile"\n')
    for server in (f"SRV{number}" for number in range(4)):
        text += entry(f"cn={server},o=site", objectClass="qrtServer", cn=server, qrtNetworkAddress="9#020C0A000001")
        for volume in ("SYS", "DATA", "USERS"):
            text += entry(f"cn={server}_{volume},o=site", objectClass="qrtVolume", cn=f"{server}_{volume}",
                          qrtHostServer=f"cn={server},o=site", qrtHostResourceName=volume)
    for number in range(6):
        text += entry(f"cn=MAP{number},o=site", objectClass="qrtDirectoryMap", cn=f"MAP{number}",
                      qrtPath=f"0#cn=SRV{number % 4}_DATA,o=site#apps/{number}")
    members = {}
    for user in users:
        common = user.dn.partition(",")[0].removeprefix("cn=")
        text += entry(user.dn, objectClass=["inetOrgPerson", "qrtUser"], cn=common, sn="User", givenName="U",
                      displayName=user.full_name, telephoneNumber="+1 555 0100", mail=f"{common}@site.example",
                      preferredLanguage="en", userPassword=password, qrtProfile=f"cn=profile,ou={user.unit},o=site",
                      qrtHomeDirectory=f"0#cn=SRV0_USERS,o=site#home/{common}")
        for group in user.groups():
            members.setdefault(group, []).append(user.dn)
    for group, dns in members.items():
        text += entry(group, objectClass="groupOfNames", cn=group.partition(",")[0].removeprefix("cn="), member=dns)
    return text


def processor_seconds(servers):
    seconds = 0
    for server in servers:
        tasks = f"/proc/{server.process.pid}/task"
        for thread in os.listdir(tasks):
            with open(f"{tasks}/{thread}/schedstat") as file:
                seconds += int(file.read().split()[0]) / 1e9
    return seconds


def base_build(root):
    """The program of the base commit, built when it is not there yet; None where the history is missing."""
    source, build = root + "/build/base/source", root + "/build/base/build"
    if not os.path.exists(build + "/qrtlogin"):
        git = shutil.which("git")
        archive = git and subprocess.run([git, "-C", root, "archive", BASE], capture_output=True, check=False)
        if not archive or archive.returncode != 0:
            return None
        print(f"building {BASE}", flush=True)
        os.makedirs(source, exist_ok=True)
        subprocess.run(["tar", "-x", "-C", source], input=archive.stdout, check=True)
        for command in (["cmake", "-S", source, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                         "-DQRT_TESTS=OFF"], ["cmake", "--build", build, "--target", "qrtlogin"]):
            subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    return build


class Qrtlogin:
    def __init__(self, name, build):
        self.name, self.build = name, build

    def words(self, user, _server):
        return [self.build + "/qrtlogin", "--password-fd", "0", user.name]

    @staticmethod
    def is_right(lines, user):
        return [line for line in lines if line.startswith("> ")] == user.expected()


class Limit(Qrtlogin):
    """The C program: a bind, the user and the groups."""

    def words(self, user, server):
        return [self.build + "/bench/limit_login", server.uri, user.dn, "gardenia", "o=site"]

    @staticmethod
    def is_right(lines, user):
        return lines == [f"> {user.full_name}, User", "> done"]


class Morning:
    """Each case of `goals` is a program and the age of the copies of the site that it finds: none at all for None."""

    def __init__(self, root, build, folder, quick):
        self.root, self.folder = root, folder + "/morning"
        self.users = [User(number) for number in range(100 if quick else 500)]
        self.at_a_time = 20 if quick else 50
        self.build = build
        os.mkdir(self.folder)
        with open(self.folder + "/password", "w") as file:
            file.write("gardenia\n")

    def start(self):
        server = Server(self.root, self.folder, "first", 38921, site(self.users), logs=False)
        self.servers = [server, Server(self.root, self.folder, "second", 38922, "", source=server, logs=False)]
        last = f"(member={self.users[-1].dn})"
        while len(self.found(self.servers[1], "o=site", last)) < len(self.users[-1].groups()):
            time.sleep(0.1)
        uris = [f'"{server.uri}"' for server in self.servers]
        for number, order in enumerate((uris, uris[::-1])):  # half of the workstations ask the replica first
            with open(f"{self.folder}/{number}.toml", "w") as file:
                file.write(f'[[tree]]\nname = "SITE"\nuris = [{", ".join(order)}]\nsearch_base = "o=site"\n'
                           f'default_server = "SRV0"\nallow_cleartext_loopback = true\ntime_limit = {TIME_LIMIT}\n')

    @staticmethod
    def found(server, base, what, *attributes):
        command = ["ldapsearch", "-x", "-LLL", "-H", server.uri, "-b", base, what, *(attributes or ["1.1"])]
        lines = subprocess.run(command, capture_output=True, check=False).stdout.decode().splitlines()
        return [line for line in lines if line.startswith((attributes or ["dn"])[0] + ":")]

    def operations(self):
        """What the servers have been asked, with a bind and a search for each of these questions."""
        counts = []
        for server in self.servers:
            lines = self.found(server, "cn=Operations,cn=Monitor", "(|(cn=Bind)(cn=Search)(cn=Extended))",
                               "monitorOpInitiated")
            counts += [int(line.split()[1]) for line in lines]
        if len(counts) != 3 * len(self.servers):
            sys.exit("the servers do not count their operations")
        return sum(counts)

    def home(self, build, number):
        return f"{self.folder}/{build.name}/{number}"

    def start_login(self, build, number):
        home = self.home(build, number)
        os.makedirs(home, exist_ok=True)
        files = [os.open(self.folder + "/password", os.O_RDONLY),
                 os.open(home + "/output", os.O_WRONLY | os.O_CREAT | os.O_TRUNC)]
        environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "HOME": home,
                       "ZKCLIENT_CONF": f"{self.folder}/{number % 2}.toml"}
        words = build.words(self.users[number], self.servers[number % 2])
        child = os.posix_spawn(words[0], words, environment, file_actions=[
            (os.POSIX_SPAWN_DUP2, files[min(descriptor, 1)], descriptor) for descriptor in range(3)])
        for file in files:
            os.close(file)
        return child

    def logins(self, build):
        """All users log in, so many at a time; returns the seconds that each took."""
        running, took, waiting = {}, [], list(range(len(self.users)))
        while waiting or running:
            while waiting and len(running) < self.at_a_time:
                number = waiting.pop(0)
                running[self.start_login(build, number)] = number, time.monotonic()
            child, status = os.wait()
            if child not in running:
                continue  # what has shown the output of a login that had ended
            number, start = running.pop(child)
            took.append(time.monotonic() - start)
            lines = read(f"{self.home(build, number)}/output").decode().splitlines()
            if status != 0 or not build.is_right(lines, self.users[number]):
                sys.exit(f"{self.users[number].name}, {build.name}: status {status}, {lines}")
        time_of_left_children()
        return took

    def set_copies(self, build, age):
        """Makes all copies of the site so many seconds old, or removes them."""
        set_copies(self.home(build, "*"), age)

    def measure(self, build, age):
        """Milliseconds of the servers and operations for a login, and the seconds that each login took."""
        self.set_copies(build, age)
        asked, used = self.operations(), processor_seconds(self.servers)
        took = self.logins(build)
        used = processor_seconds(self.servers) - used
        asked = self.operations() - asked - 2 * len(self.servers)
        return used * 1000 / len(self.users), asked / len(self.users), took

    def goals(self):
        base = base_build(self.root)
        this = Qrtlogin("this", self.build)
        cases = {"base": (Qrtlogin("base", base), 0)} if base is not None else {}
        cases |= {"this": (this, 0), "old copy": (this, 3600), "no copy": (this, None),
                  "C": (Limit("C", self.build), 0)}
        self.start()
        try:
            for name in ("base", "this"):
                if name in cases:
                    self.logins(cases[name][0])  # for the copies, and for what the servers keep in memory
            rounds = [{name: self.measure(*case) for name, case in cases.items()} for _ in range(3)]
        finally:
            for server in self.servers[::-1]:
                server.stop()
        self.report({name: [one[name] for one in rounds] for name in cases})

    @staticmethod
    def report(measured):
        times = {name: statistics.median(one[0] for one in rounds) for name, rounds in measured.items()}
        took = {name: [seconds for one in rounds for seconds in one[2]] for name, rounds in measured.items()}
        operations = {name: max(one[1] for one in rounds) for name, rounds in measured.items()}
        row("W11 us of the servers a login", {name: one * 1000 for name, one in times.items()})
        row("W11 logins a second and core", {name: 1000 / one for name, one in times.items()})
        for part in (50, 95, 99):
            row(f"W11 {part} % of the logins, ms", {name: statistics.quantiles(one, n=100)[part - 1] * 1000
                                                   for name, one in took.items()})
        row("W11 operations a login", operations)
        if "base" in times:
            Goal("W11: server processor time a login, the base commit = 1", times["this"] / times["base"], 1 / 3)
        else:
            Goal.not_measured += 1
            print(f"W11: the history of Git is not here: no goal for the servers' time beside that of {BASE}")
        Goal("W11: operations a login", operations["this"], 4, "operations")
        late = sum(one > TIME_LIMIT for one in took["this"])
        Goal("W11: logins that waited longer than time_limit", late, 0, "logins")
