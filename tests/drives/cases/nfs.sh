# What mount.nfs would get.
configure <<END
[[volume]]
server = "FS2"
name = "EXPORT"
source = "nfs://FS2.school.example/export/home%20s"
options = "vers=4.2,sec=krb5p,ro"
END
double mount.nfs <<END
#!/bin/sh
printf '%s\n' "\$@" >$T/words
case \$(cat $T/does) in
    denies) echo "mount.nfs: access denied by server while mounting fs2:/export" >&2; exit 32 ;;
    mounts) mount --bind $T/volumes "\$2" ;;
esac
END
echo denies >"$T/does"
automount_starts
succeeds map 'G:=FS2/EXPORT:'
fails as anna ls "$T/home/anna/G/"
expect "G:   FS2/EXPORT:  not mounted: access denied" map --status
echo mounts >"$T/does"
awaits 20 as anna ls "$T/home/anna/G/"
expect "fs2.school.example:/export/home s
/mnt/brasca/anna/FS2/EXPORT
-o
vers=4.2,sec=krb5p,ro,retry=0,nosuid,nodev" cat "$T/words"
expect "G:   FS2/EXPORT:  mounted" map --status
