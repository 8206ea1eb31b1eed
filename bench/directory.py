"""Whole logins: the goals W6 and W7, on a directory server of its own and in an LDIF file, and one in a large file."""
import base64
import glob
import os
import re
import shutil
import signal
import subprocess
import sys
import time

from side_by_side import KNOWN_CHILDREN, Command, Goal, compare, compare_lines, read, row

HASH = "$y$j9T$mN4bV7cX1zL9kJ6hG3fD8.$W31TyM9CQLbszQnS0puYkBsouOIKUqpq2vZLlZHofJA"  # of "gardenia"


def entry(dn, **values):
    """An entry's LDIF; a value with line ends in base64."""
    lines = [f"dn: {dn}"]
    for name, value in values.items():
        for one in value if isinstance(value, list) else [value]:
            lines.append(f"{name}:: {base64.b64encode(one.encode()).decode()}" if "\n" in one else f"{name}: {one}")
    return "\n".join(lines) + "\n\n"


def site(groups, passwords):
    """A site of one user, who is in so many groups."""
    user = "cn=anna,ou=staff,o=site"
    text = entry("o=site", objectClass="organization", o="site")
    text += entry("ou=staff,o=site", objectClass="organizationalUnit", ou="staff")
    text += entry("cn=SRV,o=site", objectClass="qrtServer", cn="SRV", qrtNetworkAddress="9#020C0A000001")
    text += entry("cn=SRV_DATA,o=site", objectClass="qrtVolume", cn="SRV_DATA", qrtHostServer="cn=SRV,o=site",
                  qrtHostResourceName="DATA")
    text += entry(user, objectClass=["inetOrgPerson", "qrtUser"], cn="anna", sn="Meier", displayName="Anna Meier",
                  userPassword=passwords)
    for number in range(1, groups + 1):
        text += entry(f"cn=G{number},ou=staff,o=site", objectClass="groupOfNames", cn=f"G{number}", member=user)
    return text


def set_copies(homes, age):
    """Makes all copies of the site in these homes so many seconds old, or removes them."""
    for path in glob.glob(homes + "/.cache/brasca-zk/*.ldif"):
        if age is None:
            os.unlink(path)
            continue
        text = read(path)
        with open(path, "wb") as file:
            file.write(re.sub(rb"^(# zkclient copy 1 )\d+", rb"\g<1>%d" % (time.time() - age), text))


