#!/usr/bin/python3
"""Who sits at the box: takes lines of JSON from a serial port, runs each as a command in a login session of its user, and
says how it ended and what it printed.

Runs in the host's tree, since the box has no Python; the commands run in the box's own.
"""

import json
import os
import subprocess
import sys

sys.path.insert(0, f'{os.path.dirname(os.path.abspath(__file__))}/../../vm/guest')
from relay import patiently, port

BOX = ['/usr/sbin/chroot', '/proc/1/root', '/usr/sbin/runuser', '-l']


def run(words):
    try:
        done = subprocess.run([*BOX, words['user'], '-c', words['command']], capture_output=True, text=True,
                              errors='replace', input=words.get('input', ''), timeout=words['seconds'])
        return {'status': done.returncode, 'out': done.stdout, 'error': done.stderr}
    except subprocess.TimeoutExpired as late:
        return {'status': None, 'out': (late.stdout or b'').decode(errors='replace'),
                'error': (late.stderr or b'').decode(errors='replace')}


def lines(fd):
    left = b''
    while data := os.read(fd, 65536):
        *whole, left = (left + data).split(b'\n')
        yield from whole


def main():
    fd = patiently(lambda: port('hands'))
    os.write(fd, b'{"up": true}\n')
    for line in lines(fd):
        words = json.loads(line)
        answer = json.dumps({'number': words['number'], **run(words)}).encode() + b'\n'
        while answer:
            answer = answer[os.write(fd, answer):]


if __name__ == '__main__':
    main()
