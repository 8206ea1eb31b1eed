#!/bin/bash
# Runs a command in a private mount namespace in which the sample's volumes stand below the fixed mount point, as the
# network file system would put them:
#   scripts/with-volumes.sh FOLDER COMMAND [ARGUMENT...]
# FOLDER holds one folder for each server with one folder for each of its volumes. Nothing outside the command's own
# processes sees the mounts. Exit status 77: the kernel does not allow such a namespace.
set -eu
mount_point=/mnt/brasca

if [ "${1:-}" = --inside ]; then
    shift
    folder=$1
    shift
    mount -t tmpfs volumes "${mount_point%/*}"
    user=$(id -un)
    mkdir -p "$mount_point/$user"
    cp -r "$folder"/. "$mount_point/$user"
    exec "$@"
fi
[ $# -ge 2 ] || { echo "usage: $0 FOLDER COMMAND [ARGUMENT...]" >&2; exit 64; }
folder=$(cd "$1" && pwd)
shift
for namespaces in -Urm -m; do
    unshare $namespaces true 2>/dev/null || continue
    exec unshare $namespaces "$0" --inside "$folder" "$@"
done
echo "This kernel allows no private mount namespace: the sample's volumes are not there." >&2
exit 77