class Server:
    """slapd with a site, on a port of the loopback interface; `source` is the server that it is a replica of, and with
    `logs` its log counts its operations, which takes a fifth of its time."""

    def __init__(self, root, folder, name, port, ldif, source=None, logs=True):
        self.folder, self.uri = f"{folder}/{name}", f"ldap://127.0.0.1:{port}"
        os.mkdir(self.folder)
        os.mkdir(self.folder + "/data")
        schemas = "".join(f"include /etc/ldap/schema/{one}.schema\n" for one in ("core", "cosine", "inetorgperson"))
        with open(self.folder + "/slapd.conf", "w") as file:
            file.write(f"modulepath /usr/lib/ldap\nmoduleload back_mdb\nmoduleload syncprov\n{schemas}"
                       f"include {root}/platform/client/schema/qrt.schema\nloglevel {'stats' if logs else 'none'}\n"
                       "sizelimit 20000\ndatabase monitor\n"
                       f"database mdb\nsuffix o=site\nmaxsize 1073741824\ndirectory {self.folder}/data\n"
                       "rootdn cn=admin,o=site\nrootpw admin\n"
                       "index objectClass,cn,uid,ou,o,member,uniqueMember,entryUUID,entryCSN eq\n"
                       "access to attrs=userPassword by anonymous auth by * none\naccess to * by * read\n"
                       "overlay syncprov\n")
            if source is not None:
                file.write(f"syncrepl rid=001 provider={source.uri} type=refreshAndPersist searchbase=o=site "
                           "bindmethod=simple binddn=cn=admin,o=site credentials=admin retry=\"1 +\"\n"
                           f"updateref {source.uri}\n")
        with open(self.folder + "/site.ldif", "w") as file:
            file.write(ldif)
        with open(self.folder + "/add.log", "w") as log:
            subprocess.run(["/usr/sbin/slapadd", "-q", "-f", self.folder + "/slapd.conf", "-l",
                            self.folder + "/site.ldif"], check=True, stderr=log)
        self.log = open(self.folder + "/log", "w")
        self.process = subprocess.Popen(["/usr/sbin/slapd", "-f", self.folder + "/slapd.conf", "-h", self.uri, "-d",
                                         "256" if logs else "0"], stderr=self.log)
        KNOWN_CHILDREN.add(self.process.pid)
        for _ in range(600):
            if subprocess.run(["ldapsearch", "-x", "-H", self.uri, "-b", "", "-s", "base"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False).returncode == 0:
                return
            time.sleep(0.05)
        with open(self.folder + "/log", errors="replace") as log:
            sys.exit("slapd does not start: " + "".join(log.readlines()[-3:]))

    def operations(self):
        time.sleep(0.3)  # the server writes its log when it likes
        with open(self.folder + "/log", errors="replace") as log:
            return sum(1 for line in log if re.search(r"op=\d+ (SRCH base|BIND dn=.* method=|EXT oid)", line))

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        self.log.close()


SCRIPT = ('WRITE "> %FULL_NAME, %SURNAME"\n'
          + "".join(f'IF MEMBER OF "G{n}" THEN WRITE "> in G{n}"\n' for n in range(1, 6))
          + "#/bin/true\n#/bin/true\nWRITE \"> done\"\n")

SHELL_ONE = r'''
found=$(ldapsearch -x -LLL -o ldif-wrap=no -H "$URI" -D "$DN" -w "$PASSWORD" -b o=site "(|(cn=anna)(member=$DN))" displayName sn cn)
groups=" "
while read -r name value; do
    case $name in displayName:) full=$value ;; sn:) surname=$value ;; cn:) groups="$groups$value " ;; esac
done <<END
$found
END
echo "> $full, $surname"
for n in 1 2 3 4 5; do case $groups in *" G$n "*) echo "> in G$n" ;; esac; done
/bin/true
/bin/true
echo "> done"
'''

SHELL_EACH = r'''
ask() { ldapsearch -x -LLL -o ldif-wrap=no -H "$URI" -D "$DN" -w "$PASSWORD" -b "$1" -s "$2" "$3" "$4" | sed -n "s/^$4: //p"; }
echo "> $(ask "$DN" base "(objectClass=*)" displayName), $(ask "$DN" base "(objectClass=*)" sn)"
for n in 1 2 3 4 5; do [ -z "$(ask o=site sub "(&(cn=G$n)(member=$DN))" cn)" ] || echo "> in G$n"; done
/bin/true
/bin/true
echo "> done"
'''

PERL = r'''
use Net::LDAP;
$| = 1;
my $server = Net::LDAP->new($ENV{URI}) or die;
die if $server->bind($ENV{DN}, password => $ENV{PASSWORD})->code;
my $user = $server->search(base => $ENV{DN}, scope => "base", filter => "(objectClass=*)")->entry(0);
print "> ", $user->get_value("displayName"), ", ", $user->get_value("sn"), "\n";
my %in = map { $_->get_value("cn") => 1 } $server->search(base => "o=site", filter => "(member=$ENV{DN})")->entries;
for (1 .. 5) { print "> in G$_\n" if $in{"G$_"} }
system "/bin/true";
system "/bin/true";
print "> done\n";
'''

PYTHON = r'''
import ldap, os, subprocess
server = ldap.initialize(os.environ["URI"])
server.simple_bind_s(os.environ["DN"], os.environ["PASSWORD"])
user = server.search_s(os.environ["DN"], ldap.SCOPE_BASE)[0][1]
print(f"> {user['displayName'][0].decode()}, {user['sn'][0].decode()}", flush=True)
groups = {one["cn"][0].decode() for _, one in server.search_s("o=site", ldap.SCOPE_SUBTREE, f"(member={os.environ['DN']})")}
for number in range(1, 6):
    if f"G{number}" in groups: print(f"> in G{number}", flush=True)
subprocess.run(["/bin/true"]); subprocess.run(["/bin/true"])
print("> done", flush=True)
'''

# Of a program's memory the peak, in kB. Linux counts what the starting process had as well: this one may have much.
PEAK = r'''
import os, sys
print(os.wait4(os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ), 0)[2].ru_maxrss)
'''


class Directory:
    def __init__(self, root, build, folder, quick):
        self.root, self.build, self.folder = root, build, folder
        self.rounds = 15 if quick else 41
        self.home = folder + "/home"
        self.write("password", "gardenia\n")

    def write(self, name, text):
        path = f"{self.folder}/{name}"
        with open(path, "w") as file:
            file.write(text)
        return path

    def login(self, configuration, script):
        """A login; its home stays from one to the next, as a user's does."""
        words = [self.build + "/qrtlogin", "--password-fd", "0", f"--login-script={script}", "anna.staff.site"]
        return Command(words, {"ZKCLIENT_CONF": configuration}, self.folder + "/password")

    def drive(self, configuration):
        return Command([self.build + "/map", "G:=SRV/DATA:G"], {"ZKCLIENT_CONF": configuration})

    def configuration(self, name, source):
        return self.write(name + ".toml", f'[[tree]]\nname = "SITE"\n{source}\ndefault_server = "SRV"\n')

    def over_ldap(self, server):
        return self.configuration("ldap", f'uris = ["{server.uri}"]\nsearch_base = "o=site"\n'
                                  "allow_cleartext_loopback = true")

    def environment(self, server):
        os.makedirs(self.home, exist_ok=True)
        return {"PATH": os.environ["PATH"], "LC_ALL": "C", "HOME": self.home, "URI": server.uri,
                "DN": "cn=anna,ou=staff,o=site", "PASSWORD": "gardenia"}

    def goals(self):
        self.whole_logins()
        self.many_groups()
        self.large_file()

    def whole_logins(self):
        server = Server(self.root, self.folder, "server", 38911, site(5, "gardenia"))
        try:
            self.compare_logins(server)
        finally:
            server.stop()

    def compare_logins(self, server):
        script, one = self.write("w6.qrt", SCRIPT), self.write("one.sh", SHELL_ONE)
        over_ldap = self.over_ldap(server)
        commands = {
            "C": [self.build + "/bench/limit_login", server.uri, "cn=anna,ou=staff,o=site", "gardenia", "o=site"],
            "this": self.login(over_ldap, script), "dash": ["dash", one], "bash": ["bash", one],
            "bash, each": ["bash", self.write("each.sh", SHELL_EACH)], "perl": ["perl", self.write("w6.pl", PERL)],
            "python": ["/usr/bin/python3", self.write("w6.py", PYTHON)],
        }
        environment = self.environment(server)
        compare_lines(commands, environment, b"> ")
        processor, elapsed = compare(commands, environment, self.rounds, same=False, elapsed=True,
                                     before=lambda: set_copies(self.home, 3600))  # of a login some time ago
        row("W6 a login on slapd", processor)
        row("W6 the same, elapsed", elapsed)
        Goal("W6: processor time, C = 1", processor["this"] / processor["C"], 1.15)
        Goal("W6: elapsed, C = 1", elapsed["this"] / elapsed["C"], 1.15)
        mapped = self.write("map.qrt", SCRIPT + "".join(f"MAP {drive}:=SRV/DATA:{drive}\n" for drive in "GHIJKLMNOP"))
        times, _ = compare({"without": self.login(over_ldap, script), "with 10 MAP": self.login(over_ldap, mapped)},
                           environment, self.rounds, same=False, elapsed=True)
        row("W6 with MAP", times)
        Goal("W6: a MAP line", (times["with 10 MAP"] - times["without"]) / 10, 1.5, "ms")
        self.write("site.ldif", site(5, "{CRYPT}" + HASH))
        embedded = self.configuration("embedded", 'ldif = "site.ldif"')
        times = compare({"empty": [self.build + "/bench/empty"], "slapd": self.drive(over_ldap),
                         "LDIF": self.drive(embedded)}, environment, self.rounds, same=False,
                        before=lambda: set_copies(self.home, 0))
        row("map, with a fresh copy", times)
        for tree in ("slapd", "LDIF"):
            Goal(f"map, {tree}: processor time, an empty C++ program = 1", times[tree] / times["empty"], 1.5)
        times, _ = compare({"this": self.login(embedded, script),
                            "hash": [self.build + "/bench/limit_hash", "gardenia", HASH]},
                           environment, self.rounds, same=False, elapsed=True)
        row("W6 a login in an LDIF file", times)
        Goal("W6: a login in an LDIF file, beside its hash and its programs", times["this"] - times["hash"], 3, "ms")

    def many_groups(self):
        server = Server(self.root, self.folder, "groups", 38912, site(5000, "gardenia"))
        try:
            tests = {count: self.login(self.over_ldap(server), self.write(
                f"w7-{count}.qrt", 'IF MEMBER OF "G4999" THEN WRITE "> in G4999"\n' * count)) for count in (1, 101)}
            operations = []
            compare({"first": tests[1]}, self.environment(server), 1, same=False)  # the next ones know the user's name
            for command in tests.values():
                before = server.operations()
                compare({"once": command}, self.environment(server), 1, same=False)
                operations.append(server.operations() - before)
            print(f"W7 operations of a login with one test and with 101: {operations[0]} and {operations[1]}")
            Goal("W7: operations for 100 further tests", operations[1] - operations[0], 0, "operations")
            times = compare({f"{count} tests": command for count, command in tests.items()}, self.environment(server),
                            self.rounds, same=False)
            row("W7 a user in 5,000 groups", times)
            Goal("W7: each value of each test", (times["101 tests"] - times["1 tests"]) / 100 / 5000 * 1000, 1, "us")
        finally:
            server.stop()

    def large_file(self):
        shutil.copytree(self.root + "/examples/acme/scripts", self.folder + "/scripts")
        with open(self.folder + "/large.ldif", "w") as file:
            subprocess.run(["sed", "/^version:/d", self.root + "/examples/acme/acme.ldif"], stdout=file, check=True)
            subprocess.run(["/usr/bin/python3", self.root + "/bench/large_tree.py"], stdout=file, check=True)
        self.write("large.toml", '[[tree]]\nname = "ACME"\nldif = "large.ldif"\ndefault_server = "SRV1"\n')
        words = [self.build + "/qrtlogin", "--password-fd", "0", "--login-script=" + self.write("empty.qrt", ""),
                 "jdoe.sales.acme"]
        login = Command(words, {"ZKCLIENT_CONF": self.folder + "/large.toml"}, self.write("sunflower", "sunflower\n"))
        os.makedirs(self.home, exist_ok=True)
        environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "HOME": self.home}
        times = compare({"this": login}, environment, self.rounds // 3, same=False)
        row("a login in a large LDIF file", times)
        Goal("an LDIF file of 100,000 users: processor time", times["this"] / 1000, 0.3, "s")
        with open(login.typed) as typed:
            done = subprocess.run(["/usr/bin/python3", "-c", PEAK, *login], stdin=typed, env=environment | login.variables,
                                  stdout=subprocess.PIPE, check=True)
        Goal("an LDIF file of 100,000 users: memory", int(done.stdout.split()[-1]) / 1024, 60, "MB")
