# docs/drives.md: from nothing to a share of a Samba server, which is configured on the same machine.
. "$here/manual_rig.sh"
cp "$T/sbin/mount.cifs" /usr/sbin/mount.cifs
mkdir -p "$T/site" /etc/opt/brasca/zk
cat >"$T/site/acme.ldif" <<END
dn: o=acme
objectClass: organization
o: acme

dn: cn=anna,o=acme
objectClass: inetOrgPerson
cn: anna
sn: Anna
userPassword: {CRYPT}$(openssl passwd -6 sunflower)
END
chmod 644 "$T/site/acme.ldif"
configure <<END
[[tree]]
name = "ACME"
ldif = "$T/site/acme.ldif"
END
sed -i '/^\[home\]/,/^$/d' "$T/smb/smb.conf"
cp "$T/smb/smb.conf" /etc/samba/smb.conf
cat >"$T/bin/smbpasswd" <<END
#!/bin/sh
printf 'sunflower\nsunflower\n' | /usr/bin/smbpasswd -c $T/smb/smb.conf -s "\$@"
END
chmod 755 "$T/bin/smbpasswd"
succeeds try samba
expect_part "smbd restart" cat "$T/services"
cp /etc/samba/smb.conf "$T/smb/smb.conf"
smb_server_starts
echo text >/srv/home/anna/letter
terminal=("$here/at_terminal.py" sunflower)
expect_part "letter" try machine smb
expect_part "FS1/HOME:anna  mounted" su - anna -c 'map --status'
