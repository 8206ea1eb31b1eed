#!/bin/sh
# Runs a command where the only name server is the test's own:
#   tests/ldap/private_resolver.sh FOLDER COMMAND [ARGUMENT...]
# It is on 127.0.0.1 in a network of the command's own, which nobody else sees, and answers as FOLDER/zone says, without
# one nothing at all (name_server.py). FOLDER has the files hosts, resolv.conf and nsswitch.conf that the command is to
# find in /etc, perhaps ca-certificates.crt as well; the number of questions is written there.
# Exit status 77: the kernel does not allow such a namespace.
set -eu
if [ "$1" = --inside ]; then
    for file in hosts resolv.conf nsswitch.conf; do mount --bind "$2/$file" "/etc/$file"; done
    [ ! -e "$2/ca-certificates.crt" ] || mount --bind "$2/ca-certificates.crt" /etc/ssl/certs/ca-certificates.crt
    shift
    exec python3 "${0%/*}/name_server.py" "$@"
fi
unshare -Urmn true 2>/dev/null || exit 77
exec unshare -Urmn "$0" --inside "$@"
