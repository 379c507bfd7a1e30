"""What the tests of the television on the desk share: a folder of its own for each, and that nothing is left of it."""

import fcntl
import os
import select
import shutil
import struct
import subprocess
import tempfile
import termios
import time
import unittest

TV = os.environ["TV"]
DEADLINE = 170 # seconds: ten thousand lines take a minute on a busy machine, with sanitizers


def processes_in(temporary):
    """The ids of those that were started with this folder for temporary files."""
    mark = f"TMPDIR={temporary}\0".encode()
    found = []
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/environ", "rb") as environment:
                if mark in environment.read():
                    found.append(process)
        except OSError:
            pass  # it has gone meanwhile, or is not ours
    return found


class Driven:
    """A television whose lines are given one after the other."""

    def __init__(self, test, process, descriptor):
        self.test = test
        self.process = process
        self.descriptor = descriptor
        self.text = ""
        self.heard = 0

    def hears(self, text):
        """Waits until it has said this, after what was heard before."""
        end = time.monotonic() + DEADLINE
        while self.text.find(text, self.heard) < 0:
            self.test.assertLess(time.monotonic(), end, f"never said: {text}\n{self.text}")
            if select.select([self.descriptor], [], [], 0.1)[0]:
                try:
                    data = os.read(self.descriptor, 65536)
                except OSError:
                    data = b""  # the other side of a terminal has gone
                self.test.assertTrue(data, f"ended before it said: {text}\n{self.text}")
                self.text += data.decode(errors="replace")
        self.heard = self.text.find(text, self.heard) + len(text)

    def says(self, line, answer):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()
        self.hears(answer)

    def has_taken_it_up(self):
        """Waits until it has read all that was said, done what it can about it, and sleeps; for when it cannot answer."""
        end = time.monotonic() + DEADLINE
        while self.unread() or self.state() != "S":
            self.test.assertLess(time.monotonic(), end, "never took it up")
            time.sleep(0.001)

    def unread(self):
        return struct.unpack("i", fcntl.ioctl(self.process.stdin, termios.FIONREAD, bytes(4)))[0]

    def state(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="utf-8") as stat:
            return stat.read().rpartition(") ")[2][0]

    def ends(self):
        """Ends the input. The exit status."""
        self.process.stdin.close()
        while select.select([self.descriptor], [], [], DEADLINE)[0]:
            data = os.read(self.descriptor, 65536)
            if not data:
                break
            self.text += data.decode(errors="replace")
        return self.process.wait(DEADLINE)


class DeskTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="desk-")
        self.temporary = os.path.join(self.folder, "tmp")
        os.mkdir(self.temporary)
        self.environment = {**os.environ, "TMPDIR": self.temporary}

        self.addCleanup(shutil.rmtree, self.folder)
        self.addCleanup(self.nothing_is_left)

    def nothing_is_left(self):
        end = time.monotonic() + DEADLINE
        while self.processes() and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(self.processes(), [])
        self.assertEqual(os.listdir(self.temporary), [])

    def processes(self):
        return processes_in(self.temporary)

    def path(self, name, text=None):
        path = os.path.join(self.folder, name)
        if text is not None:
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        return path

    def run_tv(self, *arguments, lines=None, data=None):
        given = data if data is not None else "".join(line + "\n" for line in lines or []).encode()
        result = subprocess.run([TV, *arguments], input=given, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                timeout=DEADLINE, check=False, env=self.environment)
        result.stdout = result.stdout.decode()
        result.stderr = result.stderr.decode()
        return result

    def begin_tv(self, *arguments):
        process = subprocess.Popen([TV, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, env=self.environment)
        self.addCleanup(self.end, process)
        return Driven(self, process, process.stdout.fileno())

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.terminate()  # so that it clears away what it has made
            process.wait(DEADLINE)
        for stream in (process.stdin, process.stdout):
            if stream is not None:
                stream.close()

    def set_process(self):
        """The id of the process with the television in it."""
        return next(int(process) for process in self.processes() if self.name(process) == "vyrel-tv-set")

    @staticmethod
    def name(process):
        with open(f"/proc/{process}/comm", encoding="utf-8") as name:
            return name.read().strip()

    def drive(self, *lines):
        return self.run_tv("--prompt-only", lines=lines)

    def tell(self, *lines, arguments=()):
        return self.run_tv("run", *arguments, self.path("story.tv", "".join(line + "\n" for line in lines)))
