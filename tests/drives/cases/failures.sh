# Why a drive is not there, in words: a double of mount.cifs fails as the real one does.
configure <<END
[automount]
time_limit = 1

[[volume]]
server = "FS1"
name = "GOOD"
source = "smb://fs1/good"

[[volume]]
server = "FS1"
name = "BAD"
source = "smb://fs1/bad"

[[volume]]
server = "FS1"
name = "GONE"
source = "$T/volumes/gone"

[[volume]]
server = "FS1"
name = "LINK"
source = "$T/volumes/link/users"

[[volume]]
server = "FS2"
name = "EXPORT"
source = "nfs://fs2/export"
END
ln -s /root "$T/volumes/link"
mkdir -p "$T/told"
double mount.cifs <<END
#!/bin/sh
printf '%s\n' "\$@" >$T/told/words
env >$T/told/environment
cat $T/told/says >&2
case \$(cat $T/told/does) in
    mounts) mount --bind $T/volumes "\$2" ;;
    hangs) sleep 1000 & wait ;;
    ignores) trap '' TERM; while :; do sleep 1000; done ;;
    fails) exit 32 ;;
esac
END
cifs() {
    printf '%s\n' "${2-}" >"$T/told/says"
    echo "$1" >"$T/told/does"
    rm -f "$T/told/words"
}
cifs mounts
automount_starts
succeeds map 'H:=FS1/BAD:'
succeeds map 'G:=FS1/GOOD:'
expect "G:   FS1/GOOD:  not in use
H:   FS1/BAD:  not in use" map --status

# What the real program would get: the user's ticket, and nobody else's access.
succeeds as anna ls "$T/home/anna/G/"
expect "//fs1/good
/mnt/brasca/anna/FS1/GOOD
-o
sec=krb5,cruid=2001,uid=2001,gid=2001,iocharset=utf8,forceuid,forcegid,file_mode=0600,dir_mode=0700,nosuid,nodev" \
    cat "$T/told/words"
expect "PATH=/usr/sbin:/usr/bin:/sbin:/bin
LC_ALL=C" grep -v '^\(PWD\|SHLVL\|_\|OLDPWD\)=' "$T/told/environment"

# attempt REASON: the drive's state after one more attempt. (A failed name is asked for again after a second.)
attempt() {
    awaits 20 sh -c "ls /mnt/brasca/anna/FS1/BAD >/dev/null 2>&1; test -e $T/told/words"
    expect_part "H:   FS1/BAD:  not mounted: $1" map --status
}
cifs fails "mount error(13): Permission denied"
fails as anna ls "$T/home/anna/H/"
attempt "access denied"
cifs fails "mount error(2): No such file or directory"
attempt "no such share"
cifs fails "mount error: could not resolve address for fs1: Unknown error"
attempt "unknown host"
cifs fails "mount error(111): Connection refused"
attempt "the server refused the connection"
cifs fails "mount error(112): Host is down"
attempt "no answer from the server"
cifs fails "mount error(126): Required key not available"
attempt "no Kerberos ticket"
cifs fails "mount error(19): No such device"
attempt "the kernel does not support the file system"
cifs fails "something else"
attempt "cannot be mounted"

# Who never answers, and cannot be ended kindly, is not waited for; nor are the other drives.
cifs ignores
fails as anna ls "$T/home/anna/H/"
attempt "no answer from the server"
cifs hangs
attempt "no answer from the server"
cifs mounts
awaits 20 as anna ls "$T/home/anna/H/"
expect "G:   FS1/GOOD:  mounted
H:   FS1/BAD:  mounted" map --status

# A volume that is there, without the folder that the drive leads to; a file is no folder either.
echo text >"$T/volumes/file"
succeeds map 'I:=FS1/GOOD:plans/new'
succeeds map 'J:=FS1/GOOD:file'
succeeds map 'K:=FS1/GOOD:link'
expect_part "I:   FS1/GOOD:plans/new  no such folder
J:   FS1/GOOD:file  no such folder
K:   FS1/GOOD:link  mounted" map --status
mkdir -p "$T/volumes/plans/new"
expect_part "I:   FS1/GOOD:plans/new  mounted" map --status
for drive in I J K; do succeeds map DEL $drive:; done

# Folders that are not there, or that a link on the way leads to.
succeeds map 'G:=FS1/GONE:'
succeeds map 'H:=FS1/LINK:'
fails as anna ls "$T/home/anna/G/"
fails as anna ls "$T/home/anna/H/"
expect "G:   FS1/GONE:  not mounted: no such share
H:   FS1/LINK:  not mounted: the source of the volume is not valid" map --status

# A mount program that is missing.
succeeds map DEL H:
succeeds map 'G:=FS2/EXPORT:'
fails as anna ls "$T/home/anna/G/"
[ -e /usr/sbin/mount.nfs ] || expect "G:   FS2/EXPORT:  not mounted: the mount program is not installed" map --status
# One line of configuration less, and the volume has no source any more.
configure <<END
[[server]]
name = "FS1"
END
succeeds map 'G:=FS1/GONE:'
fails ls /mnt/brasca/anna/FS3
