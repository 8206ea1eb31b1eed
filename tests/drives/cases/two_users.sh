# Two users at once: each has mounts of their own, by their own name, that the other cannot read.
configure <<END
[[volume]]
server = "FS1"
name = "HOME"
source = "smb://fs1/home"
END
double mount.cifs <<END
#!/bin/sh
uid=\${4##*cruid=} uid=\${uid%%,*}
mount -t tmpfs -o "uid=\$uid,mode=700" tmpfs "\$2"
echo "\$uid" >"\$2/owner"
END
automount_starts
for user in anna bert; do succeeds map 'H:=FS1/HOME:'; done
as anna cat "$T/home/anna/H/owner" >"$T/anna" 2>&1 &
one=$!
as bert cat "$T/home/bert/H/owner" >"$T/bert" 2>&1 &
wait $one $!
expect 2001 cat "$T/anna"
expect 2002 cat "$T/bert"
for user in anna bert; do expect "H:   FS1/HOME:  mounted" map --status; done
fails as bert ls /mnt/brasca/anna/FS1/HOME

# Bert is first at what is Anna's: it is mounted as hers, and he sees nothing of it.
umount /mnt/brasca/anna/FS1/HOME
fails as bert ls /mnt/brasca/anna/FS1/HOME
is_mounted /mnt/brasca/anna/FS1/HOME || fail "the volume is not mounted"
expect 2001 as anna cat "$T/home/anna/H/owner"

# Whoever is no user has no drives.
fails ls /mnt/brasca/nobody-of-that-name
fails ls /mnt/brasca/2001
