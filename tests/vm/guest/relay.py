#!/usr/bin/python3
"""Carry Bluetooth packets between a machine's host side and its emulated controller.

    relay.py NAME END END

An END is "vhci" (the kernel's virtual controller), "unix:PATH" or "port:NAME" (a serial port to the other machine).
Whoever has the kernel's end can be told things, as JSON datagrams to /run/relay.NAME:

    {"rssi": -42}           the strength of links and of what is heard, from now on
    {"inject": "040504..."} one packet to the host side, as if the controller had sent it
    {"pause": 0.15}         seconds before each packet of a pairing on low energy: both machines are so much slower than
                            real ones that the other's daemon would be asked before it has heard of the link

A device's request to encrypt a link on low energy waits until the other's daemon has spoken on that link: BlueZ 5.66
leaves a link alone for good that was encrypted before it looked at it, and a slow machine is late to look.

What is heard on low energy comes half a second late, and not any more once the host side has stopped listening: devices
say who they are in intervals, BlueZ's own each 1.28 s, while the emulator of controllers tells at once. A link that was
lost would be there again before the daemon has heard of its loss; BlueZ 5.66 then leaves the new one without a channel.

It writes every command of the host side to /run/commands.NAME, a line of seconds, opcode and parameters; and how a link
on low energy runs, as the controller tells it from its beginning on, to /run/parameters.NAME: interval in 1.25 ms,
latency in events that may be slept through, timeout in 10 ms.
"""

import errno
import json
import os
import select
import socket
import struct
import sys
import time

COMMAND, ACL, EVENT = 1, 2, 4
# Where the length of the rest stands in the header, by kind of packet: offset and format.
LENGTHS = {1: (3, 'B'), 2: (3, '<H'), 3: (3, 'B'), 4: (2, 'B'), 5: (3, '<H')}
READ_RSSI = 0x1405
# Where interval, latency and timeout stand in the events that tell of them.
PARAMETERS = {0x01: 14, 0x0a: 26, 0x03: 7}
LE_META, LE_REPORT, LE_EXTENDED_REPORT = 0x3e, 0x02, 0x0d
RESET, LISTEN = 0x0c03, (0x200c, 0x2042) # LE Set Scan Enable, and the extended one: 0 first for an end
HEARD_AFTER = 0.5 # seconds
COMMAND_COMPLETE = 0x0e
ATTRIBUTES, PAIRING = b'\x04\x00', b'\x06\x00' # fixed channels
SECURITY_REQUEST = 0x0b
DISCONNECTED = 0x05


class Kernel:
    """The kernel's virtual controller: whole packets already."""

    def __init__(self):
        self.fd = os.open('/dev/vhci', os.O_RDWR)
        os.write(self.fd, b'\xff\x00')
        if os.read(self.fd, 16)[0] != 0xff:
            sys.exit('the kernel makes no virtual controller')

    def packets(self):
        packet = os.read(self.fd, 65536)
        return [packet] if packet else []

    def write(self, packet):
        try:
            os.write(self.fd, packet)
        except OSError as error:
            if error.errno != errno.ENXIO: # the adapter is off, and its controller not listened to
                raise


class Stream:
    """A stream of packets, each with its kind in front."""

    def __init__(self, fd, what):
        self.fd, self.what, self.left = fd, what, b''

    def packets(self):
        data = os.read(self.fd, 65536)
        if not data:
            if self.what.startswith('unix:'):
                sys.exit(f'{self.what} has ended')
            time.sleep(0.05)
        self.left += data
        whole = []
        while self.left:
            offset, form = LENGTHS.get(self.left[0]) or sys.exit(f'{self.what} sends nonsense')
            head = offset + struct.calcsize(form)
            if len(self.left) < head:
                break
            end = head + (struct.unpack_from(form, self.left, offset)[0] & (0x3fff if self.left[0] == 5 else 0xffff))
            if len(self.left) < end:
                break
            whole.append(self.left[:end])
            self.left = self.left[end:]
        return whole

    def write(self, packet):
        while packet:
            packet = packet[os.write(self.fd, packet):]


def patiently(attempt, seconds=10):
    end = time.monotonic() + seconds
    while True:
        try:
            return attempt()
        except OSError:
            if time.monotonic() > end:
                raise
            time.sleep(0.05)


def port(name):
    for device in os.listdir('/sys/class/virtio-ports'):
        with open(f'/sys/class/virtio-ports/{device}/name') as file:
            if file.read().strip() == name:
                return os.open(f'/dev/{device}', os.O_RDWR)
    raise FileNotFoundError(name)


def connected(path):
    plug = socket.socket(socket.AF_UNIX)
    plug.connect(path)
    return plug.detach()


def opened(end):
    if end == 'vhci':
        return Kernel()
    kind, _, rest = end.partition(':')
    return Stream(patiently(lambda: connected(rest) if kind == 'unix' else port(rest)), end)


