#!/bin/bash
# Runs a case of cases/ with the kernel's autofs: in mount, network and process namespaces of its own, whose end ends
# whatever the case has started.
#   run.sh BINARIES CASE        with "smb/" before it a case of smb/, which have an SMB server too
# Exit status 77: the kernel, or the user, may not do this here.
set -u
here=$(cd "$(dirname "$0")" && pwd)

skip() {
    echo "skipped: $*" >&2
    exit 77
}

if [ "${1-}" != --inside ]; then
    [ "$(id -u)" -eq 0 ] || skip "only root can mount autofs"
    [ -c /dev/autofs ] || skip "the kernel has no autofs"
    command -v automount >/dev/null || PATH=$PATH:/usr/sbin
    command -v automount >/dev/null || skip "automount is not installed"
    unshare -m -n -p --fork --kill-child --mount-proc true 2>/dev/null || skip "the kernel allows no such namespaces"
    T=$(mktemp -d) || exit 1
    chmod 755 "$T"
    T=$T unshare -m -n -p --fork --kill-child --mount-proc setsid -w "$0" --inside "$@"
    status=$?
    rm -rf "$T"
    exit $status
fi
binaries=$2
name=$3
. "$here/rig.sh"
case $name in
    smb/*)
        . "$here/smb_rig.sh"
        . "$here/$name.sh"
        ;;
    *) . "$here/cases/$name.sh" ;;
esac
finish
