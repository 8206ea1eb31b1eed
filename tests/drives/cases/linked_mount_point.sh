# A mount point that is a symbolic link: the kernel knows its mounts by the path behind it.
mkdir -p /mnt/real/anna/SRV1/USERS
rmdir /mnt/brasca
ln -s real /mnt/brasca
configure <<END
[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes"
END
succeeds map 'H:=SRV1/USERS:'
expect "H:   SRV1/USERS:  not in use" map --status
mount -t tmpfs tmpfs /mnt/real/anna/SRV1/USERS
expect "H:   SRV1/USERS:  mounted" map --status
