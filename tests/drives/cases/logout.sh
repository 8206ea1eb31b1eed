# From a login to its logout: drives by a login script, the password kept for them, and both taken away.
mkdir -p "$T/site" "$T/volumes/users/anna"
echo hello >"$T/volumes/users/anna/note"
chown -R anna "$T/volumes/users/anna"
cat >"$T/site/acme.ldif" <<END
dn: o=acme
objectClass: organization
o: acme

dn: cn=anna,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: anna
sn: Anna
userPassword: {CRYPT}$(openssl passwd -6 'sun, flower')
qrtLoginScript:< file:anna.qrt

dn: cn=SRV1,o=acme
objectClass: qrtServer
cn: SRV1

dn: cn=SRV1_USERS,o=acme
objectClass: qrtVolume
cn: SRV1_USERS
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: USERS
END
printf 'MAP DISPLAY OFF\nMAP H:=SRV1/USERS:anna\nMAP G:=SRV1/USERS:\nMAP S1:=SRV1/USERS:anna\nMAP I:=\\\\fs1\\share\\dir\n' \
    >"$T/site/anna.qrt"
chmod -R a+r "$T/site"
site() {
    configure <<END
[[tree]]
name = "ACME"
ldif = "$T/site/acme.ldif"

[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes/users"

[automount]
hosts = ["fs1"]
${1-}
END
}
double mount.cifs <<END
#!/bin/sh
printf '%s\n' "\$@" >$T/words
IFS= read -r password <&\$PASSWD_FD
echo "\$password" >$T/password
mount --bind $T/volumes/users "\$2"
END
mkdir "$T/volumes/users/dir"
login() { as anna "$binaries/qrtlogin" --password-fd 0 "$@" anna.acme <<<'sun, flower'; }
logout() { as anna "$binaries/qrtlogin" --logout "$@"; }
kept=/run/user/2001/brasca-credentials
site
automount_starts

succeeds login
[ ! -e $kept ] || fail "the password is kept unasked"
expect hello as anna cat "$T/home/anna/H/note"
expect "" logout
expect "" sh -c "ls '$T/home/anna'"
expect "" logout

# A drive that a program uses stays, whatever else is the user's own is not touched.
succeeds login
ln -s "$T" "$T/home/anna/X"
ln -s /mnt/brasca/anna/SRV1/USERS/anna "$T/home/anna/projects"
echo text >"$T/home/anna/Y"
as anna sh -c 'cd ~/H && echo $$ >~/ready && exec sleep 60' &
awaits 20 test -s "$T/home/anna/ready"
program=$(cat "$T/home/anna/ready")
expect "Drive G: is in use and stays: SRV1/USERS:
Drive H: is in use and stays: SRV1/USERS:anna
Drive S1: is in use and stays: SRV1/USERS:anna" logout
expect "G H S1 X Y projects ready" sh -c "cd '$T/home/anna' && echo *"
expect hello as anna cat "$T/home/anna/H/note"
kill $program
awaits 20 sh -c "! kill -0 $program"
expect "" logout
expect "X Y projects ready" sh -c "cd '$T/home/anna' && echo *"

# The password is kept only where the configuration says so, and until the logout.
site "credentials = true"
succeeds login
expect "anna 600" stat -c '%U %a' $kept
succeeds as anna ls "$T/home/anna/I/"
expect_part "username=anna," cat "$T/words"
expect "sun, flower" cat "$T/password"
expect_part "I:   FS1/SHARE:dir  mounted" map --status
expect "" logout
[ ! -e $kept ] || fail "the password outlives the logout"
chmod 755 /run/user/2001
expect_part "The password could not be kept for mounting drives." login
[ ! -e $kept ] || fail "the password is kept where others look"

for words in "anna" "--shell" "--tree ACME"; do
    expect_part "--logout takes no other option or argument" logout $words
done
chmod 777 "$T/home/anna"
expect_part "is writable by other users" logout
fails logout
