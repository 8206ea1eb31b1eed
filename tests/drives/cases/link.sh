# Without an automounter: drives of local folders are links to the folders themselves.
mkdir -p "$T/volumes/users/anna/deep er" "$T/volumes/users/inner" /mnt/brasca
echo hello >"$T/volumes/users/anna/note"
configure <<END
mount = "link"

[[volume]]
server = "SRV1"
name = "USERS"
source = "$T/volumes/users"

[[volume]]
server = "SRV1"
name = "INNER"
source = "$T/volumes/users/inner"

[[volume]]
server = "FS1"
name = "HOME"
source = "smb://fs1/home"
END
expect "Drive H: = SRV1/USERS:anna" map 'H:=srv1/users:anna'
expect "Drive I: = SRV1/INNER:" map 'I:=SRV1/INNER:'
expect "Drive D: = SRV1/USERS:anna/deep er" map 'D:=H:deep er'
expect "$T/volumes/users/anna" readlink "$T/home/anna/H"
expect "hello" as anna cat "$T/home/anna/H/note"
expect_part "Drives
D:   SRV1/USERS:anna/deep er
H:   SRV1/USERS:anna
I:   SRV1/INNER:" map
expect "D:   SRV1/USERS:anna/deep er  a folder of this machine
H:   SRV1/USERS:anna  a folder of this machine
I:   SRV1/INNER:  a folder of this machine" map --status
expect_part "no such directory: SRV1/USERS:bert" map 'B:=SRV1/USERS:bert'
expect_part "the path leads outside the volume" map 'B:=SRV1/USERS:../x'
expect_part "no such directory: FS1/HOME:" map 'B:=FS1/HOME:'
as anna ln -s "$T/volumes/usersX" "$T/home/anna/X"
as anna ln -s "$T/volumes/users/../users" "$T/home/anna/Y"
expect_part "X is not a drive link and was left unchanged" map DEL X:
expect_part "Y is not a drive link and was left unchanged" map DEL Y:
expect "Drive D: is no longer mapped." map DEL D:
expect "" as anna "$binaries/qrtlogin" --logout
expect "X Y" sh -c "cd '$T/home/anna' && echo *"
