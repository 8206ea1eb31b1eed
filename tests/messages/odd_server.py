"""A server on a loopback port for each way of not being an LDAP server."""
import contextlib
import socket
import ssl
import subprocess
import threading


def message(operation):
    """The LDAP message number 1."""
    return bytes([0x30, len(operation) + 3, 0x02, 0x01, 0x01]) + operation


def result(kind, code):
    return message(bytes([kind, 7, 0x0A, 0x01, code, 0x04, 0x00, 0x04, 0x00]))


SEARCH_DONE, EXTENDED = 0x65, 0x78
PARTIAL = bytes([0x30, 0x20, 0x02, 0x01, 0x01, 0x64])

# What is answered to the first request, and whether the connection is closed then.
ANSWERS = {
    "silent": (b"", False),
    "closes": (b"", True),
    "half_and_closes": (PARTIAL, True),
    "huge": (bytes([0x30, 0x84, 0x7F, 0xFF, 0xFF, 0xFF]), False),
    "garbage": (b"HTTP/1.0 400 Bad Request\r\n\r\n", False),
    "busy": (result(SEARCH_DONE, 51), False),
    "refuses": (result(EXTENDED, 2), False),
    "empty": (result(SEARCH_DONE, 0), False),
    "tls_garbage": (b"HTTP/1.0 400 Bad Request\r\n\r\n", True),
}


def make_certificate(folder, name):
    """A certificate of its own authority, made out to another name than the address."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days",
                    "3", "-subj", f"/O={name}", "-addext", "subjectAltName=DNS:other.example", "-keyout",
                    f"{folder}/{name}.key", "-out", f"{folder}/{name}.pem"], check=True, capture_output=True)


class OddServer:
    def __init__(self, kind, folder):
        self.kind, self.folder = kind, folder
        self.listener = socket.create_server(("127.0.0.1", 0))
        threading.Thread(target=self.serve, daemon=True).start()

    def uri(self):
        scheme = "ldaps" if self.kind.startswith("tls") else "ldap"
        return f"{scheme}://127.0.0.1:{self.listener.getsockname()[1]}"

    def serve(self):
        while True:
            connection = self.listener.accept()[0]
            threading.Thread(target=self.answer, args=[connection], daemon=True).start()

    def answer(self, connection):
        # The client goes away when it has had enough.
        with connection, contextlib.suppress(OSError):
            if self.kind == "tls":
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
                context.load_cert_chain(f"{self.folder}/CA.pem", f"{self.folder}/CA.key")
                connection = context.wrap_socket(connection, server_side=True)
                connection.recv(4096)
                return
            connection.recv(4096)
            answer, closes = ANSWERS[self.kind]
            connection.sendall(answer)
            if not closes:
                connection.recv(4096)
