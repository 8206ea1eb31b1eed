#!/bin/bash
# Runs a command in a private mount namespace in which the sample's volumes stand below the fixed mount point, as the
# network file system would put them:
#   scripts/with-volumes.sh FOLDER COMMAND [ARGUMENT...]
# FOLDER contains one folder for each server with one folder for each of its volumes. Nothing outside the command's own
# processes sees the mounts. The command runs as the user who called. Exit status 77: the kernel does not allow such a
# namespace.
set -eu
mount_point=/mnt/brasca

if [ "${1:-}" = --inside ]; then
    folder=$2 uid=$3 gid=$4 user=$5
    shift 5
    mount -t tmpfs volumes "${mount_point%/*}"
    mkdir -p "$mount_point/$user"
    cp -r "$folder"/. "$mount_point/$user"
    [ "$uid" -ne 0 ] || exec "$@"
    # Mounting took the rights of root; the drives are the user's own.
    exec unshare -U --map-user="$uid" --map-group="$gid" "$@"
fi
[ $# -ge 2 ] || { echo "usage: $0 FOLDER COMMAND [ARGUMENT...]" >&2; exit 64; }
folder=$(cd "$1" && pwd)
# As the programs call a user without an entry.
user=$(id -un 2>/dev/null) || user=user
shift
for namespaces in -Urm -m; do
    unshare $namespaces true 2>/dev/null || continue
    exec unshare $namespaces "$0" --inside "$folder" "$(id -u)" "$(id -g)" "$user" "$@"
done
echo "This kernel allows no private mount namespace: the sample's volumes are not there." >&2
exit 77
