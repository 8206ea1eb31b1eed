# The kept password: for its user alone, and no more often than a server wants it.
configure <<END
[automount]
credentials = true

[[volume]]
server = "FS1"
name = "HOME"
source = "smb://fs1/home"
END
double mount.cifs <<END
#!/bin/sh
echo "\$1 \${PASSWD_FD-none}" >>$T/attempts
echo "\$4" >$T/options
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
