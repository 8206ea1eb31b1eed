#!/bin/bash
# A login in the sample tree against one in a tree of 100,000 users and 5,000 groups with the user in 1,000 of them: over
# slapd, side by side in one run, and in the embedded LDIF tree.
#   bench/directory_scale.sh [BUILD_FOLDER]      default: build/release
# The runs go in turn, so that a busy moment meets both trees; medians and minima are told, and the processor time of
# the client and the server, which other programs on the machine hardly change. Servers listen on 127.0.0.1 and end with
# the script. Exit status 1: a login in the large tree takes a fifth more time than one in the small tree, or the LDIF
# tree more than 0.3 seconds of processor time or 60 MB.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build/release}" && pwd)
runs=${RUNS:-41}
folder=$(mktemp -d)
servers=
trap 'kill $servers 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$folder"' EXIT
echo sunflower >"$folder/password"

sample_ldif() {
    sed -e '/^version:/d' -e "s|:< file:|:< file://$PWD/examples/acme/|" examples/acme/acme.ldif
}
start_slapd() { # NAME PORT
    mkdir "$folder/$1"
    {
        printf 'modulepath /usr/lib/ldap\nmoduleload back_mdb\n'
        printf 'include /etc/ldap/schema/%s.schema\n' core cosine inetorgperson
        printf 'include %s/platform/client/schema/qrt.schema\n' "$PWD"
        printf 'loglevel stats\nsizelimit 20000\ndatabase mdb\nsuffix o=acme\nmaxsize 2147483648\ndirectory %s/%s\n' "$folder" "$1"
        printf 'index objectClass,cn,uid,ou,o,member,uniqueMember eq\n'
        printf 'access to attrs=userPassword by anonymous auth by * none\naccess to * by * read\n'
    } >"$folder/$1.conf"
    /usr/sbin/slapadd -q -f "$folder/$1.conf" -l "$folder/$1.ldif"
    /usr/sbin/slapd -f "$folder/$1.conf" -h "ldap://127.0.0.1:$2" -d 256 2>"$folder/$1.log" &
    servers="$servers $!"
    echo $! >"$folder/$1.pid"
    until (: >"/dev/tcp/127.0.0.1/$2") 2>/dev/null; do sleep 0.1; done
    printf '[[tree]]\nname = "ACME"\nuris = ["ldap://127.0.0.1:%s"]\nsearch_base = "o=acme"\ndefault_server = "SRV1"\nallow_cleartext_loopback = true\n' "$2" >"$folder/$1.toml"
}
sample_ldif >"$folder/small.ldif"
{ sample_ldif; python3 bench/large_tree.py; } >"$folder/large.ldif"
start_slapd small 38901
start_slapd large 38902
sed "s|:< file://$PWD/examples/acme/|:< file:|" "$folder/large.ldif" >"$folder/embedded.ldif"
cp -r examples/acme/scripts "$folder/"
printf 'trace = true\n[[tree]]\nname = "ACME"\nldif = "embedded.ldif"\ndefault_server = "SRV1"\n' >"$folder/embedded.toml"
python3 - "$build/qrtlogin" "$folder" "$runs" <<'PY'
import os, re, resource, shutil, statistics, subprocess, sys, time

program, folder, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])


def login(tree, *words):
    """Wall and processor seconds of one login in a fresh home, and what it wrote."""
    home = folder + "/home"
    shutil.rmtree(home, ignore_errors=True)
    os.mkdir(home)
    surroundings = dict(os.environ, HOME=home, ZKCLIENT_CONF=f"{folder}/{tree}.toml")
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    with open(folder + "/password") as password:
        done = subprocess.run([program, "--password-fd", "0", *words, "jdoe.sales.acme"], stdin=password,
                              capture_output=True, env=surroundings, check=True)
    took, after = time.monotonic() - start, resource.getrusage(resource.RUSAGE_CHILDREN)
    return took, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, done


def server_seconds(tree):
    pid = open(f"{folder}/{tree}.pid").read().strip()
    threads = os.listdir(f"/proc/{pid}/task")
    return sum(int(open(f"/proc/{pid}/task/{t}/schedstat").read().split()[0]) for t in threads) / 1e9


def logged(tree, what):
    with open(f"{folder}/{tree}.log", errors="replace") as log:
        return sum(1 for line in log if re.search(what, line))


def operations_of_one(tree):
    operation = r"op=\d+ (SRCH base|BIND dn=.* method=|EXT oid|UNBIND)"
    before, ends = logged(tree, operation), logged(tree, "UNBIND")
    login(tree)
    while logged(tree, "UNBIND") == ends:  # the server writes when it likes
        time.sleep(0.05)
    return logged(tree, operation) - before


trees = ("small", "large")
written = [login(tree)[2].stdout for tree in trees]  # fills the servers' caches
time.sleep(1)  # their last lines of the log
if written[0] != written[1]:
    sys.exit("the two logins write different things")
for tree in trees:
    print(f"{tree}: {operations_of_one(tree)} operations for a login")
wall, client, server = ({tree: [] for tree in trees} for _ in range(3))
for _ in range(runs):
    for tree in trees:
        before = server_seconds(tree)
        took, processor, _ = login(tree)
        wall[tree].append(took * 1000)
        client[tree].append(processor * 1000)
        server[tree].append((server_seconds(tree) - before) * 1000)


def row(what, times, best):
    small, large = best(times["small"]), best(times["large"])
    print(f"{what}: small tree {small:.1f} ms, large tree {large:.1f} ms, ratio {large / small:.2f}")
    return large / small


both = {tree: [c + s for c, s in zip(client[tree], server[tree])] for tree in trees}
row("processor time of the client, median", client, statistics.median)
row("processor time of the server, median", server, statistics.median)
work = row("processor time of both, median", both, statistics.median)
row("time, minimum", wall, min)
growth = row("time, median", wall, statistics.median)

open(folder + "/empty.qrt", "w").close()
took, processor, done = login("embedded", "--login-script=" + folder + "/empty.qrt")
megabytes = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024
print("embedded: " + done.stderr.decode().strip())
print(f"embedded: a login in the large tree {took:.2f} s, {processor:.2f} s of processor time, {megabytes} MB")
print(f"a login in the large tree takes {growth:.2f} times as long as in the small one ({work:.2f} times the work)")
sys.exit(max(growth, work) >= 1.2 or processor > 0.3 or megabytes > 60)
PY
