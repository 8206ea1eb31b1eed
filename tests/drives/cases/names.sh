# Names with blanks, umlauts, quotes and whatever else means something to shells, to automount or to mount.
for volume in 'Lehrer Daten' "Müller's" 'a"b' 'x#y' 'p:q' 'u\v' '$HOME' '-o exec' 'a,b' '%s' '*' "' ; touch /tmp/x"; do
    mkdir -p "$T/volumes/$volume"
    echo "$volume" >"$T/volumes/$volume/name"
done
configure <<END
[[volume]]
server = "SRV 1"
name = "Lehrer Daten"
source = "$T/volumes/Lehrer Daten"

[[volume]]
server = "Straße"
name = "Müller's"
source = "$T/volumes/Müller's"

[[volume]]
server = "SRV#2"
name = 'a"b'
source = '$T/volumes/a"b'

[[volume]]
server = "-o exec"
name = "x#y"
source = "$T/volumes/x#y"

[[volume]]
server = "\$HOME"
name = "p:q"
source = "$T/volumes/p:q"

[[volume]]
server = "A,B"
name = "a,b"
source = "$T/volumes/a,b"

[[volume]]
server = "%s"
name = "*"
source = "$T/volumes/*"

[[volume]]
server = "&"
name = "%n"
source = "$T/volumes/%s"
END
automount_starts

expect "Drive H: = SRV 1/Lehrer Daten:" map 'H:=SRV 1/Lehrer Daten:'
expect "Drive I: = Straße/Müller's:" map "I:=Straße/Müller's:"
expect "Lehrer Daten" as anna cat "$T/home/anna/H/name"
expect "Müller's" as anna cat "$T/home/anna/I/name"
expect "H:   SRV 1/Lehrer Daten:  mounted
I:   Straße/Müller's:  mounted" map --status
expect 'a"b' as anna cat '/mnt/brasca/anna/SRV#2/a"b/name'
expect 'x#y' as anna cat '/mnt/brasca/anna/-o exec/x#y/name'
expect 'p:q' as anna cat '/mnt/brasca/anna/$HOME/p:q/name'
expect 'a,b' as anna cat '/mnt/brasca/anna/A,B/a,b/name'
expect '*' as anna cat '/mnt/brasca/anna/%s/*/name'
expect '%s' as anna cat '/mnt/brasca/anna/&/%n/name'
expect_part "nosuid,nodev" options_of '/mnt/brasca/anna/-o\040exec/x#y'
