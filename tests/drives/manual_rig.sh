# A machine on which docs/drives.md is tried as it stands: what it writes to is the case's own, packages count as
# installed, and `service` starts what the case has.
manual=$here/../../docs/drives.md

# The block of commands behind the document's line "<!-- tried: NAME -->".
block() {
    awk -v "mark=<!-- tried: $1 -->" '$0 == mark { found = 1 } found && /^```$/ { exit } found && inside
        found && /^```sh$/ { inside = 1 }' "$manual" | grep . || fail "no block: $1"
}

# try NAME...: the blocks, as one shell of root, at the terminal if there is one; its output is the commands'.
terminal=()
try() {
    local name
    for name in "$@"; do block "$name"; done >"$T/commands"
    "${terminal[@]}" bash -e "$T/commands"
}

# over FOLDER: what is written there from here on is the case's own.
over() {
    local upper=/run/over$1
    mkdir -p "$upper" "$upper.work"
    mount -t overlay overlay -o "lowerdir=$1,upperdir=$upper,workdir=$upper.work" "$1" || exit 77
}

mkdir -p "$T/bin"
over /etc
over /usr/sbin
for file in passwd group hosts; do [ ! -f "$T/$file" ] || cp "$T/$file" "/etc/$file"; done
printf 'anna:*:19000::::::\nbert:*:19000::::::\n' >>/etc/shadow
printf '+dir:/etc/auto.master.d\n' >/etc/auto.master
rm -f /etc/auto.master.d/*
for folder in /usr/local/bin /etc/opt /srv; do mount -t tmpfs -o mode=755 tmpfs $folder || exit 77; done
ln -s "$binaries/map" "$binaries/qrtlogin" /usr/local/bin/
rmdir /mnt/brasca
printf '#!/bin/sh\nexit 0\n' >"$T/bin/apt-get"
cat >"$T/bin/service" <<END
#!/bin/bash
echo "\$*" >>$T/services
[ "\$*" != "autofs restart" ] || { setsid automount -f >$T/automount.log 2>&1 &
    until grep -q ' /mnt/brasca .* autofs ' /proc/self/mountinfo; do sleep 0.05; done; }
END
chmod 755 "$T/bin"/*
PATH=$T/bin:$binaries:$PATH
