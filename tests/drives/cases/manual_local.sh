# docs/drives.md: from nothing to a folder of the machine on a drive.
. "$here/manual_rig.sh"
expect_part "Drive H: = SRV1/USERS:anna
total" try machine local
expect_part "negative_timeout = 5" cat /etc/autofs.conf
expect_part "SRV1/USERS:anna  mounted" su - anna -c 'map --status'
expect "" su - anna -c 'cp /etc/hostname ~/drives/H/ && qrtlogin --logout'
succeeds test -s /srv/volumes/users/anna/hostname
fails test -e "$T/home/anna/drives/H"
