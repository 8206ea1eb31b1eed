# What the cases have in common: a machine with two users and an automounter, below the temporary folder $T.
set +m
failures=0

fail() {
    echo "$name: $*" >&2
    failures=$((failures + 1))
}

# expect TEXT COMMAND...: the command writes exactly this, on standard output and error.
expect() {
    local wanted=$1 got
    shift
    got=$("$@" 2>&1)
    [ "$got" = "$wanted" ] || fail "$*
wanted: $wanted
got:    $got"
}

# expect_part TEXT COMMAND...: what the command writes contains this.
expect_part() {
    local wanted=$1 got
    shift
    got=$("$@" 2>&1)
    case $got in
        *"$wanted"*) ;;
        *) fail "$*
wanted within: $wanted
got:           $got" ;;
    esac
}

succeeds() { "$@" >/dev/null 2>&1 || fail "failed: $*"; }
fails() { ! "$@" >/dev/null 2>&1 || fail "succeeded: $*"; }

# as USER COMMAND...
as() {
    local user=$1
    shift
    setpriv --reuid "$user" --regid "$user" --clear-groups env -i HOME="$T/home/$user" PATH="$PATH" LC_ALL=C.UTF-8 \
        XDG_RUNTIME_DIR="/run/user/$(id -u "$user")" "$@"
}

map() { as "${user:-anna}" "$binaries/map" "$@"; }
automounter() { "$binaries/qrt-automount" "$@"; }

# awaits SECONDS COMMAND...: until it succeeds, for no longer.
awaits() {
    local tries=$(($1 * 20))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $((tries--)) -gt 0 ] || { fail "in vain: $*"; return 1; }
        sleep 0.05
    done
}

# The path as mountinfo writes it: "\040" for a blank.
is_mounted() {
    path=$1 awk '$9 != "autofs" && $5 == ENVIRON["path"] { found = 1 } END { exit !found }' /proc/self/mountinfo
}
is_not_mounted() { ! is_mounted "$1"; }
options_of() { path=$1 awk '$5 == ENVIRON["path"] { print $6 }' /proc/self/mountinfo | tail -1; }

# The configuration; the text follows on standard input.
configure() {
    cat >/etc/opt/brasca/zk/client.toml
    chmod 644 /etc/opt/brasca/zk/client.toml
    rm -f /var/cache/brasca/site/volumes
}

# A program in the place of one of /usr/sbin; the text follows on standard input.
double() {
    cat >"$T/sbin/$1"
    chmod 755 "$T/sbin/$1"
}

automount_starts() {
    mount -t overlay overlay -o lowerdir="$T/sbin:/usr/sbin" /usr/sbin || exit 77
    printf '/mnt/brasca program:%s --timeout=%s\n' "$binaries/qrt-automount" "${expires:-600}" >"$T/auto.master"
    # In a process group of its own, or accesses of this one never reach it.
    setsid automount -f -n 1 "$T/auto.master" >"$T/automount.log" 2>&1 &
    awaits 20 grep -q ' /mnt/brasca .* autofs ' /proc/self/mountinfo
}

finish() {
    [ $failures -eq 0 ] || [ ! -s "$T/automount.log" ] || sed 's/^/automount: /' "$T/automount.log" >&2
    [ $failures -eq 0 ]
    exit
}

mount --make-rprivate /
ip link set lo up 2>/dev/null
for folder in /run /etc/opt /var/cache /mnt; do mount -t tmpfs -o mode=755 tmpfs $folder || exit 77; done
mkdir -p /mnt/brasca /etc/opt/brasca/zk /etc/opt/brasca/qrt /run/user "$T/sbin" "$T/home" "$T/volumes"
ln -s "$binaries/mount.qrt" "$T/sbin/mount.qrt"
printf 'Map_Link_Default_Location=%%HOME\n' >/etc/opt/brasca/qrt/map.conf
{
    cat /etc/passwd
    printf 'anna:x:2001:2001::%s:/bin/sh\nbert:x:2002:2002::%s:/bin/sh\n' "$T/home/anna" "$T/home/bert"
} >"$T/passwd"
{
    cat /etc/group
    printf 'anna:x:2001:\nbert:x:2002:\n'
} >"$T/group"
mount --bind "$T/passwd" /etc/passwd
mount --bind "$T/group" /etc/group
for account in anna bert; do
    install -d -o $account -g $account -m 755 "$T/home/$account"
    install -d -o $account -g $account -m 700 "/run/user/$(id -u $account)"
done
