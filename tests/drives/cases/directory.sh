# Volumes whose source stands in the directory.
mkdir -p "$T/volumes/shared/projects" "$T/volumes/private" "$T/site"
echo plan >"$T/volumes/shared/projects/plan"
tree() {
    cat >"$T/site/acme.ldif" <<END
dn: o=acme
objectClass: organization
o: acme

dn: cn=SRV1,o=acme
objectClass: qrtServer
cn: SRV1

dn: cn=SRV1_PROJECTS,o=acme
objectClass: qrtVolume
cn: SRV1_PROJECTS
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: PROJECTS
qrtVolumeSource: ${1-$T/volumes/shared/projects}
qrtVolumeOptions: ${2-ro}

dn: cn=SRV1_PLAIN,o=acme
objectClass: qrtVolume
cn: SRV1_PLAIN
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: PLAIN
END
    chmod 644 "$T/site/acme.ldif"
}
tree
configure <<END
[[tree]]
name = "ACME"
ldif = "$T/site/acme.ldif"

[automount]
folders = ["$T/volumes/shared"]
hosts = ["fs1", ".school.example"]
END
automount_starts
succeeds map 'P:=SRV1/PROJECTS:'
expect plan as anna cat "$T/home/anna/P/plan"
expect_part "ro,nosuid,nodev" options_of /mnt/brasca/anna/SRV1/PROJECTS

# A volume without a source is as it was before: there for scripts, and nothing is mounted.
succeeds map 'Q:=SRV1/PLAIN:'
fails as anna ls "$T/home/anna/Q/"
expect_part "SRV1/PLAIN:  not mounted: no source is configured for the volume" map --status

# What the configuration does not allow is not mounted, whatever the directory says.
refused() {
    expect_part "qrt-automount: ACME: volume SRV1/PROJECTS: $1" automounter --refresh
    expect "" sh -c 'cd /mnt/brasca/bert/SRV1 2>/dev/null && "$0" PROJECTS' "$binaries/qrt-automount"
}
umount /mnt/brasca/anna/SRV1/PROJECTS
for source in "$T/volumes/private" "$T/volumes/shared2" /root; do
    tree "$source"
    refused "$source is not below one of the folders of [automount] in client.toml"
done
tree "$T/volumes/shared/../private"
refused "the path of the source is not valid"
tree "smb://evil.example/share" "sec=krb5"
refused "evil.example is not among the hosts of [automount] in client.toml"
tree "nfs://school.example/x" "sec=sys"
refused "school.example is not among the hosts of [automount] in client.toml"
tree "smb://fs1/a,uid=0" ""
tree "smb://fs1/a,uid=0" "ro"
refused "a share and its folders cannot have a comma or a double quote"
tree "$T/volumes/shared" "suid"
refused 'unknown, repeated or wrong mount option "suid"'
tree "https://fs1/share"
refused "the source is not smb://HOST/SHARE, nfs://HOST/PATH or /PATH"
for source in smb://fs1/share nfs://fs2.school.example/export "$T/volumes/shared"; do
    tree "$source"
    expect "" automounter --refresh
done

# A tree whose file a user can write does not count; what it gave before stays.
chown anna "$T/site/acme.ldif"
expect_part "$T/site/acme.ldif does not belong to root" automounter --refresh
expect_part "	SRV1	PROJECTS	$T/volumes/shared" cat /var/cache/brasca/site/volumes
sed -i "s,^folders = .*,folders = [\"$T/volumes/private\"]," /etc/opt/brasca/zk/client.toml
expect_part "$T/site/acme.ldif does not belong to root" automounter --refresh
fails grep PROJECTS /var/cache/brasca/site/volumes # as far as the configuration allows it
sed -i "s,^folders = .*,folders = [\"$T/volumes/shared\"]," /etc/opt/brasca/zk/client.toml
chown root "$T/site/acme.ldif"

# A change of the directory is seen when the copy has aged, and at once where something is not there yet.
sed -i 's/PLAIN/NEWER/' "$T/site/acme.ldif"
echo "qrtVolumeSource: $T/volumes/shared" >>"$T/site/acme.ldif"
sed -i '1s/.*/brasca-site 1 1/' /var/cache/brasca/site/volumes
succeeds map 'N:=SRV1/NEWER:'
expect plan as anna cat "$T/home/anna/N/projects/plan"

# A directory that never answers delays what the configuration itself says for no longer than its limit.
python3 -c 'import socket, sys, time
silent = socket.socket(socket.AF_UNIX)
silent.bind(sys.argv[1])
silent.listen()
time.sleep(1000)' "$T/silent" &
awaits 20 test -S "$T/silent"
sed -i "s,^ldif = .*,uris = [\"ldapi://$(echo "$T/silent" | sed 's,/,%2F,g')\"]\nsearch_base = \"o=acme\"," /etc/opt/brasca/zk/client.toml
printf '[[volume]]\nserver = "SRV2"\nname = "OWN"\nsource = "%s"\n' "$T/volumes/private" >>/etc/opt/brasca/zk/client.toml
automounter --refresh 2>/dev/null &
asking=$!
awaits 20 grep "SRV2	OWN" /var/cache/brasca/site/volumes
kill $asking || fail "the directory has answered"
expect_part "	SRV1	NEWER	$T/volumes/shared" cat /var/cache/brasca/site/volumes
succeeds map 'O:=SRV2/OWN:'
succeeds as anna ls "$T/home/anna/O/"
