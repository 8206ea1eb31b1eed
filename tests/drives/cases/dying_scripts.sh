# A folder of scripts on a mount whose server dies in the middle of a login does not hold it, wherever that is; nor does
# a tree's file.
[ -c /dev/fuse ] || skip "there is no /dev/fuse"
umask 022
mkdir -p "$T/site/acme" "$T/tree"
cat >"$T/acme.ldif" <<END
dn: o=acme
objectClass: organization
o: acme

dn: cn=anna,o=acme
objectClass: inetOrgPerson
cn: anna
sn: Lark
userPassword: {CRYPT}$(openssl passwd -6 secret)

dn: cn=note,o=acme
objectClass: groupOfNames
cn: note
END
{
    cat "$T/acme.ldif"
    echo "description:< file:value"
} >"$T/tree/acme.ldif"
echo "from a file" >"$T/tree/value"
cd "$T/site" || exit
echo "version = 1" >site.toml
printf 'dn: cn=FS1,o=acme\nobjectClass: qrtServer\n' >site.ldif
printf 'WRITE "hello"\nINCLUDE .note.acme\nINCLUDE .note.acme\nWRITE "bye"\n' >acme/anna.qrt
printf 'WRITE "noted"\n' >acme/note.qrt

# dying NAME SOURCE OPERATION ITEM: the folder $T/NAME with what is in SOURCE, which dies like this.
dying() {
    mkdir "$T/$1"
    "$here/dead_folder.py" "$T/$1" "$2" "$3" "$4" &
    awaits 20 is_mounted "$T/$1"
}
# tree NAME FOLDER FILE...
tree() {
    printf '[[tree]]\nname = "%s"\nldif = "%s"\n' "$1" "$3"
    [ -z "$2" ] || printf 'scripts = "%s"\n' "$2"
}
while read -r name operation item; do
    dying "$name" "$T/site" "$operation" "$item"
    tree "$name" "$T/$name" "$T/acme.ldif"
done <<END >"$T/trees"
LIVING lookup nothing
FORM open site.toml
ENTRIES lookup site.ldif
LIST opendir acme
SCRIPT open anna.qrt
LATER open note.qrt
END
dying FILE "$T/tree" open acme.ldif
dying VALUE "$T/tree" open value
{
    cat "$T/trees"
    tree FILE "" "$T/FILE/acme.ldif"
    tree VALUE "" "$T/VALUE/acme.ldif"
} | configure

# shows NAME TEXT: what the login to that tree has written contains this.
shows() { expect_part "$2" cat "$T/$1.out"; }
# (A search for leaks would wait for the threads.)
logins=
for name in LIVING FORM ENTRIES LIST SCRIPT LATER FILE VALUE; do
    as anna ASAN_OPTIONS=detect_leaks=0 "$binaries/qrtlogin" --password-fd 0 --tree $name .anna.acme <<<secret \
        >"$T/$name.out" 2>&1 &
    logins="$logins $!"
done
# shellcheck disable=SC2086 # a list of words
wait $logins
shows LIVING "hello
noted
noted
bye"
shows FORM "cannot open $T/FORM/site.toml: Connection timed out"
shows ENTRIES "cannot open $T/ENTRIES/site.ldif: Connection timed out"
shows LIST "cannot open $T/LIST/acme/: Connection timed out"
shows SCRIPT "cannot log in as .anna.acme to tree SCRIPT"
shows SCRIPT "cannot open $T/SCRIPT/acme/anna.qrt: Connection timed out"
# It was logged in by then: the scripts go on without the script.
shows LATER "hello
Unable to find file: .note.acme
Unable to find file: .note.acme
bye"
shows FILE "$T/FILE/acme.ldif: cannot open the file: Connection timed out"
shows VALUE "$T/VALUE/acme.ldif:14: $T/VALUE/value: cannot open the file: Connection timed out"
