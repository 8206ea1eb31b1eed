# Nothing that a user can write decides what root mounts.
mkdir -p "$T/volumes/users"
echo fine >"$T/volumes/users/file"
good() {
    configure <<END
[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes/users"
END
}
toml=/etc/opt/brasca/zk/client.toml
copy=/var/cache/brasca/site/volumes
in_folder() {
    (cd "$1" && shift && "$@")
}
mkdir -p /mnt/brasca/anna/SRV1

# Keys that are no names. (Only the kernel asks through automount: it never asks for these.)
good
succeeds in_folder /mnt/brasca automounter anna
succeeds in_folder /mnt/brasca/anna automounter SRV1
expect "-fstype=qrt,nosuid,nodev :qrt" in_folder /mnt/brasca/anna/SRV1 automounter users
for key in .. . '' / a/b ../bert anna/SRV1 $'anna\n-fstype=bind :/' $'\e[31m' "$(printf 'a%.0s' {1..5000})" '*' '&'; do
    for folder in /mnt/brasca /mnt/brasca/anna /mnt/brasca/anna/SRV1; do
        expect "" in_folder "$folder" automounter "$key"
        fails in_folder "$folder" automounter "$key"
    done
done
mkdir -p /mnt/brasca/anna/SRV1/USERS
fails in_folder /mnt/brasca/anna/SRV1/USERS automounter x
fails in_folder /etc automounter anna
fails in_folder / automounter anna
for folder in /etc /mnt/brasca /mnt/brasca/anna/SRV1 /mnt/brasca/../etc /mnt/brasca/anna/SRV1/USERS/x \
    /mnt/brasca/nobody-of-that-name/SRV1/USERS relative; do
    expect_part "is not the folder of a user's volume" "$binaries/mount.qrt" qrt "$folder" -n -o rw
done
expect_part "Usage: qrt-automount" "$binaries/mount.qrt" qrt
expect_part "Usage: qrt-automount" automounter

# Whether the user, or root, has asked, as far as automount says it.
for asking in 2001 0; do
    expect "-fstype=qrt,nosuid,nodev :qrt-own" in_folder /mnt/brasca/anna/SRV1 env AUTOFS_UID=$asking "$binaries/qrt-automount" USERS
done
for asking in 2002 '' ' 0' +0 -1 2001x 4294967296; do
    expect "-fstype=qrt,nosuid,nodev :qrt" in_folder /mnt/brasca/anna/SRV1 env "AUTOFS_UID=$asking" "$binaries/qrt-automount" USERS
done

# refused REASON: no volume is mounted, and the log has the reason.
refused() {
    expect_part "$1" in_folder /mnt/brasca/anna/SRV1 automounter USERS
    fails in_folder /mnt/brasca/anna/SRV1 automounter USERS
    expect_part "$1" automounter --refresh
}
good
chown anna "$toml"
refused "$toml does not belong to root"
good
chown root "$toml"
chmod o+w "$toml"
refused "$toml is writable by others than root"
good
chmod 664 "$toml"
refused "$toml is writable by others than root"
good
mv "$toml" "$T/home/anna/mine.toml"
ln -s "$T/home/anna/mine.toml" "$toml"
refused "$toml is a symbolic link"
rm "$toml"
mkfifo "$toml"
refused "$toml is not a regular file"
rm "$toml"
refused "cannot open $toml: No such file or directory"
good
chmod o+w /etc/opt/brasca
refused "/etc/opt/brasca is writable by others than root"
chmod o-w /etc/opt/brasca
chown anna /etc/opt/brasca
refused "/etc/opt/brasca does not belong to root"
chown root /etc/opt/brasca
printf '[[volume]\n' >"$toml"
refused "client.toml:1:"

# A copy that root has not written is written anew.
good
succeeds automounter --refresh
forged="brasca-site 1 9999999999
volume		SRV1	USERS	/root	"
for spoil in 'chown anna' 'chmod o+w'; do
    echo "$forged" >"$copy"
    $spoil "$copy"
    expect "-fstype=qrt,nosuid,nodev :qrt" in_folder /mnt/brasca/anna/SRV1 automounter USERS
    expect_part "$T/volumes/users" cat "$copy"
    expect "root 644" stat -c '%U %a' "$copy"
done
ln -sf "$T/home/anna/mine" "$copy"
succeeds in_folder /mnt/brasca/anna/SRV1 automounter USERS
[ ! -L "$copy" ] && [ ! -e "$T/home/anna/mine" ] || fail "a link was followed"
for damage in '' 'brasca-site 2 1' 'brasca-site 1 99999999999999999999' $'brasca-site 1 1\nvolume\tx' $'brasca-site 1 1\nhost\tx'; do
    printf %s "$damage" >"$copy"
    expect "-fstype=qrt,nosuid,nodev :qrt" in_folder /mnt/brasca/anna/SRV1 automounter USERS
done

# Neither the environment nor a cache of the user counts.
mkdir -p "$T/home/anna/.cache/brasca-zk"
echo '[[volume]]
server = "SRV1"
name = "EVIL"
source = "/root"' >"$T/home/anna/mine.toml"
chown -R anna "$T/home/anna"
fails in_folder /mnt/brasca/anna/SRV1 env ZKCLIENT_CONF="$T/home/anna/mine.toml" HOME="$T/home/anna" \
    XDG_CACHE_HOME="$T/home/anna/.cache" LD_LIBRARY_PATH="$T/home/anna" "$binaries/qrt-automount" EVIL
expect "" ls "$T/home/anna/.cache/brasca-zk"

# Output that cannot be written.
succeeds automounter --help
fails sh -c "'$binaries/qrt-automount' --help >/dev/full"
expect_part "cannot write the output: No space left on device" sh -c "'$binaries/qrt-automount' --help >/dev/full"

# What is recorded for a user is bounded, and somebody else's folder is not written to.
rm -rf /run/brasca
for i in $(seq 140); do "$binaries/mount.qrt" qrt-own "/mnt/brasca/anna/SRV1/made up $i" 2>/dev/null; done
[ "$(ls /run/brasca/2001/SRV1 | wc -l)" -le 128 ] || fail "too many states are kept"
rm -rf /run/brasca
mkdir -p /run/brasca "$T/home/anna/states"
ln -s "$T/home/anna/states" /run/brasca/2001
"$binaries/mount.qrt" qrt-own /mnt/brasca/anna/SRV1/none 2>/dev/null
expect "" ls "$T/home/anna/states"
