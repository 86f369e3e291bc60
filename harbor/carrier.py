"""How a household's harbor is carried to the net: waitress, within limits of its own."""

import contextlib
import copy
import ctypes
import errno
import logging
import resource
import socket
import threading
import time
from collections.abc import Callable, Iterable
from dataclasses import replace
from pathlib import Path
from typing import TYPE_CHECKING, Any

from waitress.adjustments import Adjustments
from waitress.channel import HTTPChannel
from waitress.parser import HTTPRequestParser
from waitress.server import TcpWSGIServer
from waitress.task import ErrorTask, ThreadedTaskDispatcher
from waitress.wasyncore import close_all, loop

from harbor.answers import Answer, page, refusal
from harbor.journal import Journal
from harbor.routes import Request, broken, malformed
from harbor.web.app import LARGEST_FORM, SENDING

if TYPE_CHECKING:
    from harbor.service import Site

THREADS = 24  # more than may wait for their turn at scaling, so that there is always one for what is quick
MOST_CONNECTIONS = 1000
OWN_FILES = 96  # descriptors that are not connections: pictures, the store's, one for each thread
SILENCE = 60  # seconds without a word before a connection is closed
HEADER = 10  # seconds from the first byte of a request to the end of its header
SLOWEST = 2000  # bytes a second, at which what follows the header has to come after some silence
LINGER = 30  # seconds, and
LEAST_DROPPED = 64 << 20  # bytes of what a refused request goes on with that are read before the connection is closed

BUSY = refusal("503 Service Unavailable", "Too many are here at once, please try again in a minute")
SLOW = refusal("408 Request Timeout", "This request took too long to come")
TOO_LARGE = page("Too large", "<p>That is more than this harbor takes at once. Send fewer pictures, or smaller ones."
                 "</p>", "413 Request Entity Too Large")

Start = Callable[[str, list[tuple[str, str]]], Any]


class _Parser(HTTPRequestParser):
    """Clients name the host in the request line, as they would to a proxy, and in no header."""

    adj: Any

    def __init__(self, adj: Any):
        super().__init__(adj)
        self._began = time.time()

    def received(self, data: bytes) -> int:
        consumed = int(super().received(data))
        if self.error:
            self.expect_continue = False  # or the channel would ask for the very body that is refused
        return consumed

    def parse_header(self, header_plus: bytes) -> None:
        super().parse_header(header_plus)
        if self.proxy_netloc:
            self.headers["HOST"] = self.proxy_netloc
        if self.path != SENDING:
            self.adj = self.adj.for_forms

    def is_late(self, now: float) -> bool:
        allowed = HEADER + (SILENCE + self.body_bytes_received / SLOWEST if self.headers_finished else 0)
        return bool(now > self._began + allowed)


class _Refusal(ErrorTask):
    """The answer to what is no request, or one beyond the limits."""

    def execute(self) -> None:
        problem = self.request.error
        answer = {413: TOO_LARGE, 500: broken()}.get(problem.code) or malformed()
        answer = replace(answer, status=f"{problem.code} {problem.reason}")
        self.status = answer.status
        self.response_headers += [*answer.headers.items(), ("Connection", "close")]
        self.content_length = len(answer.body)
        self.close_on_finish = self.channel.is_refused = True
        self.write(answer.body)


class _Channel(HTTPChannel):
    """A connection. Where a request was refused, it ends the sending side and reads on for a while: a close with bytes
    unread would reset the connection, and the refusal would be lost (RFC 9112, 9.6)."""

    parser_class = _Parser
    error_task_class = _Refusal
    request: _Parser | None
    is_refused = will_close = False
    _lingers_until = 0.0
    _dropped = 0

    def look_at_the_clock(self, now: float) -> None:
        if self._lingers_until:
            self.will_close = self.will_close or now > self._lingers_until
        elif self.request is not None and not self.requests and self.request.is_late(now):
            self.request.close()
            self.request = None
            with contextlib.suppress(OSError):
                self.socket.send(SLOW.encode())  # which nothing goes before
            self.is_refused = self.will_close = True

    def handle_close(self) -> None:
        if self.is_refused and self.will_close and not self._lingers_until:
            self.will_close = False
            self._lingers_until = time.time() + LINGER
            with contextlib.suppress(OSError):
                self.socket.shutdown(socket.SHUT_WR)
        else:
            super().handle_close()

    def received(self, data: bytes) -> bool:
        if not self._lingers_until:
            return bool(super().received(data))
        self._dropped += len(data)
        self.will_close = self._dropped > max(LEAST_DROPPED, self.adj.max_request_body_size)
        return True


class _Server(TcpWSGIServer):
    """A listening socket. Who comes when all places are taken is told so; one without a word for long makes place."""

    channel_class = _Channel
    most_connections = MOST_CONNECTIONS
    _next_look = 0.0

    def readable(self) -> bool:
        now = time.time()
        if now >= self._next_look:
            self._next_look = now + self.adj.cleanup_interval
            self.maintenance(now)  # closes the silent ones
            for channel in list(self.active_channels.values()):
                channel.look_at_the_clock(now)
        return bool(self.accepting)

    def handle_accept(self) -> None:
        try:
            accepted = self.accept()
        except OSError as problem:
            if problem.errno in (errno.EMFILE, errno.ENFILE, errno.ENOBUFS, errno.ENOMEM):
                time.sleep(0.05)  # not to spin; the places are counted so that this takes somebody else's doing
            return
        if accepted is None:
            return
        sock, address = accepted
        if len(self._map) >= self.most_connections:
            try:
                sock.setblocking(False)
                sock.send(BUSY.encode())
                sock.shutdown(socket.SHUT_WR)
                sock.recv(65536)  # what is unread at the close would take the answer with it
            except OSError:
                pass
            sock.close()
            return
        self.set_socket_options(sock)
        self.channel_class(self, sock, self.fix_addr(address), self.adj, map=self._map)


