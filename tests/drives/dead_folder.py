#!/usr/bin/env python3
"""A file system whose server is dead: it is mounted on FOLDER, and whoever looks for something in it waits in the
kernel, where no signal ends that; with "deaf", SIGKILL does, as it does on NFS. With the others it shows what is in
SOURCE, and the server dies when it has answered OPERATION for something called NAME, deaf as well.
  dead_folder.py FOLDER [deaf]
  dead_folder.py FOLDER SOURCE (lookup|open|opendir) NAME
"""

import ctypes
import errno
import os
import signal
import struct
import sys

LOOKUP, FORGET, GETATTR, OPEN, READ, RELEASE = 1, 2, 3, 14, 15, 18
INIT, OPENDIR, READDIR, RELEASEDIR, ACCESS, BATCH_FORGET = 26, 27, 28, 29, 34, 42
OPERATIONS = {"lookup": LOOKUP, "open": OPEN, "opendir": OPENDIR}
NO_FLUSH = 1 << 5  # whoever is killed with an open file would wait for it
HEADER = struct.Struct("<IIQQIIII")  # length, operation, request, inode, uid, gid, pid, padding
READING = struct.Struct("<8xQI")  # of the handle that it begins with, where, how much


def mounted(folder):
    device = os.open("/dev/fuse", os.O_RDWR)
    options = f"fd={device},rootmode=40755,user_id=0,group_id=0,allow_other".encode()
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.mount(b"dead", folder.encode(), b"fuse", 6, options) != 0:
        sys.exit(f"cannot mount: {os.strerror(ctypes.get_errno())}")
    return device


def attributes(number, path):
    found = os.lstat(path)
    return struct.pack(
        "<6Q10I", number, found.st_size, 0, 0, 0, 0, 0, 0, 0, found.st_mode, 1, found.st_uid, found.st_gid, 0, 4096, 0
    )


def listing(path):
    items = b""
    for position, name in enumerate(sorted(os.listdir(path)), 1):
        kind = os.lstat(f"{path}/{name}").st_mode >> 12
        name = name.encode()
        items += struct.pack("<QQII", position, position, len(name), kind) + name + b"\0" * (-len(name) % 8)
    return items


class Server:
    """The folders and files of SOURCE; nothing is remembered by the kernel."""

    def __init__(self, source):
        self.paths = [None, source]  # by inode

    def answer(self, operation, number, data):
        if operation == INIT:
            return struct.pack("<IIIIHHIIHHI28x", 7, 31, 0, 0, 0, 0, 4096, 1, 0, 0, 0)
        path = self.paths[number]
        if operation == LOOKUP:
            path += "/" + data.rstrip(b"\0").decode()
            if path not in self.paths and os.path.lexists(path):
                self.paths.append(path)
            number = self.paths.index(path) if path in self.paths else 0
            return struct.pack("<QQQQII", number, 0, 0, 0, 0, 0) + attributes(number, path) if number else None
        if operation == GETATTR:
            return struct.pack("<QII", 0, 0, 0) + attributes(number, path)
        if operation in (OPEN, OPENDIR):
            return struct.pack("<QII", 0, NO_FLUSH, 0)
        if operation == READ:
            at, size = READING.unpack_from(data)
            with open(path, "rb") as file:
                return file.read()[at : at + size]
        if operation == READDIR:
            return listing(path) if READING.unpack_from(data)[0] == 0 else b""
        return b"" if operation in (RELEASE, RELEASEDIR, ACCESS) else NotImplemented


def serve(device, server, deadly, name):
    """Until the server has answered what is deadly."""
    while True:
        request = os.read(device, 1 << 20)
        _, operation, identity, number, *_ = HEADER.unpack_from(request)
        data = request[HEADER.size :]
        if operation in (FORGET, BATCH_FORGET):
            continue
        answer = server.answer(operation, number, data)
        failure = {None: -errno.ENOENT, NotImplemented: -errno.ENOSYS}.get(answer, 0)
        body = b"" if failure else answer
        os.write(device, struct.pack("<IiQ", 16 + len(body), failure, identity) + body)
        asked = data.rstrip(b"\0").decode() if operation == LOOKUP else os.path.basename(server.paths[number] or "")
        if operation == deadly and asked == name:
            return


folder, *how = sys.argv[1:]
device = mounted(folder)
if len(how) == 3:
    serve(device, Server(how[0]), OPERATIONS[how[1]], how[2])
else:
    serve(device, Server(folder), INIT, "")
if not how:
    while True:
        os.read(device, 1 << 20)
signal.pause()
