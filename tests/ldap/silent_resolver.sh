#!/bin/sh
# Runs a command where every question to a name server stays without an answer:
#   tests/ldap/silent_resolver.sh FOLDER COMMAND [ARGUMENT...]
# The name server is a socket on 127.0.0.1 in a network of the command's own, which nobody else sees. FOLDER has the files
# hosts, resolv.conf and nsswitch.conf that the command is to find in /etc; the number of questions is written there.
# Exit status 77: the kernel does not allow such a namespace.
set -eu
if [ "$1" = --inside ]; then
    for file in hosts resolv.conf nsswitch.conf; do mount --bind "$2/$file" "/etc/$file"; done
    shift
    exec python3 -c '
import fcntl, select, socket, struct, subprocess, sys
folder, command = sys.argv[1], sys.argv[2:]
silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
SIOCSIFFLAGS, UP_AND_RUNNING = 0x8914, 0x41
fcntl.ioctl(silent, SIOCSIFFLAGS, struct.pack("16sh14x", b"lo", UP_AND_RUNNING))
silent.bind(("127.0.0.1", 53))
status = subprocess.call(command, pass_fds=[3])
questions = 0
while select.select([silent], [], [], 0)[0]:
    silent.recv(4096)
    questions += 1
open(folder + "/questions", "w").write(str(questions))
sys.exit(status)
' "$@"
fi
unshare -Urmn true 2>/dev/null || exit 77
exec unshare -Urmn "$0" --inside "$@"
