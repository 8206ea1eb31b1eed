#!/usr/bin/env python3
"""A file system whose server is dead: it is mounted on FOLDER, and whoever looks for something in it waits in the
kernel, where no signal ends that; with "deaf", SIGKILL does, as it does on NFS.
  dead_folder.py FOLDER [deaf]
"""

import ctypes
import os
import signal
import struct
import sys

INIT = 26
HEADER = struct.Struct("<IIQQIIII")  # length, operation, request, inode, uid, gid, pid, padding

device = os.open("/dev/fuse", os.O_RDWR)
options = f"fd={device},rootmode=40755,user_id=0,group_id=0,allow_other".encode()
libc = ctypes.CDLL(None, use_errno=True)
if libc.mount(b"dead", sys.argv[1].encode(), b"fuse", 6, options) != 0:
    sys.exit(f"cannot mount: {os.strerror(ctypes.get_errno())}")
while True:
    _, operation, request, *_ = HEADER.unpack_from(os.read(device, 1 << 20))
    if operation == INIT:
        answer = struct.pack("<IIIIHHIIHHI28x", 7, 31, 0, 0, 0, 0, 4096, 1, 0, 0, 0)
        os.write(device, struct.pack("<IiQ", 16 + len(answer), 0, request) + answer)
        if sys.argv[2:] == ["deaf"]:
            signal.pause()
