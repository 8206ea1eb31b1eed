# A volume in a folder of the machine: from its configuration to a file on the drive, and away after a time.
mkdir -p "$T/volumes/users/anna"
echo "hello" >"$T/volumes/users/anna/note"
chmod 755 "$T/volumes/users/anna"
configure <<END
[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes/users"

[[volume]]
server = "SRV1"
name = "OTHER"
source = "$T/volumes"
END
expires=1 automount_starts

# The link is made at once: nothing is mounted for it.
expect "Drive H: = SRV1/USERS:anna" map H:=srv1/users:anna
is_mounted /mnt/brasca/anna/SRV1/USERS && fail "MAP has mounted the volume"
expect "H:   SRV1/USERS:anna  not in use" map --status
expect "hello" as anna cat "$T/home/anna/H/note"
expect "H:   SRV1/USERS:anna  mounted" map --status
expect_part "nosuid,nodev" options_of /mnt/brasca/anna/SRV1/USERS
expect "hello" as anna sh -c "cat ~/H/note"

awaits 20 is_not_mounted /mnt/brasca/anna/SRV1/USERS
expect "H:   SRV1/USERS:anna  not in use" map --status
expect "hello" as anna cat "$T/home/anna/H/note"

# A drive that a program uses stays.
as anna sh -c "cd ~/H && echo ready >$T/home/anna/ready && exec sleep 60" &
awaits 20 test -e "$T/home/anna/ready"
succeeds as anna ls /mnt/brasca/anna/SRV1/OTHER/users
awaits 20 is_not_mounted /mnt/brasca/anna/SRV1/OTHER
is_mounted /mnt/brasca/anna/SRV1/USERS || fail "a volume in use was unmounted"

# Read-only, and not for programs.
configure <<END
[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes/users"
options = "ro,noexec"
END
succeeds ls /mnt/brasca/bert/SRV1/USERS/anna
expect_part "ro,nosuid,nodev,noexec" options_of /mnt/brasca/bert/SRV1/USERS

# The state of the one is not the other's to read.
fails as bert cat /run/brasca/2001/SRV1/USERS
fails as bert ls /run/brasca/2001
expect_part "brasca-drive 1 mounted" as anna cat /run/brasca/2001/SRV1/USERS
expect "root root" stat -c '%U %G' /run/brasca/2001/SRV1/USERS
fails as anna chmod 600 /run/brasca/2001/SRV1/USERS
