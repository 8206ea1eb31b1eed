# The kept password: for its user alone, and no more often than a server wants it.
configure <<END
[automount]
credentials = true

[[volume]]
server = "FS1"
name = "HOME"
source = "smb://fs1/home"

[[volume]]
server = "FS1"
name = "OTHER"
source = "smb://fs1/other"

[[volume]]
server = "FS1"
name = "NTLM"
source = "smb://fs1/ntlm"
options = "sec=ntlmssp"
END
double mount.cifs <<END
#!/bin/sh
echo "\$1 \${PASSWD_FD-none}" >>$T/attempts
echo "\$4" >$T/options
# With two, it fails when another mount has begun too.
[ ! -e $T/two ] || until [ "\$(grep -lx mount.qrt /proc/[0-9]*/comm | wc -l)" -ge 2 ]; do sleep 0.05; done
[ ! -e $T/says ] || { cat $T/says >&2; exit 32; }
mount -t tmpfs -o "uid=2001,mode=700" tmpfs "\$2"
END
keep() {
    rm -f /run/user/2001/brasca-credentials
    install -o anna -g anna -m 600 /dev/stdin /run/user/2001/brasca-credentials <<<"anna

${1-sunflower}"
}
touch "$T/attempts"
automount_starts
keep
succeeds map 'H:=FS1/HOME:'

# Somebody else who opens the drive has root log in nowhere, and leaves the user's state and access as they are.
fails as bert ls /mnt/brasca/anna/FS1/HOME/
expect "" cat "$T/attempts"
expect "H:   FS1/HOME:  not in use" map --status
awaits 20 as anna ls "$T/home/anna/H/"
expect "//fs1/home 3" cat "$T/attempts"
expect "H:   FS1/HOME:  mounted" map --status

# A password that a server has refused is tried no more, until there is another one.
umount /mnt/brasca/anna/FS1/HOME
rm "$T/attempts"
echo "mount error(127): Key has expired" >"$T/says"
succeeds map 'G:=FS1/OTHER:'
fails as anna ls "$T/home/anna/H/"
rm "$T/says"
fails as anna ls "$T/home/anna/G/"
for volume in HOME OTHER; do "$binaries/mount.qrt" qrt-own /mnt/brasca/anna/FS1/$volume 2>/dev/null; done
expect "//fs1/home 3" cat "$T/attempts"
expect "G:   FS1/OTHER:  not mounted: the password has expired
H:   FS1/HOME:  not mounted: the password has expired" map --status
expect "root 400" stat -c '%U %a' /run/brasca/2001/.refused
keep moonflower
awaits 20 as anna ls "$T/home/anna/G/"
awaits 20 as anna ls "$T/home/anna/H/"

# Two drives at one moment: the second one does not try what the first one is trying.
keep wrong
umount /mnt/brasca/anna/FS1/HOME /mnt/brasca/anna/FS1/OTHER
rm "$T/attempts"
touch "$T/two"
echo "mount error(127): Key has expired" >"$T/says"
as anna ls "$T/home/anna/G/" >/dev/null 2>&1 &
first=$!
fails as anna ls "$T/home/anna/H/"
wait $first
expect 1 grep -c . "$T/attempts"
expect_part "G:   FS1/OTHER:  not mounted: the password has expired
H:   FS1/HOME:  not mounted: the password has expired" map --status
rm "$T/two" "$T/says"
keep

# Where only a password will do, and there is none, root does not log in as itself.
rm /run/user/2001/brasca-credentials "$T/attempts"
succeeds map 'N:=FS1/NTLM:'
fails as anna ls "$T/home/anna/N/"
fails test -e "$T/attempts"
expect_part "N:   FS1/NTLM:  not mounted: access denied" map --status
keep
awaits 20 as anna ls "$T/home/anna/N/"
expect "//fs1/ntlm 3" cat "$T/attempts"
