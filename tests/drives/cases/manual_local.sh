# docs/drives.md: from nothing to a folder of the machine on a drive.
. "$here/manual_rig.sh"
mkdir -p "$T/site" /etc/opt/brasca/zk
printf 'dn: o=acme\nobjectClass: organization\no: acme\n' >"$T/site/acme.ldif"
configure <<END
[[tree]]
name = "ACME"
ldif = "$T/site/acme.ldif"
END
expect_part "Drive H: = SRV1/USERS:anna
total" try machine local
expect_part "ldif = \"$T/site/acme.ldif\"

[[volume]]" cat /etc/opt/brasca/zk/client.toml
expect_part "negative_timeout = 5" cat /etc/autofs.conf
expect_part "SRV1/USERS:anna  mounted" su - anna -c 'map --status'
expect "" su - anna -c 'cp /etc/hostname ~/drives/H/ && qrtlogin --logout'
succeeds test -s /srv/volumes/users/anna/hostname
fails test -e "$T/home/anna/drives/H"
