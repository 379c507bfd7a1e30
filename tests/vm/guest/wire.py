"""What the first machine has the second one do: calls by name, a line of JSON each, over a serial port."""

import json
import os

from gi.repository import GLib

from bus import Refused, TimeOut, wait
from relay import patiently, port


class Wire:
    """Lines to and from the other machine."""

    def __init__(self, heard):
        self.fd = patiently(lambda: port('wire'))
        self.left, self.heard = b'', heard
        os.set_blocking(self.fd, False)
        GLib.io_add_watch(self.fd, GLib.IO_IN, self._read)

    def _read(self, *_):
        try:
            data = os.read(self.fd, 65536)
        except BlockingIOError:
            return True
        self.left += data
        *lines, self.left = self.left.split(b'\n')
        for line in lines:
            self.heard(json.loads(line))
        return True

    def say(self, words):
        data = json.dumps(words).encode() + b'\n'
        while data:
            try:
                data = data[os.write(self.fd, data):]
            except BlockingIOError:
                GLib.MainContext.default().iteration(False)


class Peer:
    """The second machine, seen from the first: peer.connect(address) runs connect(address) there."""

    def __init__(self):
        self.number, self.answers = 0, {}
        self.wire = Wire(lambda words: self.answers.update({words['number']: words}))

    def __getattr__(self, name):
        return lambda *arguments, seconds=45, **named: self.run(name, arguments, named, seconds)

    def begin(self, name, *arguments, **named):
        """Let it do so, and go on; the number is for end()."""
        self.number += 1
        self.wire.say({'number': self.number, 'name': name, 'arguments': arguments, 'named': named})
        return self.number

    def run(self, name, arguments, named, seconds):
        return self.end(self.begin(name, *arguments, **named), name, seconds)

    def has_ended(self, number):
        return number in self.answers

    def end(self, number, name='work', seconds=45):
        wait(lambda: number in self.answers, f'the other machine ends its {name}', seconds)
        words = self.answers.pop(number)
        if 'error' in words:
            raise {'Refused': Refused, 'TimeOut': TimeOut}.get(words['kind'], RuntimeError)(*words['error'])
        return words['result']
