# docs/drives.md: an NFS export, with a double of mount.nfs that shows the folder the server would.
. "$here/manual_rig.sh"
mkdir -p "$T/export"
install -d -o anna -m 700 "$T/export/anna"
echo text >"$T/export/anna/letter"
cat >/usr/sbin/mount.nfs <<END
#!/bin/sh
[ "\$1" = fs1:/srv/home ] && mount --bind $T/export "\$2"
END
chmod 755 /usr/sbin/mount.nfs
expect_part "letter" try machine nfs
