"""A TCP server on 127.0.0.1 with one thread for each connection and a limit to their number."""

import contextlib
import random
import socket
import struct
import threading
import time
from typing import Callable

_MOST_CONNECTIONS = 64
_SECONDS_TO_END = 30.0


class ConnectionServer:
    """Accepts connections and hands each to `serve`, on a thread of its own.

    At the limit nothing more is accepted until a connection ends: further clients wait in the listen queue.
    """

    def __init__(self, port: int, name: str, serve: Callable[[socket.socket], None]):
        self._serve = serve
        self._name = name
        self._slots = threading.BoundedSemaphore(_MOST_CONNECTIONS)
        self._lock = threading.Lock()
        self._open: dict[threading.Thread, socket.socket] = {}
        self.stopping = threading.Event()
        self._listener = socket.create_server(("127.0.0.1", port), backlog=128)
        self.port: int = self._listener.getsockname()[1]
        self._acceptor = threading.Thread(target=self._accept, name=f"{name}-accept", daemon=True)

    def start(self) -> None:
        self._acceptor.start()

    def stop(self) -> None:
        """Ends all connections and waits for their threads."""
        self.stopping.set()
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)  # wakes accept(), which closing alone would not
        with self._lock:
            threads = dict(self._open)
        for connection in threads.values():
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)
        deadline = time.monotonic() + _SECONDS_TO_END
        for thread in (self._acceptor, *threads):
            if thread.is_alive():
                thread.join(max(0.0, deadline - time.monotonic()))
        self._listener.close()

    def _accept(self) -> None:
        while not self.stopping.is_set():
            if not self._slots.acquire(timeout=0.5):
                continue
            try:
                connection, _ = self._listener.accept()
            except OSError:
                self._slots.release()
                if self.stopping.is_set():
                    return
                continue
            thread = threading.Thread(target=self._run, args=(connection,), name=self._name, daemon=True)
            with self._lock:
                # A second descriptor, because TLS takes the first one away from its socket object.
                self._open[thread] = connection.dup()
                thread.start()

    def _run(self, connection: socket.socket) -> None:
        with connection:
            # A connection accepted after stop() made its list is missing there, but finds the event set.
            if not self.stopping.is_set():
                with contextlib.suppress(OSError):
                    self._serve(connection)
        with self._lock:
            self._open.pop(threading.current_thread()).close()
        self._slots.release()


def reset_when_closed(connection: socket.socket) -> None:
    """Lets the coming close end the connection with a reset: lingering for zero seconds does that."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def free_port() -> int:
    """Returns a TCP port that nobody uses now and that no outgoing connection will be given.

    Ports from 32768 up are the ones that the system hands out by itself.
    """
    for _ in range(200):
        port = random.randint(20000, 32000)
        with socket.socket() as probe:
            with contextlib.suppress(OSError):
                probe.bind(("127.0.0.1", port))
                return port
    raise OSError("no free TCP port between 20000 and 32000")
