"""name_server.py FOLDER COMMAND [ARGUMENT...]: a name server on 127.0.0.1 for as long as the command runs.

Lines of FOLDER/zone, for questions after SRV records; what is not there stays without an answer:
    NAME answer PRIORITY WEIGHT PORT TARGET [...]     also none at all
    NAME absent | failure | truncated
    NAME bytes HEX                                    what follows the question
Lines of FOLDER/forward, for servers that listen on a local socket:
    PORT PATH [CERTIFICATE KEY]                       with a certificate over TLS
The number of questions becomes FOLDER/questions.
"""

import fcntl
import os
import select
import socket
import ssl
import struct
import subprocess
import sys
import threading

FOLDER, COMMAND = sys.argv[1], sys.argv[2:]
NO_ERROR, FAILURE, ABSENT = 0, 2, 3
AUTHORITATIVE_ANSWER, TRUNCATED = 0x8400, 0x0200


def lines(name):
    path = f"{FOLDER}/{name}"
    return [line.split() for line in open(path)] if os.path.exists(path) else []


def encoded(name):
    parts = [part for part in name.split(".") if part]
    return b"".join(bytes([len(part)]) + part.encode() for part in parts) + b"\0"


def records(words):
    for i in range(0, len(words), 4):
        data = struct.pack(">3H", *map(int, words[i : i + 3])) + encoded(words[i + 3])
        yield struct.pack(">3HIH", 0xC00C, 33, 1, 60, len(data)) + data


ZONE = {encoded(name).lower(): (mode, rest) for name, mode, *rest in lines("zone")}


def answer(question):
    """To a question of 12 bytes of header, the name, type and class; None for silence."""
    end = question.index(b"\0", 12) + 1
    mode, rest = ZONE.get(question[12:end].lower(), (None, []))
    code = {"failure": FAILURE, "absent": ABSENT}.get(mode, NO_ERROR)
    flags = AUTHORITATIVE_ANSWER | code | (TRUNCATED if mode == "truncated" else 0)
    found = list(records(rest)) if mode == "answer" else []
    count = len(found) if mode != "bytes" else 1
    data = b"".join(found) if mode != "bytes" else bytes.fromhex("".join(rest))
    head = question[:2] + struct.pack(">5H", flags, 1, count, 0, 0)
    return head + question[12 : end + 4] + data if mode else None


def pass_on(source, target):
    try:
        while data := source.recv(65536):
            target.sendall(data)
        target.shutdown(socket.SHUT_WR)
    except OSError:
        pass


def forward(port, path, certificate=None, key=None):
    listener = socket.create_server(("127.0.0.1", int(port)))
    while True:
        client, _ = listener.accept()
        try:
            if certificate:
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
                context.load_cert_chain(certificate, key)
                client = context.wrap_socket(client, server_side=True)
            server = socket.socket(socket.AF_UNIX)
            server.connect(path)
        except OSError:
            client.close()
            continue
        for pair in ((client, server), (server, client)):
            threading.Thread(target=pass_on, args=pair, daemon=True).start()


def serve(names, stop):
    questions = 0
    while names in select.select([names, stop], [], [])[0]:
        question, asker = names.recvfrom(4096)
        questions += 1
        if reply := answer(question):
            names.sendto(reply, asker)
    return questions


names = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
SIOCSIFFLAGS, UP_AND_RUNNING = 0x8914, 0x41
fcntl.ioctl(names, SIOCSIFFLAGS, struct.pack("16sh14x", b"lo", UP_AND_RUNNING))
names.bind(("127.0.0.1", 53))
for words in lines("forward"):
    threading.Thread(target=forward, args=words, daemon=True).start()
ended, end = os.pipe()
command = subprocess.Popen(COMMAND, pass_fds=[3])
threading.Thread(target=lambda: (command.wait(), os.close(end)), daemon=True).start()
count = serve(names, ended)
open(f"{FOLDER}/questions", "w").write(str(count))
sys.exit(command.wait())
