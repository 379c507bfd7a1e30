"""The system bus of a machine, and its Bluetooth daemon, as a test uses them: one thread, one loop; who waits goes on
answering others meanwhile."""

import ctypes
import glob
import json
import os
import re
import shutil
import socket
import struct
import subprocess
import time

from gi.repository import Gio, GLib

BLUEZ, ADAPTER, DEVICE = 'org.bluez', 'org.bluez.Adapter1', 'org.bluez.Device1'
PROPERTIES, MANAGER = 'org.freedesktop.DBus.Properties', 'org.freedesktop.DBus.ObjectManager'
HCI = '/org/bluez/hci0'


class TimeOut(Exception):
    pass


class Refused(Exception):
    """An error that the other side answered with; its name in the first argument."""


# Others may be at work on the machine that emulates this one. Who waits for something that comes loses nothing by it.
PATIENCE = 3


def wait(condition, what, seconds=15):
    """Run the loop until the condition gives something true, which is returned; some seconds are enough when it is
    quiet."""
    seconds *= PATIENCE
    end = time.monotonic() + seconds
    tick = GLib.timeout_add(20, lambda: True)
    try:
        while not (found := condition()):
            if time.monotonic() > end:
                raise TimeOut(f'not within {seconds:g} s: {what}')
            GLib.MainContext.default().iteration(True)
        return found
    finally:
        GLib.source_remove(tick)


def pass_time(seconds):
    end = time.monotonic() + seconds
    wait(lambda: time.monotonic() >= end, 'time passes', seconds + 5)


def stays(condition, what, seconds):
    """The condition is true all the time."""
    end = time.monotonic() + seconds

    def over():
        if not condition():
            raise AssertionError(f'not for {seconds:g} s: {what}')
        return time.monotonic() >= end
    wait(over, what, seconds + 5)


def connect():
    return Gio.DBusConnection.new_for_address_sync(
        'unix:path=/run/dbus/system_bus_socket',
        Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)


class Asked:
    """A call whose answer comes later."""

    def __init__(self, what):
        self.what, self.done, self.answer, self.error = what, False, None, None

    def result(self, seconds=30):
        wait(lambda: self.done, f'{self.what} is answered', seconds)
        if self.error:
            raise Refused(*self.error)
        return self.answer


class Bus:
    def __init__(self):
        self.connection = connect()

    def ask(self, path, interface, method, arguments=None, name=BLUEZ, seconds=60):
        asked = Asked(f'{interface}.{method}')

        def answered(connection, result):
            asked.done = True
            try:
                asked.answer = connection.call_finish(result).unpack()
            except GLib.Error as error:
                asked.error = (Gio.DBusError.get_remote_error(error) or 'lost', error.message)
        self.connection.call(name, path, interface, method, arguments, None, Gio.DBusCallFlags.NO_AUTO_START,
                             int(seconds * 1000), None, answered)
        return asked

    def call(self, path, interface, method, arguments=None, name=BLUEZ, seconds=30):
        answer = self.ask(path, interface, method, arguments, name, seconds).result(seconds + 5)
        return answer[0] if len(answer) == 1 else answer

    def owner(self, name):
        try:
            return self.call('/org/freedesktop/DBus', 'org.freedesktop.DBus', 'GetNameOwner',
                             GLib.Variant('(s)', (name,)), 'org.freedesktop.DBus')
        except Refused:
            return None

    # BlueZ

    def objects(self):
        try:
            return self.call('/', MANAGER, 'GetManagedObjects')
        except Refused:
            return {}

    def get(self, path, interface, name):
        return self.call(path, PROPERTIES, 'Get', GLib.Variant('(ss)', (interface, name)))

    def set(self, path, interface, name, value):
        self.call(path, PROPERTIES, 'Set', GLib.Variant('(ssv)', (interface, name, value)))

    def device(self, address):
        """Path and properties of a device; nothing when the daemon does not know it."""
        for path, interfaces in self.objects().items():
            if interfaces.get(DEVICE, {}).get('Address') == address:
                return path, interfaces[DEVICE]
        return None, {}

    def adapter(self):
        return self.objects().get(HCI, {}).get(ADAPTER, {})


class Daemons:
    """The programs of a machine, by the names that a test gives them."""

    LOGS = '/run/logs'

    def __init__(self, kept):
        """What they say goes to memory first, because each line costs the folder on the host a millisecond, and some say
        twenty for a packet."""
        self.kept, self.running = kept, {}
        for folder in (self.LOGS, kept):
            os.makedirs(folder, exist_ok=True)
        GLib.timeout_add_seconds(5, lambda: self.keep_logs() or True)

    def keep_logs(self):
        """Also what the kernel gave its controller to do."""
        for path in glob.glob(f'{self.LOGS}/*') + glob.glob('/run/commands.*'):
            with open(path, 'rb') as log, open(f'{self.kept}/{os.path.basename(path)}', 'ab') as kept:
                log.seek(kept.tell())
                shutil.copyfileobj(log, kept)

    def start(self, name, *command, **environment):
        with open(f'{self.LOGS}/{name}.log', 'ab') as log:
            self.running[name] = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                                  env={**os.environ, **environment})

    def start_air(self, name, *command):
        """What carries packets from machine to machine comes after all other programs: these are so much slower than
        real ones that a fast air would have an answer there before its question was dealt with."""
        self.start(name, 'nice', '-n', '10', *command)

    def mark(self, words):
        """A line in all logs, so that their reader finds the place."""
        for name in os.listdir(self.LOGS):
            with open(f'{self.LOGS}/{name}', 'a') as log:
                log.write(f'== {words}\n')

    def stop(self, name, how='terminate'):
        process = self.running.pop(name, None)
        if process is None:
            return None
        getattr(process, how)()
        try:
            return wait_for(process)
        except TimeOut:
            process.kill()
            wait_for(process)
            raise

    def lives(self, name):
        return name in self.running and self.running[name].poll() is None