class Relay:
    def __init__(self, name, near, far):
        self.near, self.far = opened(near), opened(far)
        self.rssi, self.pause = None, 0
        self.said = [] # what others have said on low energy and is not heard yet: when it is, and the packet
        self.spoken, self.requests = set(), {} # links, by their handles
        self.told = self.commands = self.parameters = None
        if near == 'vhci':
            path = f'/run/relay.{name}'
            if os.path.exists(path):
                os.unlink(path)
            self.told = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            self.told.bind(path)
            self.commands = open(f'/run/commands.{name}', 'a', buffering=1)
            self.parameters = open(f'/run/parameters.{name}', 'a', buffering=1)

    def outward(self, packet):
        if packet[0] == COMMAND and self.commands:
            opcode, = struct.unpack_from('<H', packet, 1)
            self.commands.write(f'{time.monotonic():.3f} {opcode:04x} {packet[4:].hex()}\n')
            if opcode == RESET or opcode in LISTEN and packet[4] == 0:
                self.said.clear()
        if packet[0] == ACL and packet[7:9] == PAIRING:
            if packet[9] == SECURITY_REQUEST and link(packet) not in self.spoken:
                self.requests[link(packet)] = packet
                return
            time.sleep(self.pause)
        self.far.write(packet)

    def inward(self, packet):
        if packet[0] == ACL and packet[7:9] == ATTRIBUTES:
            self.spoken.add(link(packet))
            if request := self.requests.pop(link(packet), None):
                self.far.write(request)
        elif packet[0] == EVENT and packet[1] == DISCONNECTED:
            handle, = struct.unpack_from('<H', packet, 4)
            self.spoken.discard(handle)
            self.requests.pop(handle, None)
        elif packet[0] == EVENT and packet[1] == LE_META and packet[3] in PARAMETERS and self.parameters:
            self.parameters.write('%d %d %d\n' % struct.unpack_from('<HHH', packet, PARAMETERS[packet[3]]))
        if self.told and is_report(packet):
            self.said.append((time.monotonic() + HEARD_AFTER, packet))
        else:
            self.deliver(packet)

    def deliver(self, packet):
        for part in ordinary_notifications(packet):
            self.near.write(part if self.rssi is None else self.with_strength(part))

    def with_strength(self, packet):
        """btvirt knows no distance: every strength that it tells is a constant of its own."""
        strength = struct.pack('b', self.rssi)
        if packet[0] != EVENT:
            return packet
        if is_report(packet):
            return packet[:-1] + strength if packet[3] == LE_REPORT else packet[:18] + strength + packet[19:]
        if packet[1] == COMMAND_COMPLETE and struct.unpack_from('<H', packet, 4)[0] == READ_RSSI:
            return packet[:-1] + strength
        return packet

    def run(self):
        ends = [self.near.fd, self.far.fd] + ([self.told.fileno()] if self.told else [])
        while True:
            left = max(0, self.said[0][0] - time.monotonic()) if self.said else None
            ready, _, _ = select.select(ends, [], [], left)
            while self.said and self.said[0][0] <= time.monotonic():
                self.deliver(self.said.pop(0)[1])
            if self.near.fd in ready:
                for packet in self.near.packets():
                    self.outward(packet)
            if self.far.fd in ready:
                for packet in self.far.packets():
                    self.inward(packet)
            if self.told and self.told.fileno() in ready:
                words = json.loads(self.told.recv(65536))
                self.rssi, self.pause = words.get('rssi', self.rssi), words.get('pause', self.pause)
                if 'inject' in words:
                    self.inward(bytes.fromhex(words['inject']))


def link(packet):
    """The handle of the link that this data belongs to."""
    return struct.unpack_from('<H', packet, 1)[0] & 0xfff


def is_report(packet):
    """Whether it tells of a device that was heard on low energy."""
    return packet[0] == EVENT and packet[1] == LE_META and packet[3] in (LE_REPORT, LE_EXTENDED_REPORT)


def ordinary_notifications(packet):
    """bluetoothd's server packs notifications together, and a single one as well; its own client of input devices
    understands none that is packed. Taken apart where they arrive: the sender is told of each packet that went out."""
    if packet[:1] != bytes([ACL]) or packet[7:10] != b'\x04\x00\x23':
        return [packet]
    found, rest = [], packet[10:]
    while len(rest) >= 4:
        length, = struct.unpack_from('<H', rest, 2)
        pdu = b'\x1b' + rest[:2] + rest[4:4 + length]
        found.append(packet[:3] + struct.pack('<HHH', len(pdu) + 4, len(pdu), 4) + pdu)
        if len(rest) < 4 + length:
            return [packet]
        rest = rest[4 + length:]
    return [packet] if rest else found


if __name__ == '__main__':
    Relay(*sys.argv[1:]).run()
