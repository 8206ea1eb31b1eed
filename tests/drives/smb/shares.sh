# Shares of a server, as two users at once; with the password of each, which a login has left.
echo "of the share" >"$T/shares/home/note"
echo "Stundenplan" >"$T/shares/Lehrer Daten/plan"
echo "Brot" >"$T/shares/Müller's/liste"
chmod 644 "$T/shares"/*/*
smb_password anna sunflower
smb_password bert "daisy, chips"
smb_server_starts
configure <<END
[automount]
credentials = true
hosts = ["fs1", "silent"]
smb_options = "vers=3.1.1"
time_limit = 4

[[volume]]
server = "FS1"
name = "HOME"
source = "smb://fs1/home"
END
credentials() {
    printf '%s\n\n%s\n' "$1" "$2" >"/run/user/$(id -u "$1")/brasca-credentials"
    chown "$1" "/run/user/$(id -u "$1")/brasca-credentials"
    chmod 600 "/run/user/$(id -u "$1")/brasca-credentials"
}
automount_starts
succeeds map 'H:=FS1/HOME:'
succeeds map 'L:=\\fs1\Lehrer Daten'
succeeds map "M:=//fs1/Müller's"

# Without a password left, the ticket would be used.
fails as anna ls "$T/home/anna/H/"
expect_part "H:   FS1/HOME:  not mounted: no Kerberos ticket" map --status
expect_part "sec=krb5,cruid=2001" cat "$T/told/words"

credentials anna wrong
awaits 20 sh -c "ls /mnt/brasca/anna/FS1/HOME; grep -q username=anna $T/told/words"
expect_part "H:   FS1/HOME:  not mounted: access denied" map --status
credentials anna sunflower
credentials bert "daisy, chips"
awaits 20 as anna ls "$T/home/anna/H/"
expect "of the share" as anna cat "$T/home/anna/H/note"
grep -q sunflower "$T/told/words" && fail "the password is in the command line"
expect_part "FS1/HOME:  mounted" map --status
expect "Stundenplan" as anna cat "$T/home/anna/L/plan"
expect "Brot" as anna cat "$T/home/anna/M/liste"
expect_part "L:   FS1/LEHRER DATEN:  mounted" map --status
expect_part "//fs1/müller's" cat "$T/told/words"

user=bert
succeeds map 'H:=FS1/HOME:'
succeeds map 'S:=\\FS1\staff'
as bert cat "$T/home/bert/H/note" >"$T/bert" 2>&1 &
one=$!
as anna cat "$T/home/anna/H/note" >"$T/anna" 2>&1 &
wait $one $!
expect "of the share" cat "$T/bert"
expect "of the share" cat "$T/anna"
expect "of the share" as bert cat "$T/home/bert/S/note"
fails as bert cat /mnt/brasca/anna/FS1/HOME/note
fails as anna cat /mnt/brasca/bert/FS1/HOME/note
user=anna
succeeds map 'S:=\\fs1\staff'
fails as anna ls "$T/home/anna/S/"
expect_part "S:   FS1/STAFF:  not mounted: access denied" map --status
succeeds map 'N:=\\fs1\none'
fails as anna ls "$T/home/anna/N/"
expect_part "N:   FS1/NONE:  not mounted: no such share" map --status

# A host of the list that never answers: the others' drives go on, and the attempt ends at its limit.
succeeds map 'X:=\\silent\share'
as anna ls "$T/home/anna/X/" >/dev/null 2>&1 &
waiting=$!
expect "of the share" as bert cat "$T/home/bert/H/note"
wait $waiting && fail "a silent server has an answer"
expect_part "X:   SILENT/SHARE:  not mounted: no answer from the server" map --status

# A server that stops in the middle: what was a drive fails, and does not hang.
kill -STOP "$smb_server" 2>/dev/null
pkill -KILL -P "$smb_server" 2>/dev/null
kill -KILL "$smb_server" ; wait "$smb_server" 2>/dev/null
timeout 100 setpriv --reuid anna --regid anna --clear-groups cat "$T/home/anna/H/note" >/dev/null 2>&1
[ $? -ne 124 ] || fail "a drive of a stopped server hangs"
user=bert
succeeds map 'N:=\\fs1\later'
fails as bert ls "$T/home/bert/N/"
expect_part "N:   FS1/LATER:  not mounted: no answer from the server" map --status
