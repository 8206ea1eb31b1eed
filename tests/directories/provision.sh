#!/bin/bash
# Makes what the tests copy their servers from, below FOLDER: ad/ (a Samba domain controller) and ds/ (a 389 Directory
# Server), each with accounts in the states that a password can be in. README.md lists them. It works in a network of
# its own: when it ends nothing runs, and nothing outside FOLDER has been written.
#   tests/directories/provision.sh FOLDER
set -euo pipefail
[ "$(id -u)" -eq 0 ] || { echo "provision.sh: only root can start these servers" >&2; exit 77; }
if [ "${QRT_OWN_NETWORK-}" != yes ]; then
    exec env QRT_OWN_NETWORK=yes unshare -n -m -p --fork --kill-child --mount-proc --propagation private "$0" "$@"
fi
ip link set lo up
work=$1
rm -rf "$work"
mkdir -p "$work/tmp"
export TMPDIR=$work/tmp HOME=$work/tmp PYTHONDONTWRITEBYTECODE=1

quietly() { "$@" >"$work/tmp/log" 2>&1 || { echo "$* failed:" >&2; cat "$work/tmp/log" >&2; exit 1; }; }

certificate() { # FOLDER NAMES
    local tls=$1
    mkdir -p "$tls"
    quietly openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "$tls/ca.key" \
        -subj "/O=Acme/CN=Acme Test Authority" -addext keyUsage=keyCertSign -days 30 -out "$tls/ca.pem"
    quietly openssl req -newkey rsa:2048 -nodes -keyout "$tls/server.key" -subj /CN=server -out "$tls/server.csr"
    echo "subjectAltName=$2" >"$tls/names"
    quietly openssl x509 -req -in "$tls/server.csr" -CA "$tls/ca.pem" -CAkey "$tls/ca.key" -CAcreateserial -days 30 \
        -extfile "$tls/names" -out "$tls/server.pem"
    chmod 600 "$tls"/*.key
}

domain_controller() {
    local ad=$work/ad
    local tree="-s $ad/etc/smb.conf -H $ad/private/sam.ldb" user
    mkdir -p "$ad/run"
    certificate "$ad/tls" DNS:dc1.ad.example.test,DNS:ad.example.test,DNS:localhost,IP:127.0.0.1
    printf '[global]\n' >"$ad/in.conf"
    quietly samba-tool domain provision --configfile="$ad/in.conf" --targetdir="$ad" --realm=AD.EXAMPLE.TEST \
        --domain=ADTEST --server-role=dc --dns-backend=SAMBA_INTERNAL --adminpass=Adm1n-Passw0rd --use-rfc2307 \
        --host-name=dc1 --host-ip=127.0.0.1 --option="interfaces=127.0.0.1/8" --option="bind interfaces only=yes" \
        --option="log file=$ad/log.%m" --option="pid directory=$ad/run"
    # A forwarder would be asked for names outside of the domain.
    sed -i -e '/dns forwarder/d' -e "/^\[global\]/a\\
	tls keyfile = $ad/tls/server.key\\
	tls certfile = $ad/tls/server.pem\\
	tls cafile = $ad/tls/ca.pem\\
	server services = ldap, cldap, kdc, dns" "$ad/etc/smb.conf"
    quietly samba-tool domain passwordsettings set $tree --min-pwd-age=0 --account-lockout-threshold=3
    quietly samba-tool user create anna Ann4-Passw0rd $tree --given-name=Anna --surname=Meier --home-drive=H: \
        --home-directory='\\fs1\home\anna' --script-path='logon\anna.cmd' --uid-number=10001 --gid-number=10000 \
        --unix-home=/home/anna --mail-address=anna@school.example
    for user in expired disabled gone must locked; do
        quietly samba-tool user create $user Us3r-Passw0rd $tree
    done
    quietly samba-tool user disable disabled $tree
    # anna is in staff, and staff in everyone.
    quietly samba-tool group add staff $tree
    quietly samba-tool group add everyone $tree
    quietly samba-tool group addmembers staff anna $tree
    quietly samba-tool group addmembers everyone staff $tree
    quietly samba-tool spn add ldap/dc1.ad.example.test 'DC1$' $tree
    local users=CN=Users,DC=ad,DC=example,DC=test
    quietly ldbmodify -H "$ad/private/sam.ldb" <<END
dn: CN=gone,$users
changetype: modify
replace: accountExpires
accountExpires: 130000000000000000

dn: CN=must,$users
changetype: modify
replace: pwdLastSet
pwdLastSet: 0
END
    # The whole of the directory does not let anyone write a moment of the past: the partition does.
    quietly ldbmodify -H "$ad/private/sam.ldb.d/DC=AD,DC=EXAMPLE,DC=TEST.ldb" <<END
dn: CN=expired,$users
changetype: modify
replace: pwdLastSet
pwdLastSet: 130000000000000000
END
}

stop_directory_server() {
    local process
    process=$(cat "$work/ds/run/dirsrv/slapd-t1.pid")
    kill "$process"
    while kill -0 "$process" 2>/dev/null; do sleep 0.1; done
}

ds_entry() { # RDN CLASS LINE...
    printf 'dn: %s,dc=example,dc=test\nchangetype: add\nobjectClass: %s\n' "$1" "$2"
    shift 2
    printf '%s\n' "$@" ""
}

ds_state() { # USER ATTRIBUTE VALUE
    printf 'dn: uid=%s,ou=staff,dc=example,dc=test\nchangetype: modify\nreplace: %s\n%s: %s\n\n' "$1" "$2" "$2" "$3"
}

directory_server() {
    local ds=$work/ds
        mkdir -p "$ds"/{share/dirsrv/inf,etc/dirsrv,etc/default,etc/tmpfiles.d,run,var,lib,shm}
    cp -r /etc/dirsrv/config /etc/dirsrv/schema "$ds/etc/dirsrv/"
    # A root of its own, where the tools neither ask systemd nor write outside.
    sed -E -e 's/^with_systemd =.*/with_systemd = 0/' -e 's/^(user|group) =.*/\1 = root/' \
        -e "s#^(tmp_dir|sysconf_dir|initconfig_dir|config_dir|local_state_dir|run_dir|ldapi|pid_file|inst_dir|tmpfiles_d|schema_dir|cert_dir|lock_dir|log_dir|.*_log|db_dir|backup_dir|ldif_dir) = #\1 = $ds#" \
        -e "s#^db_home_dir = .*#db_home_dir = $ds/shm/slapd-{instance_name}#" \
        /usr/share/dirsrv/inf/defaults.inf >"$ds/share/dirsrv/inf/defaults.inf"
    cat >"$ds/inf" <<END
[general]
config_version = 2
full_machine_name = ds1.example.test
strict_host_checking = False
selinux = False
[slapd]
instance_name = t1
user = root
group = root
port = 389
secure_port = 636
root_password = Manag3r-Passw0rd
self_sign_cert = True
db_lib = mdb
[backend-userroot]
suffix = dc=example,dc=test
create_suffix_entry = True
END
    PREFIX=$ds quietly dscreate from-file "$ds/inf"
    # "must" has been given a password that is to be changed; "gone" is inactive.
    quietly ldapmodify -x -H ldap://127.0.0.1 -D "cn=Directory Manager" -w Manag3r-Passw0rd <<END
dn: cn=config
changetype: modify
replace: passwordExp
passwordExp: on
-
replace: passwordLockout
passwordLockout: on
-
replace: passwordMaxFailure
passwordMaxFailure: 3
-
replace: passwordCheckSyntax
passwordCheckSyntax: on
-
replace: passwordHistory
passwordHistory: on
-
replace: passwordWarning
passwordWarning: 604800
-
replace: nsslapd-listenhost
nsslapd-listenhost: 127.0.0.1
-
replace: nsslapd-securelistenhost
nsslapd-securelistenhost: 127.0.0.1

dn: cn=MemberOf Plugin,cn=plugins,cn=config
changetype: modify
replace: nsslapd-pluginEnabled
nsslapd-pluginEnabled: on
-
replace: memberofgroupattr
memberofgroupattr: member
END
    stop_directory_server
    quietly ns-slapd -D "$ds/etc/dirsrv/slapd-t1" -i "$ds/run/dirsrv/slapd-t1.pid"
    until ldapsearch -x -H ldap://127.0.0.1 -s base -b '' >/dev/null 2>&1; do sleep 0.1; done
    {
        ds_entry ou=staff organizationalUnit
        for user in anna expired expiring must inactive locked; do
            ds_entry "uid=$user,ou=staff" inetOrgPerson "cn: $user" "sn: Meier" "userPassword: Us3r-Passw0rd"
        done
        ds_entry cn=staff,ou=staff groupOfNames "member: uid=anna,ou=staff,dc=example,dc=test"
        ds_entry cn=everyone,ou=staff groupOfNames "member: cn=staff,ou=staff,dc=example,dc=test"
        printf 'dn: dc=example,dc=test\nchangetype: modify\nadd: aci\naci: %s\naci: %s\n\n' \
            '(targetattr != "userPassword || aci")(version 3.0; acl "read"; allow (read, search, compare) userdn = "ldap:///anyone";)' \
            '(targetattr = "userPassword")(version 3.0; acl "own password"; allow (write) userdn = "ldap:///self";)'
        ds_state expired passwordExpirationTime 20200101000000Z
        ds_state expiring passwordExpirationTime "$(date -u -d '5 days' +%Y%m%d%H%M%SZ)"
        ds_state must passwordExpirationTime 19700101000000Z
        ds_state inactive nsAccountLock true
        printf 'dn: cn=config\nchangetype: modify\nreplace: passwordMustChange\npasswordMustChange: on\n\n'
    } >"$work/tmp/entries"
    quietly ldapmodify -x -H ldap://127.0.0.1 -D "cn=Directory Manager" -w Manag3r-Passw0rd -f "$work/tmp/entries"
    stop_directory_server
}

domain_controller
directory_server
rm -rf "$work/tmp"
