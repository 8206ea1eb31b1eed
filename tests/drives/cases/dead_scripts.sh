# A folder of scripts on a mount whose server is dead does not hold a login.
[ -c /dev/fuse ] || skip "there is no /dev/fuse"
mkdir -p "$T/dead"
cat >"$T/acme.ldif" <<END
dn: o=acme
objectClass: organization
o: acme
END
configure <<END
[[tree]]
name = "ACME"
ldif = "$T/acme.ldif"
scripts = "$T/dead"
END
"$here/dead_folder.py" "$T/dead" deaf &
awaits 20 is_mounted "$T/dead"
# (A search for leaks would wait for the thread.)
expect_part "cannot open $T/dead: Connection timed out" \
    as anna ASAN_OPTIONS=detect_leaks=0 "$binaries/qrtlogin" --password-fd 0 anna.acme <<<x