class Carrier:
    """Listens at all addresses of the settings until it is stopped. Raises OSError where it cannot."""

    def __init__(self, site: "Site", log: Path | str | None):
        self._site = site
        self._pages: Callable[[dict[str, Any], Start], Iterable[bytes]] = site.pages
        self._journal = Journal(log, most=0)
        logging.getLogger("waitress").setLevel(logging.ERROR)  # a queue is no news, and peers come and go
        self._map: dict[int, Any] = {}
        self._stopped = False
        largest_body = int(site.pages.config["MAX_CONTENT_LENGTH"] or 0) + (1 << 20)
        adjustments = Adjustments(
            ident=None, threads=THREADS, channel_timeout=SILENCE, cleanup_interval=1, asyncore_use_poll=True,
            max_request_header_size=16384, max_request_body_size=largest_body, expose_tracebacks=False,
            clear_untrusted_proxy_headers=True,
        )
        adjustments.for_forms = copy.copy(adjustments)
        adjustments.for_forms.max_request_body_size = LARGEST_FORM + 1
        self._dispatcher = ThreadedTaskDispatcher()
        self._dispatcher.set_thread_count(THREADS)
        _Server.most_connections = min(MOST_CONNECTIONS, descriptors() - OWN_FILES)
        give_memory_back()
        self._servers = [
            _Server(self._application, map=self._map, dispatcher=self._dispatcher, adj=adjustments, _sock=each,
                    sockinfo=(each.family, each.type, each.proto, each.getsockname()), bind_socket=False)
            for each in listening(site.settings.bind, site.settings.port)
        ]
        threading.Thread(target=self._run, name="carrier", daemon=True).start()

    @property
    def port(self) -> int:
        return int(self._servers[0].effective_port)

    def stop(self) -> None:
        trigger = self._servers[0].trigger
        with trigger.lock:  # or the loop could end, and close what wakes it, before it is woken
            trigger.thunks.append(self._end)
            trigger.pull_trigger()
        self._dispatcher.shutdown(timeout=2)
        self._journal.close()

    def _end(self) -> None:
        self._stopped = True

    def _run(self) -> None:
        while not self._stopped:
            loop(timeout=1, map=self._map, use_poll=True, count=1)
        close_all(self._map)

    def _application(self, environ: dict[str, Any], start_response: Start) -> Iterable[bytes]:
        request = Request.of(environ.get("HTTP_HOST", ""), environ["PATH_INFO"], environ.get("QUERY_STRING", ""),
                             environ.get("REMOTE_ADDR", ""))
        method = environ["REQUEST_METHOD"]
        record = self._journal.open(0, f"{method} {request.path}?{request.query}".encode("latin-1", "replace"))
        record.host, (record.kind, _) = request.host, self._site.routes.kind(request)
        try:
            answer = self._site.routes.answer(request) if method in ("GET", "HEAD") else None
            if answer is None:
                return self._pages(environ, start_response)
            record.answer, record.sent = answer.label, len(answer.body)
            return self._send(answer, method == "HEAD", start_response)
        finally:
            self._journal.finish(record)

    @staticmethod
    def _send(answer: Answer, only_head: bool, start_response: Start) -> Iterable[bytes]:
        headers = answer.headers | {"Content-Length": len(answer.body)}
        start_response(answer.status, [(name, str(value)) for name, value in headers.items() if value is not None])
        return [b"" if only_head else answer.body]


def give_memory_back() -> None:
    """Has the memory of a picture returned to the system when the picture has gone. The C library would keep it after a
    while, for each thread anew (mallopt(3)); where it is another library, it does as it does."""
    with contextlib.suppress(OSError, AttributeError):
        mallopt = ctypes.CDLL(None).mallopt
        mallopt(-3, 1 << 20)  # M_MMAP_THRESHOLD: what is larger has pages of its own
        mallopt(-8, 2)  # M_ARENA_MAX


def descriptors() -> int:
    """How many files and connections may be open: as many as the system lets this process have."""
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    wanted = MOST_CONNECTIONS + OWN_FILES
    most = wanted if hard == resource.RLIM_INFINITY else min(wanted, hard)
    if soft != resource.RLIM_INFINITY and soft < most:
        resource.setrlimit(resource.RLIMIT_NOFILE, (most, hard))
        soft = most
    return wanted if soft == resource.RLIM_INFINITY else soft


def listening(addresses: Iterable[str], port: int) -> list[socket.socket]:
    """A socket for each address, all at the same port; an IPv6 one is left out where there is no IPv6."""
    sockets: list[socket.socket] = []
    try:
        for address in addresses:
            for family, kind, number, _, where in socket.getaddrinfo(
                    address, port, type=socket.SOCK_STREAM, flags=socket.AI_PASSIVE):
                try:
                    sock = socket.socket(family, kind, number)
                except OSError as problem:
                    if problem.errno == errno.EAFNOSUPPORT:
                        continue
                    raise
                sockets.append(sock)
                sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                if family == socket.AF_INET6:
                    sock.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
                try:
                    sock.bind(where)
                except OSError as problem:
                    if problem.errno != errno.EADDRNOTAVAIL or address != "::":
                        raise
                    sockets.pop().close()
                    continue
                port = sock.getsockname()[1]
        if not sockets:
            raise OSError(errno.EADDRNOTAVAIL, "there is no such address")
        return sockets
    except BaseException:
        for each in sockets:
            each.close()
        raise