def wait_for(process):
    wait(lambda: process.poll() is not None, f'{process.args[0]} ends', 10)
    return process.returncode


class Management:
    """The kernel's management socket. Python cannot bind one to its channel, so the C library does."""

    ANY, CONTROL = 0xffff, 3
    COMPLETE, STATUS = 1, 2
    SIMPLE_PAIRING, PAIR = 0x0b, 0x19

    def __init__(self):
        self.socket = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_RAW | socket.SOCK_NONBLOCK, socket.BTPROTO_HCI)
        address = struct.pack('HHH', socket.AF_BLUETOOTH, self.ANY, self.CONTROL)
        if ctypes.CDLL(None, use_errno=True).bind(self.socket.fileno(), address, len(address)) != 0:
            raise OSError(ctypes.get_errno(), 'bind')
        self.answers = []
        GLib.io_add_watch(self.socket.fileno(), GLib.IO_IN, self._read)

    def _read(self, *_):
        packet = self.socket.recv(4096)
        event, _, length = struct.unpack_from('<HHH', packet)
        if event in (self.COMPLETE, self.STATUS) and length >= 3:
            opcode, status = struct.unpack_from('<HB', packet, 6)
            self.answers.append((opcode, status, packet[9:]))
        return True

    def send(self, opcode, parameters, index=0):
        self.answers = [answer for answer in self.answers if answer[0] != opcode]
        self.socket.send(struct.pack('<HHH', opcode, index, len(parameters)) + parameters)

    def answer(self, opcode, seconds=40):
        """Status and the rest of what the kernel answers."""
        return wait(lambda: next(((status, rest) for code, status, rest in self.answers if code == opcode), None),
                    f'management command {opcode:#x} is answered', seconds)

    @staticmethod
    def address(text, kind=0):
        return bytes.fromhex(text.replace(':', ''))[::-1] + bytes([kind])

    # Kinds of addresses: 0 classic, 1 public on low energy. Capability: 0 display, 1 yes and no, 3 neither.
    def pair(self, text, kind=0, capability=1):
        self.send(self.PAIR, self.address(text, kind) + bytes([capability]))


def tell_relay(name, **words):
    """As soon as it listens: it may just have been started."""
    def told():
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            try:
                sender.sendto(json.dumps(words).encode(), f'/run/relay.{name}')
                return True
            except OSError:
                return False
    wait(told, f'the relay of {name} listens')


def links():
    """The handles of the kernel's links."""
    said = subprocess.run(['hcitool', 'con'], capture_output=True, text=True, stdin=subprocess.DEVNULL).stdout
    return [int(line.split(' handle ')[1].split()[0]) for line in said.splitlines() if ' handle ' in line]


def packets():
    """How many of data the controller of this machine has received and sent."""
    said = subprocess.run(['hciconfig', 'hci0'], capture_output=True, text=True, stdin=subprocess.DEVNULL).stdout
    return re.findall(r' acl:(\d+)', said)


def link_lost(name, reason=0x08):
    """Have the controller of this machine report the end of all its links; 0x08: nothing was heard for too long."""
    handles = links()
    for handle in handles:
        tell_relay(name, inject=(b'\x04\x05\x04\x00' + struct.pack('<HB', handle, reason)).hex())
    return len(handles)


def text(value):
    return GLib.Variant('s', value)


def boolean(value):
    return GLib.Variant('b', value)


def inquire(seconds=1.28):
    """Ask all around on classic Bluetooth, as the controller's own command does it: address, class and response of
    each.

    The emulator of controllers dies of an inquiry that is broken off, so this one runs to its end."""
    raw = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_RAW | socket.SOCK_NONBLOCK, socket.BTPROTO_HCI)
    events = {'complete': 0x01, 'extended': 0x2f}
    mask = [sum(1 << (code - 32 * word) for code in events.values() if 32 * word <= code < 32 * word + 32)
            for word in (0, 1)]
    raw.setsockopt(0, 2, struct.pack('IIIH2x', 1 << 4, *mask, 0)) # SOL_HCI, HCI_FILTER: of the events, these
    raw.bind((0,))
    found = {}
    raw.send(bytes.fromhex('010104') + b'\x05' + bytes.fromhex('338b9e') + bytes([round(seconds / 1.28), 0]))

    def over():
        try:
            packet = raw.recv(300)
        except BlockingIOError:
            return False
        if packet[1] == events['extended']:
            address = ':'.join(f'{byte:02X}' for byte in packet[9:3:-1])
            found[address] = {'class': packet[14:11:-1].hex(), 'response': packet[18:].hex()}
        return packet[1] == events['complete']
    try:
        wait(over, 'the inquiry ends', 10)
    finally:
        raw.close()
    return found


def parts(response):
    """The parts of a response or an advertisement, by their type."""
    found, data = {}, bytes.fromhex(response)
    while data and data[0]:
        found[data[1]] = data[2:1 + data[0]]
        data = data[1 + data[0]:]
    return found
