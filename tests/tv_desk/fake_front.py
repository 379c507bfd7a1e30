"""The page's server with a television made of words behind it, and a WebSocket to talk to it; see FakeFront.cpp."""

import base64
import json
import os
import re
import select
import socket
import struct
import subprocess
import time

DEADLINE = 30


class FakeFront:
    """With a `with`: ends the program and waits for it."""

    def __init__(self, port=0):
        # A sanitizer would keep what is freed, and the tests look at what is kept.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"
        self.program = subprocess.Popen(
            [os.environ["FAKE_FRONT"], str(port)],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            env={**os.environ, "ASAN_OPTIONS": sanitizer},
        )
        self._rest = b""
        first = self.says()
        self.error = first.get("error")
        self.address = first.get("address")
        self.port = None if self.error else int(self.address.rstrip("/").rsplit(":", 1)[1])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        self.program.stdin.close()
        try:
            self.program.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self.program.kill()
            self.program.wait()
            raise
        finally:
            self.program.stdout.close()
        return self.program.returncode

    def memory(self, what):
        """In KiB: what is "VmRSS" for now, "VmHWM" for the most so far."""
        with open(f"/proc/{self.program.pid}/status", encoding="ascii") as status:
            return int(re.search(rf"{what}:\s+(\d+) kB", status.read())[1])

    def says(self, timeout=DEADLINE):
        """What it says next; None when nothing comes."""
        end = time.monotonic() + timeout
        while b"\n" not in self._rest:
            ready, _, _ = select.select([self.program.stdout], [], [], max(0, end - time.monotonic()))
            if not ready:
                return None
            more = os.read(self.program.stdout.fileno(), 65536)
            if not more:
                raise EOFError("the fake front has ended")
            self._rest += more
        line, self._rest = self._rest.split(b"\n", 1)
        return json.loads(line)

    def next(self, what):
        """The next saying of this kind; others before it are dropped."""
        end = time.monotonic() + DEADLINE
        while True:
            said = self.says(end - time.monotonic())
            if said is None:
                raise TimeoutError(f"the fake front never said: {what}")
            if what in said:
                return said[what]

    def tell(self, *objects):
        text = "".join(json.dumps(an_object, separators=(",", ":")) + "\n" for an_object in objects)
        self.program.stdin.write(text.encode())
        self.program.stdin.flush()

    def tell_all(self, *objects):
        """Returns when who opens a page now is told of them."""
        self.tell(*objects, {"told": "all"})
        self.next("told")


class Refused(Exception):
    def __init__(self, status, text):
        super().__init__(f"{status} {text}")
        self.status = status
        self.text = text


class WebSocket:
    """Just enough of RFC 6455, byte by byte, so that a test can say what no browser would."""

    TEXT, BINARY, CLOSE = 1, 2, 8

    def __init__(self, port, host=None, origin="same", path="/feed", address="127.0.0.1"):
        self.socket = socket.create_connection((address, port), DEADLINE)
        host = f"127.0.0.1:{port}" if host is None else host
        origin = f"http://{host}" if origin == "same" else origin
        lines = [
            f"GET {path} HTTP/1.1",
            f"Host: {host}",
            "Upgrade: websocket",
            "Connection: Upgrade",
            "Sec-WebSocket-Version: 13",
            "Sec-WebSocket-Extensions: permessage-deflate",
            "Sec-WebSocket-Key: " + base64.b64encode(os.urandom(16)).decode(),
        ]
        if origin is not None:
            lines.append(f"Origin: {origin}")
        self.socket.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())
        self._rest = b""
        self._objects = []
        self.answer = self._head()
        status = int(self.answer.split()[1])
        if status != 101:
            text = self._body()
            self.socket.close()
            raise Refused(status, text)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def _more(self):
        more = self.socket.recv(1 << 20)
        if not more:
            raise EOFError("the connection has ended")
        self._rest += more

    def _head(self):
        while b"\r\n\r\n" not in self._rest:
            self._more()
        head, self._rest = self._rest.split(b"\r\n\r\n", 1)
        return head.decode()

    def _body(self):
        size = next(int(line.split(":")[1]) for line in self.answer.splitlines() if line.lower().startswith("content-length"))
        while len(self._rest) < size:
            self._more()
        return self._rest[:size].decode()

    def _take(self, size):
        while len(self._rest) < size:
            self._more()
        taken, self._rest = self._rest[:size], self._rest[size:]
        return taken

    def frame(self):
        """(kind, payload) of the next frame; the server never sends a message in pieces."""
        first, size = self._take(2)
        if size == 126:
            (size,) = struct.unpack(">H", self._take(2))
        elif size == 127:
            (size,) = struct.unpack(">Q", self._take(8))
        return first & 15, self._take(size)

    def close_code(self):
        """Why the server closes the connection."""
        while True:
            kind, payload = self.frame()
            if kind == self.CLOSE:
                return struct.unpack(">H", payload[:2])[0]

    def object(self):
        while not self._objects:
            kind, payload = self.frame()
            if kind != self.TEXT:
                raise EOFError(f"a frame of kind {kind}: {payload!r}")
            self._objects = [json.loads(line) for line in payload.decode().splitlines()]
        return self._objects.pop(0)

    def until(self, what):
        """The next object with this member, and how many came before."""
        count = 0
        while True:
            an_object = self.object()
            if what in an_object:
                return an_object[what], count
            count += 1

    def send(self, payload, kind=TEXT):
        size = len(payload)
        if size < 126:
            head = struct.pack(">BB", 128 | kind, 128 | size)
        elif size < 65536:
            head = struct.pack(">BBH", 128 | kind, 254, size)
        else:
            head = struct.pack(">BBQ", 128 | kind, 255, size)
        self.socket.sendall(head + b"\0\0\0\0" + payload)

    def say(self, line):
        self.send(json.dumps({"line": line}).encode())
