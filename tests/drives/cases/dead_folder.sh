# Folders of the machine on a mount whose server is dead: what waits for it in the kernel, and cannot be ended, is not
# waited for.
[ -c /dev/fuse ] || skip "there is no /dev/fuse"
mkdir -p "$T/volumes/users" "$T/dead"
volumes="[automount]
time_limit = 1

[[volume]]
server = \"SRV1\"
name = \"DEAD\"
source = \"$T/dead/users\"

[[volume]]
server = \"SRV1\"
name = \"USERS\"
source = \"$T/volumes/users\""
configure <<<"$volumes"
"$here/dead_folder.py" "$T/dead" &
server=$!
awaits 20 is_mounted "$T/dead"
automount_starts
succeeds map 'G:=SRV1/DEAD:'
succeeds map 'H:=SRV1/USERS:'
fails as anna ls "$T/home/anna/G/"
expect "G:   SRV1/DEAD:  not mounted: no answer from the server
H:   SRV1/USERS:  not in use" map --status
succeeds as anna ls "$T/home/anna/H/"
fails "$binaries/mount.qrt" qrt-own /mnt/brasca/anna/SRV1/DEAD
expect "mount.qrt: /mnt/brasca/anna/SRV1/DEAD: no answer within 1 seconds" \
    "$binaries/mount.qrt" qrt-own /mnt/brasca/anna/SRV1/DEAD
succeeds sh -c "grep -l '^State:.D' \$(grep -lx 'Name:.mount.qrt' /proc/[0-9]*/status)"

# A tree's file there delays the volumes of the configuration, and no more.
umount /mnt/brasca/anna/SRV1/USERS
configure <<END
$volumes

[[tree]]
name = "ACME"
ldif = "$T/dead/acme.ldif"
END
awaits 20 as anna ls "$T/home/anna/H/"

# The mounts that were given up do not come later.
kill $server
awaits 20 sh -c "! grep -qx mount.qrt /proc/[0-9]*/comm"
is_not_mounted /mnt/brasca/anna/SRV1/DEAD || fail "mounted after all"

# A drive whose folder is asked for in vain, beside one whose folder is missing; whoever reads the output waits for
# neither.
configure <<<"$volumes"
mkdir "$T/volumes/users/dead"
"$here/dead_folder.py" /mnt/brasca/anna/SRV1/USERS/dead &
server=$!
awaits 20 is_mounted /mnt/brasca/anna/SRV1/USERS/dead
succeeds map 'I:=SRV1/USERS:dead/folder'
succeeds map 'J:=SRV1/USERS:gone'
expect_part "H:   SRV1/USERS:  mounted
I:   SRV1/USERS:dead/folder  mounted
J:   SRV1/USERS:gone  no such folder" map --status
kill $server
