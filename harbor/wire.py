"""The stand-in's connections: requests are cut out of the stream, answers go out, with whatever fault they meet on the
way. They stay open between requests, and nothing limits them: that is the carrier's task where people live."""

import re
import socket
import struct
import threading
import time
from collections.abc import Callable, Iterator

from harbor.answers import Answer
from harbor.faults import Fault, Faults
from harbor.journal import Journal, Record
from harbor.routes import Malformed, Request, Routes, malformed

LARGEST_REQUEST = 16384
END_OF_REQUEST = re.compile(rb"\r?\n\r?\n")  # bare line feeds end a request too, if only to be told off


def close_by_reset(sock: socket.socket) -> None:
    """From now on a close of the connection is a reset instead of an orderly end."""
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


Answering = Callable[[Request], Answer]


class Connection:
    def __init__(self, number: int, sock: socket.socket, answer: Answering, faults: Faults, journal: Journal):
        self._number = number
        self._sock = sock
        self._answer = answer
        self._faults = faults
        self._journal = journal
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)  # a segment is a segment

    def run(self) -> None:
        """Answers request after request, until an answer ends the connection or the peer is gone."""
        try:
            for raw in self._requests():
                if not self._exchange(raw):
                    self._end_in_order()
                    break
        except OSError:
            pass  # the peer left, or abort() was called
        finally:
            self._sock.close()

    def abort(self) -> None:
        """Resets the connection, from any thread."""
        try:
            close_by_reset(self._sock)
            self._sock.shutdown(socket.SHUT_RD)  # or a thread that reads would keep the connection alive
            self._sock.close()
        except OSError:
            pass  # it has just ended by itself

    def _end_in_order(self) -> None:
        """Reads what still comes before closing: a close with bytes unread would reset the connection, and the client
        would lose the answer."""
        self._sock.shutdown(socket.SHUT_WR)
        self._sock.settimeout(2)
        while self._sock.recv(65536):
            pass

    def _requests(self) -> Iterator[bytes]:
        buffer = b""
        while True:
            end = END_OF_REQUEST.search(buffer)
            if end or len(buffer) > LARGEST_REQUEST:
                cut = end.end() if end else len(buffer)
                yield buffer[:cut]
                buffer = buffer[cut:]
                continue
            chunk = self._sock.recv(65536)
            if not chunk:
                if buffer:
                    yield buffer
                return
            buffer += chunk

    def _exchange(self, raw: bytes) -> bool:
        """Answers one request; true if the connection goes on."""
        record = self._journal.open(self._number, raw)
        try:
            method = None
            try:
                request = Request.parse(raw)
                record.host = request.host
                record.kind, _ = Routes.kind(request)
                method = Routes.method(request) if record.kind == "api" else None
                answer = self._answer(request)
            except Malformed:
                answer = malformed()
            fault = self._faults.take(record.kind, method) or Fault("any")
            answer = fault.alter(answer)
            record.answer = answer.label
            self._send(answer, fault, record)
            return answer.keep and fault.cut is None and fault.reset is None
        finally:
            self._journal.finish(record)

    def _send(self, answer: Answer, fault: Fault, record: Record) -> None:
        data = answer.encode()
        for start, end, seconds in fault.steps(len(data)):
            self._sock.sendall(data[start:end])
            record.sent = end
            if seconds != 0:
                fault.wait(seconds)
        if fault.reset is not None:
            time.sleep(0.05)  # a reset overtakes what the client has not read yet
            close_by_reset(self._sock)
            self._sock.close()


class Listener:
    """The port. It can be closed, so that connections are refused, and opened again under the same number."""

    def __init__(self, bind: str, port: int, answer: Answering, faults: Faults, journal: Journal):
        self._address = bind, port
        self._parts = answer, faults, journal
        self._socket: socket.socket | None = None
        self._open: set[Connection] = set()
        self._count = 0
        self._lock = threading.RLock()
        with self._lock:
            self.listen()
            self._address = bind, self.port

    @property
    def port(self) -> int:
        return int(self._socket.getsockname()[1]) if self._socket else self._address[1]

    def listen(self) -> None:
        with self._lock:
            if self._socket is None:
                self._socket = socket.create_server(self._address, backlog=64)
                threading.Thread(target=self._accept, args=(self._socket,), daemon=True).start()

    def refuse(self) -> None:
        with self._lock:
            if self._socket is not None:
                self._socket.shutdown(socket.SHUT_RDWR)  # wakes accept()
                self._socket.close()
                self._socket = None

    def abort_connections(self) -> int:
        """Resets all open connections and tells how many there were."""
        with self._lock:
            for connection in self._open:
                connection.abort()
            return len(self._open)

    def _accept(self, listening: socket.socket) -> None:
        while True:
            try:
                sock, _ = listening.accept()
            except OSError:
                if listening.fileno() < 0 or self._socket is not listening:
                    return  # closed by refuse()
                time.sleep(0.05)  # no descriptor is free; one will be
                continue
            with self._lock:
                self._count += 1
                connection = Connection(self._count, sock, *self._parts)
                self._open.add(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection: Connection) -> None:
        try:
            connection.run()
        finally:
            with self._lock:
                self._open.discard(connection)
