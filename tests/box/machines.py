"""The two machines of the walk, as the test sees them: the box, a disk with a stock Debian on it, and the peer, which plays
the devices around it. Both are told what to do over a serial port, by lines of JSON."""

import json
import pathlib
import socket
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / 'vm'))
from run import MADE, TREE, die_with_parent, emulator

SIZE = 1500 * 1024 * 1024 # of the box's disk, most of it holes
WORDS = 'console=ttyS0 quiet loglevel=1 mitigations=off nokaslr panic=-1 random.trust_cpu=on'


class Failed(Exception):
    """What was to be seen was not."""


class Line:
    """Lines of JSON to and from a machine's serial port; each answer bears the number of its question."""

    def __init__(self, path, lives, seconds=20):
        self.lives, self.left, self.number = lives, b'', 0
        end = time.monotonic() + seconds
        while True:
            try:
                self.plug = socket.socket(socket.AF_UNIX)
                self.plug.connect(str(path))
                return
            except OSError:
                self.plug.close()
                if not lives() or time.monotonic() > end:
                    raise Failed(f'the emulator has no {path.name}') from None
                time.sleep(0.05)

    def close(self):
        self.plug.close()

    def hear(self, wanted, seconds):
        """The first line that is wanted; those before it are dropped."""
        end = time.monotonic() + seconds
        while True:
            *lines, self.left = self.left.split(b'\n')
            for place, line in enumerate(lines):
                words = json.loads(line)
                if wanted(words):
                    self.left = b'\n'.join([*lines[place + 1:], self.left])
                    return words
            self.plug.settimeout(0.5)
            try:
                data = self.plug.recv(65536)
                self.left += data
            except TimeoutError:
                data = None
            except ConnectionError:
                data = b''
            if data == b'' or not self.lives():
                raise Failed('the machine has gone off')
            if time.monotonic() > end:
                raise Failed(f'no answer within {seconds:g} s')

    def begin(self, **words):
        self.number += 1
        try:
            self.plug.sendall(json.dumps({'number': self.number, **words}).encode() + b'\n')
        except ConnectionError:
            raise Failed('the machine has gone off') from None
        return self.number

    def end(self, number, seconds):
        return self.hear(lambda words: words.get('number') == number, seconds)


class Machine:
    """An emulator, and what it prints, in a file."""

    def __init__(self, command, log, **options):
        self.log = open(log, 'ab')
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log,
                                        preexec_fn=die_with_parent, **options)

    def lives(self):
        return self.process.poll() is None

    def gone(self, seconds):
        """Whether it went off by itself in time."""
        try:
            self.process.wait(seconds)
            return True
        except subprocess.TimeoutExpired:
            return False

    def end(self):
        if self.lives():
            self.process.kill()
        self.process.wait()
        self.log.close()


class Peer:
    """peer.connect(address) runs connect(address) in the second machine. It also has what is between the two: the emulator
    of controllers, so that it goes on while the box is off."""

    AIR = '/tmp/bt-server-bredrle'

    def __init__(self, folder):
        self.socket = folder / 'air'
        words = f'{WORDS} vyrel.role=peer vyrel.tree={TREE} VYREL_AIR=unix:{self.AIR} ' # in capitals: init's environment
        self.machine = Machine(emulator(words, MADE / 'initrd',
                                        [(name, f'path={folder}/{name},server=on,wait=off') for name in ('air', 'wire')],
                                        [('root', '/', ',readonly=on'), ('results', folder / 'results', '')]),
                               folder / 'results/peer.console')
        self.line = Line(folder / 'wire', self.machine.lives)

    def air_comes(self):
        self.hello(seconds=90)
        self.shell('mkdir -p /mnt/results/air; cd /mnt/results/air; (exec setsid btvirt -s) >btvirt.log 2>&1 & '
                   f'for i in $(seq 100); do [ -S {self.AIR} ] && break; sleep 0.1; done')

    def box_comes(self):
        """A controller for the box; the one that it had before goes, as when the power is cut."""
        relay = TREE / 'tests/vm/guest/relay.py'
        self.shell('[ ! -e /run/air.pid ] || kill $(cat /run/air.pid); cd /mnt/results/air; '
                   f'(exec setsid python3 -B {relay} air port:air unix:{self.AIR}) >relay.log 2>&1 & '
                   'echo $! >/run/air.pid')

    def begin(self, name, *arguments, **named):
        return self.line.begin(name=name, arguments=arguments, named=named)

    def end(self, number, seconds=60):
        words = self.line.end(number, seconds)
        if 'error' in words:
            raise Failed(f'the peer: {" ".join(words["error"])}')
        return words['result']

    def __getattr__(self, name):
        return lambda *arguments, seconds=60, **named: self.end(self.begin(name, *arguments, **named), seconds)


