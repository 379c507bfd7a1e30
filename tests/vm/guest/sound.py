"""An audio server, as far as the Bluetooth daemon knows one: an endpoint with the mandatory codec, and packets."""

import os

from gi.repository import Gio, GLib

from bus import BLUEZ, HCI, text, wait

SOURCE, SINK = (f'0000{short}-0000-1000-8000-00805f9b34fb' for short in ('110a', '110b'))
TRANSPORT = 'org.bluez.MediaTransport1'
SBC = bytes([0x21, 0x15, 2, 53])
PACKET = b'\x80\x60' + bytes(10) + b'\x05' + b'\x9c' * 300
XML = '''<node><interface name="org.bluez.MediaEndpoint1">
<method name="SetConfiguration"><arg type="o"/><arg type="a{sv}"/></method>
<method name="SelectConfiguration"><arg type="ay"/><arg direction="out" type="ay"/></method>
<method name="ClearConfiguration"><arg type="o"/></method><method name="Release"/></interface></node>'''


class Endpoint:
    def __init__(self, bus, service):
        self.bus, self.transport, self.fd = bus, None, None

        def called(connection, sender, path, interface, method, arguments, invocation):
            words = arguments.unpack()
            if method == 'SetConfiguration':
                self.transport = words[0]
            elif method == 'ClearConfiguration':
                self.transport = None
            invocation.return_value(GLib.Variant('(ay)', (SBC,)) if method == 'SelectConfiguration' else None)
        self.number = bus.connection.register_object('/endpoint', Gio.DBusNodeInfo.new_for_xml(XML).interfaces[0],
                                                     called, None, None)
        bus.call(HCI, 'org.bluez.Media1', 'RegisterEndpoint', GLib.Variant('(oa{sv})', ('/endpoint', {
            'UUID': text(service), 'Codec': GLib.Variant('y', 0),
            'Capabilities': GLib.Variant('ay', [255, 255, 2, 53])})))

    def withdraw(self):
        self.release()
        self.bus.connection.unregister_object(self.number)

    def acquire(self):
        """Blocks while the daemon works, which it does without asking anything back."""
        wait(lambda: self.transport, 'there is a transport')
        answer, fds = self.bus.connection.call_with_unix_fd_list_sync(
            BLUEZ, self.transport, TRANSPORT, 'Acquire', None, None, 0, 10000, None, None)
        self.fd = fds.steal_fds()[answer.unpack()[0]]
        os.set_blocking(self.fd, False)

    def release(self):
        if self.fd is not None:
            os.close(self.fd)
        self.fd = None

    def send(self):
        return os.write(self.fd, PACKET)

    def heard(self, seconds=20):
        """How many bytes came as the first packet."""
        wait(lambda: self.bus.get(self.transport, TRANSPORT, 'State') == 'pending', 'sound comes', seconds)
        self.acquire()

        def read():
            try:
                return os.read(self.fd, 1000)
            except BlockingIOError:
                return None
        return len(wait(read, 'sound comes through', seconds))

    def set_volume(self, value):
        self.bus.set(self.transport, TRANSPORT, 'Volume', GLib.Variant('q', value))
