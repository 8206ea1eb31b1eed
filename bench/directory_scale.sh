#!/bin/bash
# A login in the sample tree against one in a tree of 100,000 users and 5,000 groups with the user in 1,000 of them: over
# slapd, side by side in one run, and in the embedded LDIF tree.
#   bench/directory_scale.sh [BUILD_FOLDER]      default: build/release
# Each time is the median of the runs. Servers listen on 127.0.0.1 and end with the script.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build/release}" && pwd)
runs=31
folder=$(mktemp -d)
servers=
trap 'kill $servers 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$folder"' EXIT
echo sunflower >"$folder/password"

sample_ldif() {
    sed -e '/^version:/d' -e "s|:< file:|:< file://$PWD/examples/acme/|" examples/acme/acme.ldif
}
more_people() {
    awk 'BEGIN {
        for (o = 0; o < 100; o++) printf "\ndn: ou=dept%d,o=acme\nobjectClass: organizationalUnit\nou: dept%d\n", o, o
        for (u = 0; u < 100000; u++)
            printf "\ndn: cn=user%d,ou=dept%d,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: user%d\nsn: User\ndisplayName: User %d\ntelephoneNumber: +1 555 %06d\nqrtHomeDirectory: 0#cn=SRV1_USERS,o=acme#home/user%d\n", u, u % 100, u, u, u, u
        for (g = 0; g < 5000; g++) {
            printf "\ndn: cn=group%d,ou=dept%d,o=acme\nobjectClass: groupOfNames\ncn: group%d\n", g, g % 100, g
            if (g % 5 == 0) print "member: cn=jdoe,ou=sales,o=acme"
            for (m = 0; m < 20; m++) { u = (g * 20 + m) % 100000; printf "member: cn=user%d,ou=dept%d,o=acme\n", u, u % 100 }
        }
    }'
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
    until (: >"/dev/tcp/127.0.0.1/$2") 2>/dev/null; do sleep 0.1; done
    printf '[[tree]]\nname = "ACME"\nuris = ["ldap://127.0.0.1:%s"]\nsearch_base = "o=acme"\ndefault_server = "SRV1"\nallow_cleartext_loopback = true\n' "$2" >"$folder/$1.toml"
}
login() { # NAME: microseconds
    local home=$folder/home start
    rm -rf "$home" && mkdir "$home"
    start=$(date +%s%N)
    HOME=$home ZKCLIENT_CONF=$folder/$1.toml "$build/qrtlogin" --password-fd 3 jdoe.sales.acme 3<"$folder/password" >"$folder/$1.out"
    echo $((($(date +%s%N) - start) / 1000))
}
median() { sort -n | awk '{ t[NR] = $1 } END { print t[int((NR + 1) / 2)] }'; }
operations() { # NAME
    grep -cE 'op=[0-9]+ (SRCH base|BIND dn=.* method=|EXT oid|UNBIND)' "$folder/$1.log"
}

sample_ldif >"$folder/small.ldif"
{ sample_ldif; more_people; } >"$folder/large.ldif"
start_slapd small 38901
start_slapd large 38902
for name in small large; do
    login $name >/dev/null # fills the server's caches
    : >"$folder/$name.log.start"
    before=$(operations $name)
    login $name >/dev/null
    sleep 0.2
    echo "$name: $(($(operations $name) - before)) operations for a login"
done
cmp "$folder/small.out" "$folder/large.out" && echo "both logins write the same"
for ((i = 0; i < runs; i++)); do # in turn, so that a busy moment meets both
    login small >>"$folder/small.times"
    login large >>"$folder/large.times"
done
small=$(median <"$folder/small.times")
large=$(median <"$folder/large.times")
awk -v s="$small" -v l="$large" 'BEGIN { printf "slapd: small tree %.1f ms, large tree %.1f ms, ratio %.2f\n", s / 1000, l / 1000, l / s }'

sed "s|:< file://$PWD/examples/acme/|:< file:|" "$folder/large.ldif" >"$folder/embedded.ldif"
cp -r examples/acme/scripts "$folder/"
printf '[[tree]]\nname = "ACME"\nldif = "embedded.ldif"\ndefault_server = "SRV1"\n' >"$folder/embedded.toml"
mkdir -p "$folder/home"
touch "$folder/empty.qrt"
HOME=$folder/home ZKCLIENT_CONF=$folder/embedded.toml python3 - "$build/qrtlogin" "$folder" <<'PY'
import os, resource, subprocess, sys, time
login, folder = sys.argv[1:]
start = time.monotonic()
with open(folder + "/password") as password:
    subprocess.run([login, "--password-fd", "0", "--login-script=" + folder + "/empty.qrt", "jdoe.sales.acme"],
                   stdin=password, stdout=subprocess.DEVNULL, check=True)
took = time.monotonic() - start
print(f"embedded: a login in the large tree {took:.2f} s, {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024} MB")
PY
