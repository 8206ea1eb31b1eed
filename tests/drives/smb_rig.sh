# An SMB server on the case's own loopback, which answers to the name fs1, with the users anna (password sunflower) and
# bert (daisy, chips) of its own; and a double of mount.cifs that brings the share's data by smbnetfs where the kernel
# has no cifs. It takes the words, the options and the password as mount.cifs does, and fails with its messages.
command -v smbd >/dev/null && command -v smbnetfs >/dev/null || skip "samba or smbnetfs is not installed"
[ -c /dev/fuse ] || skip "there is no /dev/fuse"

smb_password() {
    printf '%s\n%s\n' "$2" "$2" | smbpasswd -c "$T/smb/smb.conf" -a -s "$1" >/dev/null || fail "no SMB user $1"
}

smb_server_starts() {
    setsid smbd -F --no-process-group --debug-stdout -s "$T/smb/smb.conf" >>"$T/smb/log" 2>&1 &
    smb_server=$!
    awaits 20 bash -c 'exec 3<>/dev/tcp/127.0.0.1/445'
}

mkdir -p "$T/smb/private" "$T/smb/state" "$T/smb/cache" "$T/smb/lock" "$T/smb/pid" "$T/smb/ncalrpc" "$T/shares/home" \
    "$T/shares/Lehrer Daten" "$T/shares/Müller's"
chmod 777 "$T/shares"/*
{
    cat /etc/hosts
    echo "127.0.0.1 fs1"
    echo "192.0.2.1 silent"
} >"$T/hosts"
mount --bind "$T/hosts" /etc/hosts
cat >"$T/smb/smb.conf" <<END
[global]
server role = standalone server
passdb backend = tdbsam
private dir = $T/smb/private
state directory = $T/smb/state
cache directory = $T/smb/cache
lock directory = $T/smb/lock
pid directory = $T/smb/pid
ncalrpc dir = $T/smb/ncalrpc
log file = $T/smb/log
interfaces = lo
bind interfaces only = yes
disable netbios = yes
load printers = no
map to guest = never

[home]
path = $T/shares/home
read only = no

[Lehrer Daten]
path = $T/shares/Lehrer Daten
read only = no

[Müller's]
path = $T/shares/Müller's

[staff]
path = $T/shares/home
valid users = bert
END
mkdir -p "$T/told"
double mount.cifs <<END
#!/bin/bash
# Kept where the automounter's own clean-up does not matter: one folder for each mount.
share=\${1#//} folder=\$2 options=,\$4,
host=\${share%%/*} rest=\${share#*/}
work=\$(mktemp -d $T/told/XXXXXX)
printf '%s\n' "\$@" >$T/told/words
value() { local v=\${options##*,\$1=}; [ "\$v" = "\$options" ] || echo "\${v%%,*}"; }
password= user=\$(value username)
[ -z "\${PASSWD_FD-}" ] || IFS= read -r password <&\$PASSWD_FD
if [ -z "\$user" ]; then echo "mount error(126): Required key not available" >&2; exit 32; fi
mkdir "\$work/data"
printf 'auth "%s" "%s" "%s"\n' "\$host" "\$user" "\$password" >"\$work/auth"
printf '[global]\nclient min protocol = SMB2\nname resolve order = host\nstate directory = %s\nlock directory = %s\ncache directory = %s\nprivate dir = %s\n' \
    "\$work" "\$work" "\$work" "\$work" >"\$work/smb.conf"
cat >"\$work/smbnetfs.conf" <<CONF
smb_conf_file "\$work/smb.conf"
auth_file "\$work/auth"
include "auth"
fast_shutdown "true"
local_charset "UTF-8"
show_hidden_hosts "true"
show_dollar_shares "true"
free_space_size 0
log_file "\$work/log"
CONF
chmod -R go= "\$work"
LC_ALL=C.UTF-8 HOME=\$work smbnetfs "\$work/data" -o "config=\$work/smbnetfs.conf,allow_other,uid=\$(value uid),gid=\$(value gid),umask=077,default_permissions" \
    </dev/null >"\$work/log" 2>&1 || { cat "\$work/log" >&2; exit 32; }
if said=\$(ls "\$work/data/\$host/\$rest" 2>&1 >/dev/null); then
    mount --bind "\$work/data/\$host/\$rest" "\$folder" && exit 0
fi
umount -l "\$work/data"
case \$said in
    *"Permission denied"*) echo "mount error(13): Permission denied" >&2 ;;
    *"No such"*) echo "mount error(2): No such file or directory" >&2 ;;
    *"timed out"*) echo "mount error(110): Connection timed out" >&2 ;;
    *) echo "mount error(112): \$said" >&2 ;;
esac
exit 32
END
