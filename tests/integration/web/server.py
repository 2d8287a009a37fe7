#!/usr/bin/python3
"""Web servers for the tests: one plain, one with TLS, one that hangs up on everybody, on loopback
ports of their own.

usage: server.py FOLDER

Makes a certificate authority and a server certificate in FOLDER, prints one JSON line with the
ports and the authority's file, and serves until its standard input closes.
"""

import gzip
import http.server
import json
import os
import random
import socket
import ssl
import struct
import subprocess
import sys
import threading

CHUNK = 64 * 1024
# Answers after which the connection ends, by the name of the place where.
CUT = {
    "nowhere": (None, b"5\r\nshort\r\n0\r\n\r\n"),
    "in-length": (1000, b"short"),
    "in-size": (None, b"5\r\nshort\r\n1"),
    "in-chunk": (None, b"5\r\nsho"),
    "at-chunk-end": (None, b"5\r\nshort"),
    "after-chunk": (None, b"5\r\nshort\r\n"),
    "after-zero": (None, b"5\r\nshort\r\n0\r\n"),
}
HUGE = 200 * 1024 * 1024
closing = threading.Event()
lock = threading.Lock()
huge_sent = 0


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def make_certificates(folder):
    path = lambda name: os.path.join(folder, name)
    openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
            "-days", "2", "-subj", "/CN=Test Authority", "-keyout", path("ca.key"),
            "-out", path("ca.pem"))
    openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
            "-subj", "/CN=localhost", "-keyout", path("server.key"), "-out", path("server.csr"))
    with open(path("server.ext"), "w") as extensions:
        extensions.write("subjectAltName=DNS:localhost\n")
    openssl("x509", "-req", "-in", path("server.csr"), "-CA", path("ca.pem"), "-CAkey",
            path("ca.key"), "-CAcreateserial", "-days", "2", "-extfile", path("server.ext"),
            "-out", path("server.pem"))


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    plain_port = tls_port = 0

    def log_message(self, *arguments):
        pass

    def reply(self, status, body=b"", **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def head(self, length):
        self.send_response(200)
        if length is not None:
            self.send_header("Content-Length", str(length))
        else:
            self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        self.close_connection = True

    def chunk(self, data):
        self.wfile.write(b"%x\r\n%s\r\n" % (len(data), data))

    def hang(self):
        """Until the peer closes or the test ends."""
        self.wfile.flush()
        self.close_connection = True
        self.connection.settimeout(0.2)
        while not closing.is_set():
            try:
                if not self.connection.recv(1024):
                    return
            except (socket.timeout, ssl.SSLWantReadError):
                pass
            except OSError:
                return

    def goodbye(self):
        """The end of TLS before that of the connection, when it is asked for."""
        if self.path.endswith("?goodbye"):
            self.connection.unwrap()

    def reset(self):
        """The end of the connection comes as an error."""
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()
        self.close_connection = True

    def huge(self, chunked):
        global huge_sent
        self.head(None if chunked else HUGE)
        block = b"x" * CHUNK
        for _ in range(HUGE // CHUNK):
            self.chunk(block) if chunked else self.wfile.write(block)
            with lock:
                huge_sent += CHUNK
        if chunked:
            self.chunk(b"")

    def do_GET(self):
        try:
            self.answer(self.path.split("?")[0])
        except OSError:
            self.close_connection = True

    def answer(self, path):
        if path == "/ok":
            self.reply(200, "gr\u00fcn\n".encode())
        elif path == "/request":
            text = self.requestline + "\n" + "".join(
                f"{k}: {v}\n" for k, v in self.headers.items())
            self.reply(200, text.encode())
        elif path == "/early-hints":
            self.send_response_only(103)
            self.send_header("Link", "</style.css>; rel=preload")
            self.end_headers()
            self.reply(200, b"late")
        elif path == "/who-are-you":
            self.reply(401, b"who?", WWW_Authenticate="Negotiate")
        elif path == "/no-answer":
            self.close_connection = True
        elif path == "/empty":
            self.reply(200)
        elif path == "/no-content":
            self.send_response(204)
            self.end_headers()
        elif path == "/until-close":
            self.send_response(200)
            self.end_headers()
            self.wfile.write(b"until close")
            self.close_connection = True
            self.goodbye()
        elif path == "/gzip":
            self.reply(200, gzip.compress(b"packed"), Content_Encoding="gzip")
        elif path == "/bomb":
            self.reply(200, gzip.compress(b"x" * (64 * 1024 * 1024)), Content_Encoding="gzip")
        elif path == "/latin1":
            self.reply(200, b"gr\xfcn")
        elif path == "/missing":
            self.reply(404, b"no such page")
        elif path == "/broken":
            self.reply(500, b"trouble")
        elif path == "/redirect":
            self.reply(302, b"elsewhere", Location="/ok")
        elif path == "/redirect-missing":
            self.reply(301, Location="/missing")
        elif path == "/redirect-loop":
            self.reply(302, Location="/redirect-loop")
        elif path == "/redirect-plain":
            self.reply(302, Location=f"http://localhost:{self.plain_port}/ok")
        elif path == "/redirect-secure":
            self.reply(302, Location=f"https://localhost:{self.tls_port}/ok")
        elif path == "/redirect-file":
            self.reply(302, Location="file:///etc/hostname")
        elif path.startswith("/cut/"):
            length, text = CUT[path[5:]]
            self.head(length)
            self.wfile.write(text)
            if self.path.endswith("?reset"):
                self.reset()
            else:
                self.goodbye()
        elif path == "/silent":
            self.hang()
        elif path == "/stall":
            self.head(1000)
            self.wfile.write(b"short")
            self.hang()
        elif path == "/trickle":
            # Longer than the limit of the test in all, never without progress for so long.
            self.head(10)
            for _ in range(10):
                self.wfile.write(b"t")
                self.wfile.flush()
                closing.wait(0.5)
        elif path == "/huge":
            self.huge(chunked=False)
        elif path == "/huge-chunked":
            self.huge(chunked=True)
        elif path == "/huge-sent":
            with lock:
                self.reply(200, str(huge_sent).encode())
        else:
            self.reply(404)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def handle_error(self, request, client_address):
        pass  # a client that goes away is part of the tests


class HangingUp(Server):
    def finish_request(self, request, client_address):
        pass


class TlsServer(Server):
    context = None

    def finish_request(self, request, client_address):
        # Here, on the connection's thread, so that a failed handshake stops no other one.
        with self.context.wrap_socket(request, server_side=True) as secure:
            super().finish_request(secure, client_address)


def free_port():
    """One that the kernel gives to nobody else who asks for any."""
    while True:
        port = random.randrange(20000, 30000)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
                return port
            except OSError:
                pass


def main():
    folder = sys.argv[1]
    make_certificates(folder)
    plain = Server(("127.0.0.1", 0), Handler)
    secure = TlsServer(("127.0.0.1", 0), Handler)
    hanging_up = HangingUp(("127.0.0.1", 0), Handler)
    secure.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    secure.context.load_cert_chain(os.path.join(folder, "server.pem"),
                                   os.path.join(folder, "server.key"))
    Handler.plain_port = plain.server_address[1]
    Handler.tls_port = secure.server_address[1]
    free = free_port()
    for server in (plain, secure, hanging_up):
        threading.Thread(target=server.serve_forever, daemon=True).start()
    print(json.dumps({"plain": Handler.plain_port, "tls": Handler.tls_port, "free": free,
                      "hangingUp": hanging_up.server_address[1],
                      "ca": os.path.join(folder, "ca.pem")}), flush=True)
    sys.stdin.buffer.read()
    closing.set()


main()
