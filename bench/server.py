"""The other end of the measurements: as fast as a process can be on port 80, and slow on port 81.

usage: server.py      says "ready" when it listens, and ends with its standard input

Port 80 answers GET /N with N bytes and closes. Port 81 reads what it is sent with pauses, so that the sender is always
the one who waits.
"""

import socket
import sys
import threading
import time

BLOCK = bytes(1024 * 1024)
PIECE = 64 * 1024
PAUSE = 0.0005


def answer(connection):
    with connection:
        request = b""
        while b"\r\n\r\n" not in request:
            more = connection.recv(4096)
            if not more:
                return
            request += more
        size = int(request.split()[1].rsplit(b"/")[-1])
        connection.sendall(b"HTTP/1.0 200 OK\r\nContent-Length: %d\r\n\r\n" % size)
        while size > 0:
            size -= connection.send(BLOCK[: min(size, len(BLOCK))])


def read_slowly(connection):
    with connection:
        while connection.recv(PIECE):
            time.sleep(PAUSE)


def listen(port, handler):
    server = socket.socket()
    server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    if handler is read_slowly:
        server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, PIECE)
    server.bind(("127.0.0.1", port))
    server.listen(64)

    def serve():
        while True:
            connection, _ = server.accept()
            threading.Thread(target=carefully, args=(handler, connection), daemon=True).start()

    threading.Thread(target=serve, daemon=True).start()


def carefully(handler, connection):
    try:
        handler(connection)
    except OSError:
        pass  # the other end has gone, as the cycles do


listen(80, answer)
listen(81, read_slowly)
print("ready", flush=True)
sys.stdin.read()