class Done:
    """How a command ended, and what it printed."""

    def __init__(self, command, words):
        self.command, self.status, self.out, self.error = command, words['status'], words['out'], words['error']

    def __str__(self):
        return f'{self.command}\nstatus {self.status}\n{self.out}{self.error}'


class Box:
    def __init__(self, folder, peer, stock):
        self.folder, self.peer, self.machine, self.line = folder, peer, None, None
        self.log = open(folder / 'results/commands.log', 'a', encoding='utf-8')
        self.disk = tempfile.TemporaryFile(dir=MADE) # has no name: whatever ends us leaves nothing
        self.disk.truncate(SIZE)
        subprocess.run(['mke2fs', '-q', '-F', '-t', 'ext4', '-O', '^has_journal', '-E', 'lazy_itable_init=1',
                        '-d', str(stock), f'/proc/self/fd/{self.disk.fileno()}'], check=True,
                       pass_fds=[self.disk.fileno()])

    def boot(self, radio=True, seconds=150):
        """Switched on, until a command can be typed."""
        self.peer.box_comes()
        hands = self.folder / 'hands'
        hands.unlink(missing_ok=True)
        words = f'{WORDS} vyrel.tree={TREE} ' + ('' if radio else 'vyrel.radio=no ')
        disk = f'file=/proc/self/fd/{self.disk.fileno()},format=raw,if=virtio,cache=unsafe'
        self.machine = Machine(
            emulator(words, MADE / 'box-initrd',
                     [('air', f'path={self.peer.socket}'), ('hands', f'path={hands},server=on,wait=off')],
                     [('root', '/', ',readonly=on')], memory=1024) + ['-drive', disk],
            self.folder / 'results/box.console', pass_fds=[self.disk.fileno()])
        self.line = Line(hands, self.machine.lives)
        self.line.hear(lambda words: words.get('up'), seconds)

    def off(self, seconds=120):
        """Wait until it has gone off by itself; what it does next is up to who waits."""
        if not self.machine.gone(seconds):
            raise Failed('the box does not go off')
        self.line.close()
        self.machine.end()

    def type(self, command, user='keeper', seconds=60, status=0, **words):
        """What a command gives; it fails when that ends otherwise than expected (None: however)."""
        number = self.line.begin(command=command, user=user, seconds=seconds, **words)
        done = Done(command, self.line.end(number, seconds + 30))
        self.log.write(f'$ {user}: {done}\n')
        self.log.flush()
        if status is not None and done.status != status:
            raise Failed(f'status {done.status}, not {status}: {done}')
        return done

    def root(self, command, **words):
        return self.type(command, user='root', **words)

    def wait(self, what, condition, seconds=30):
        end = time.monotonic() + seconds
        while not (found := condition()):
            if time.monotonic() > end:
                raise Failed(f'not within {seconds:g} s: {what}')
            time.sleep(0.5)
        return found

    def wait_for(self, command, text, seconds=60, **words):
        """Until the text is among what the command prints."""
        last = []

        def seen():
            last[:] = [self.type(command, status=None, **words)]
            return text in last[0].out + last[0].error and last[0]
        try:
            return self.wait(text, seen, seconds)
        except Failed as failed:
            raise Failed(f'{failed}; the last was: {last[0]}') from None
