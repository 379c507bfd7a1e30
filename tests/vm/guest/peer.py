#!/usr/bin/python3
"""The second machine: the devices around the box, one at a time. They do what BlueZ does as a client, and nothing for the
sake of who is tested."""

import errno
import os
import select
import shutil
import socket
import subprocess

from gi.repository import Gio, GLib

import sound
import bus
import gatt
from bus import ADAPTER, DEVICE, HCI, Bus, Daemons, Management, Refused, boolean, pass_time, tell_relay, text, wait
from wire import Wire

BLUETOOTHD = '/usr/libexec/bluetooth/bluetoothd'
LOGS = '/mnt/results/peer'
# What only waits to be called calls nobody, as the daemon does two seconds after a pairing to look at the other's services.
PERIPHERAL = 'ControllerMode = le\nReverseServiceDiscovery = false'
# Class of device, vendor and product, further options of the daemon and of its configuration.
KINDS = {
    'phone': ('0x5a020c', '1d6b:0246', [], ''),
    'speaker': ('0x240414', '1d6b:0247', [], ''),
    'classic speaker': ('0x240414', '1d6b:0247', [], 'ControllerMode = bredr'),
    'keyboard': ('0x002540', '1d6b:0248', ['--noplugin=input,hog'], ''),
    'remote': ('0x00050c', '04E8:2075', ['--noplugin=input,hog'], PERIPHERAL),
    'wheel': ('0x00050c', '04E8:2084', ['--noplugin=input,hog'], PERIPHERAL),
    'le keyboard': ('0x002540', '1d6b:0249', ['--noplugin=input,hog'], PERIPHERAL),
}

AGENT = '''<node><interface name="org.bluez.Agent1"><method name="Release"/>
<method name="RequestPinCode"><arg type="o"/><arg direction="out" type="s"/></method>
<method name="RequestPasskey"><arg type="o"/><arg direction="out" type="u"/></method>
<method name="DisplayPasskey"><arg type="o"/><arg type="u"/><arg type="q"/></method>
<method name="DisplayPinCode"><arg type="o"/><arg type="s"/></method>
<method name="RequestConfirmation"><arg type="o"/><arg type="u"/></method>
<method name="RequestAuthorization"><arg type="o"/></method>
<method name="AuthorizeService"><arg type="o"/><arg type="s"/></method><method name="Cancel"/></interface>
<interface name="org.bluez.Profile1"><method name="Release"/>
<method name="NewConnection"><arg type="o"/><arg type="h"/><arg type="a{sv}"/></method>
<method name="RequestDisconnection"><arg type="o"/></method></interface></node>'''
INTERFACES = {interface.name: interface for interface in Gio.DBusNodeInfo.new_for_xml(AGENT).interfaces}


class Machine:
    def __init__(self):
        self.bus, self.daemons, self.management = Bus(), Daemons(LOGS), None
        self.asked, self.agent_calls, self.agent_answers, self.exported = {}, [], {}, {}
        self.application = self.sound = None
        self.sockets = []
        self.kind, self.simple, self.capability = None, True, None
        self.queue = []
        self.wire = Wire(self.queue.append)

    def serve(self):
        while True:
            wait(lambda: self.queue, 'something is asked for', 3600)
            words = self.queue.pop(0)
            answer = {'number': words['number']}
            try:
                answer['result'] = getattr(self, words['name'])(*words['arguments'], **words['named'])
            except Exception as error: # whatever it is, the first machine is told
                answer |= {'kind': type(error).__name__, 'error': [str(part) for part in error.args]}
                print(f'peer: {words["name"]}: {error!r}')
            self.wire.say(answer)

    # The machine

    def hello(self):
        return 'hello'

    def mark(self, words):
        self.daemons.mark(words)

    def leave(self):
        for name in list(self.daemons.running):
            self.daemons.stop(name)
        self.daemons.keep_logs()
        os._exit(0)

    def become(self, kind, fresh=False):
        """Another device, that has met nobody yet; its address. Fresh: with a controller that knows of no link."""
        self.put_away()
        if fresh or not self.simple:
            self.simple = True
            self.daemons.stop('bluetoothd')
            self.daemons.stop('radio')
        if kind == self.kind and self.daemons.lives('bluetoothd') and self.bus.adapter().get('Powered'):
            for path, interfaces in self.bus.objects().items():
                if DEVICE in interfaces:
                    self.bus.call(HCI, ADAPTER, 'RemoveDevice', GLib.Variant('(o)', (path,)), seconds=10)
        else:
            self.daemons.stop('bluetoothd')
            empty('/var/lib/bluetooth')
            self.kind = kind
            self.start()
        self.bus.set(HCI, ADAPTER, 'Pairable', boolean(True))
        self.bus.set(HCI, ADAPTER, 'Discoverable', boolean(True))
        return self.bus.adapter()['Address']

    def put_away(self):
        """All that was set up for a test."""
        if self.application:
            self.application.withdraw()
        if self.sound:
            self.sound.withdraw()
        self._put_away_agent()
        self._put_away('/hid')
        for plug in self.sockets:
            plug.close()
        self.application, self.sound, self.sockets = None, None, []
        self.asked, self.agent_calls, self.agent_answers = {}, [], {}

    def _put_away(self, *paths):
        for path in paths:
            if path in self.exported:
                self.bus.connection.unregister_object(self.exported.pop(path))
                manager, method = {'/agent': ('org.bluez.AgentManager1', 'UnregisterAgent'),
                                   '/hid': ('org.bluez.ProfileManager1', 'UnregisterProfile')}[path]
                self.bus.ask('/org/bluez', manager, method, GLib.Variant('(o)', (path,)))

    def start(self):
        kind, device, options, more = KINDS[self.kind]
        with open('/run/bluetoothd.conf', 'w') as file:
            file.write(f'[General]\nClass = {kind}\nDeviceID = usb:{device}:0100\nDiscoverableTimeout = 0\n'
                       f'PairableTimeout = 0\n{more}\n[GATT]\nChannels = 1\n')
        if not self.daemons.lives('radio'):
            self.daemons.start_air('radio', 'python3', f'{os.path.dirname(__file__)}/relay.py', 'peer', 'vhci',
                                   os.environ.get('VYREL_AIR', 'port:air'))
        self.daemons.start('bluetoothd', BLUETOOTHD, '-n', '-d', '-f', '/run/bluetoothd.conf', *options)
        wait(lambda: self.bus.adapter().get('Powered'), 'the adapter is on', 30)
        tell_relay('peer', rssi=-55, pause=0.15)
        if not self.management:
            self.management = Management()
        self.bus.set(HCI, ADAPTER, 'Alias', text(f'A {self.kind}'))

    def call(self, path, interface, method):
        return self.bus.call(path, interface, method)

    def set(self, name, value):
        self.bus.set(HCI, ADAPTER, name, GLib.Variant('b' if isinstance(value, bool) else 's', value))

    def shell(self, command):
        return subprocess.run(command, shell=True, capture_output=True, text=True, stdin=subprocess.DEVNULL,
                              timeout=40).stdout.strip()

    # Calls that last: started here, their results fetched later.

    def ask_device(self, method, address, *arguments):
        """A method of the device with this address; a text argument at most."""
        path, _ = self.bus.device(address)
        if not path:
            raise Refused('unknown', f'{address} is not known here')
        self.asked[method] = self.bus.ask(path, DEVICE, method,
                                          GLib.Variant('(s)', arguments) if arguments else None)

    def outcome(self, method, seconds=30):
        """Nothing when it went well, else what the daemon says."""
        try:
            self.asked[method].result(seconds)
            return None
        except Refused as error:
            return ' '.join(error.args)

    def do(self, method, address, *arguments):
        self.ask_device(method, address, *arguments)
        return self.outcome(method, 40)

    # Pairing

    def agent(self, capability, **answers):
        """How the person at this device answers: by method, a value, or nothing for a refusal."""
        self.agent_answers, self.agent_calls = answers, []
        if self.capability == capability:
            return
        self._put_away_agent()

        def called(connection, sender, path, interface, method, arguments, invocation):
            self.agent_calls.append([method, *[str(part) for part in arguments.unpack()]])
            answer = self.agent_answers.get(method, True)
            if answer is None:
                invocation.return_dbus_error('org.bluez.Error.Rejected', 'no')
            elif method in ('RequestPinCode', 'RequestPasskey'):
                invocation.return_value(GLib.Variant('(s)' if method == 'RequestPinCode' else '(u)', (answer,)))
            else:
                invocation.return_value(None)
        self._export('/agent', 'org.bluez.Agent1', called)
        self._agents('RegisterAgent', capability)
        self._agents('RequestDefaultAgent')
        self.wait_adapter('Pairable', True)
        self.capability = capability

    def _put_away_agent(self):
        """Without one the daemon has its controller bond with nobody any more, and it takes a moment for it to hear that
        this is done. Whoever registers another before sees it do nothing, and then pairs without a bond."""
        self._put_away('/agent')
        if self.capability and self.daemons.lives('bluetoothd'):
            self.wait_adapter('Pairable', False)
        self.capability = None

    def _agents(self, method, *capability):
        arguments = GLib.Variant('(os)' if capability else '(o)', ('/agent', *capability))
        self.bus.call('/org/bluez', 'org.bluez.AgentManager1', method, arguments)

    def agent_calls_so_far(self):
        return self.agent_calls

    def pair_begin(self, address, capability=1):
        """Over the management socket, as the daemon does it; it needs no inquiry for that. A channel to the other's
        services keeps the link, which else ends when nothing happens on it for two seconds: a long time for a phone,
        not for an emulated machine."""
        self.channel = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_SEQPACKET | socket.SOCK_NONBLOCK,
                                     socket.BTPROTO_L2CAP)
        if self.channel.connect_ex((address, 1)) not in (0, errno.EINPROGRESS):
            raise OSError('no channel')
        wait(lambda: select.select([], [self.channel], [], 0)[1], 'the other is reached', 20)
        self.management.pair(address, 0, capability)

    def pair_outcome(self, seconds=40):
        """The kernel's status: 0 paired, 5 authentication failed, ..."""
        status = self.management.answer(Management.PAIR, seconds)[0]
        self.channel.close()
        return status

    def grow_old(self):
        """From now on it knows PINs only, as long as it is this device. The kernel takes note, but leaves its controller
        as it is."""
        self.simple = False
        self.management.send(Management.SIMPLE_PAIRING, b'\0')
        self.management.answer(Management.SIMPLE_PAIRING, 10)
        self.shell('hcitool cmd 0x03 0x0056 00')

    def device(self, address):
        return plain(self.bus.device(address)[1])

    def wait_device(self, address, name, value, seconds=20):
        wait(lambda: self.bus.device(address)[1].get(name) == value, f'{name} of {address} is {value}', seconds)

    def wait_adapter(self, name, value, seconds=20):
        wait(lambda: self.bus.adapter().get(name) == value, f'{name} is {value}', seconds)

    def forget(self, address):
        path, _ = self.bus.device(address)
        self.bus.call(HCI, ADAPTER, 'RemoveDevice', GLib.Variant('(o)', (path,)))

    def _export(self, path, interface, called):
        self.exported[path] = self.bus.connection.register_object(path, INTERFACES[interface], called, None, None)

    # Sound

    def endpoint(self, service):
        """Offer to send sound, or to play it."""
        self.sound = sound.Endpoint(self.bus, service)

    def transport(self):
        return self.sound.transport

    def heard_sound(self, seconds=20):
        wait(lambda: self.sound.transport, 'there is a transport', seconds)
        return self.sound.heard(seconds)

    def volume(self, value):
        self.sound.set_volume(value)

    # Input devices

    def classic_keyboard(self, name='Keys'):
        """The record of a keyboard, and its two channels, which are waited on."""
        record = HID_RECORD.format(name=name, descriptor=gatt.KEYBOARD.hex())

        def called(connection, sender, path, interface, method, arguments, invocation):
            invocation.return_value(None)
        self._export('/hid', 'org.bluez.Profile1', called)
        self.bus.call('/org/bluez', 'org.bluez.ProfileManager1', 'RegisterProfile', GLib.Variant('(osa{sv})', (
            '/hid', gatt.uuid('1124'), {'Name': text('Keys'), 'Role': text('server'), 'ServiceRecord': text(record),
                                        'RequireAuthentication': boolean(False),
                                        'RequireAuthorization': boolean(False)})))
        for psm in (0x11, 0x13):
            plug = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_SEQPACKET, socket.BTPROTO_L2CAP)
            plug.bind(('00:00:00:00:00:00', psm))
            plug.listen(2)
            plug.setblocking(False)
            self.sockets.append(plug)

    def accept_channels(self, seconds=30):
        def accept(plug):
            try:
                return plug.accept()[0]
            except BlockingIOError:
                return None
        for plug in self.sockets[:2]:
            channel = wait(lambda: accept(plug), 'a channel is opened', seconds)
            channel.setblocking(False)
            self.sockets.append(channel)

    def open_channels(self, address):
        for psm in (0x11, 0x13):
            plug = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_SEQPACKET, socket.BTPROTO_L2CAP)
            plug.connect((address, psm))
            self.sockets.append(plug)
            pass_time(0.3)

    def close_channels(self):
        for plug in reversed(self.sockets[2:]):
            plug.close()
        del self.sockets[2:]

    def press(self, data):
        self.sockets[-1].send(bytes([0xa1]) + bytes.fromhex(data))

    def remote(self, device_type=0, firmware=0x10000001, capabilities=0x1f):
        self.application = gatt.Remote(self.bus, device_type, firmware, capabilities)
        self._go_on_the_air()

    def is_now(self, device_type, firmware):
        """The remote is another model, for who asks it again."""
        self.application.says(device_type, firmware)

    def le_keyboard(self):
        self.application = gatt.Hid(self.bus, 'Keys', 0x03c1, gatt.KEYBOARD, [(0x01, gatt.INPUT, bytes(8))])
        self._go_on_the_air()

    def _go_on_the_air(self):
        self.agent('NoInputNoOutput')
        self.application.offer()
        self.application.advertise(True)

    def advertise(self, on):
        self.application.advertise(on)

    def listened_to(self, seconds=30):
        wait(self.application.notifying, 'all reports are subscribed to', seconds)

    def report(self, number, data):
        self.application.input(number, bytes.fromhex(data))

    def battery(self, percent):
        self.application.notify(self.application.battery, [percent])

    def obeyed(self):
        return self.application.obeyed

    def received(self):
        return self.application.received

    def acknowledge(self, on):
        self.application.acknowledges = on

    # What can be seen of the other

    def inquire(self):
        return bus.inquire()

    def part(self):
        """No link, and none on its way."""
        for path, interfaces in self.bus.objects().items():
            if interfaces.get(DEVICE, {}).get('Connected'):
                self.bus.ask(path, DEVICE, 'Disconnect')
        if bus.links():
            pass_time(0.3)
            self.shell('; '.join(f'hcitool ledc {handle}' for handle in bus.links()) or 'true')
        wait(lambda: not bus.links(), 'there is no link', 10)

    def lose_links(self, reason=0x08):
        """The emulator of controllers does not tell of those that vanish. 0x13: the other went off on purpose."""
        return bus.link_lost('peer', reason)

    def link_runs(self):
        """Interval, latency and timeout of the link on low energy, as this end's controller told them last."""
        with open('/run/parameters.peer') as file:
            return [int(number) for number in file.read().splitlines()[-1].split()]

    def sleeps_through(self, events):
        """The device asks its controller for a link on which it need not listen each time."""
        handle = bus.links()[0]
        return self.shell(f'hcitool lecup --handle {handle} --min 24 --max 40 --latency {events} --timeout 400')

    def remote_name(self, address):
        return self.shell(f'hcitool name {address}')

    def heard(self, address, seconds=20):
        """Listen on low energy until the address is heard; what it says."""
        self.bus.call(HCI, ADAPTER, 'SetDiscoveryFilter', GLib.Variant('(a{sv})', ({'Transport': text('le')},)))
        self.bus.call(HCI, ADAPTER, 'StartDiscovery')
        try:
            return plain(wait(lambda: (lambda found: found if 'RSSI' in found else None)(self.bus.device(address)[1]),
                              f'{address} is heard', seconds))
        finally:
            self.bus.call(HCI, ADAPTER, 'StopDiscovery')


def empty(folder):
    for name in os.listdir(folder):
        shutil.rmtree(f'{folder}/{name}', ignore_errors=True)


def plain(value):
    """Without what JSON does not know: bytes as text, numbered keys as text."""
    if isinstance(value, dict):
        return {str(key): plain(part) for key, part in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(part) for part in value]
    return value.hex() if isinstance(value, bytes) else value


HID_RECORD = '''<?xml version="1.0" encoding="UTF-8" ?><record>
<attribute id="0x0001"><sequence><uuid value="0x1124"/></sequence></attribute>
<attribute id="0x0004"><sequence><sequence><uuid value="0x0100"/><uint16 value="0x0011"/></sequence><sequence><uuid
 value="0x0011"/></sequence></sequence></attribute>
<attribute id="0x0005"><sequence><uuid value="0x1002"/></sequence></attribute>
<attribute id="0x0009"><sequence><sequence><uuid value="0x1124"/><uint16 value="0x0100"/></sequence></sequence></attribute>
<attribute id="0x000d"><sequence><sequence><sequence><uuid value="0x0100"/><uint16 value="0x0013"/></sequence><sequence>
<uuid value="0x0011"/></sequence></sequence></sequence></attribute>
<attribute id="0x0100"><text value="{name}"/></attribute>
<attribute id="0x0201"><uint16 value="0x0111"/></attribute><attribute id="0x0202"><uint8 value="0x40"/></attribute>
<attribute id="0x0203"><uint8 value="0x00"/></attribute><attribute id="0x0204"><boolean value="true"/></attribute>
<attribute id="0x0205"><boolean value="true"/></attribute>
<attribute id="0x0206"><sequence><sequence><uint8 value="0x22"/><text encoding="hex" value="{descriptor}"/></sequence>
</sequence></attribute>
<attribute id="0x0207"><sequence><sequence><uint16 value="0x0409"/><uint16 value="0x0100"/></sequence></sequence></attribute>
<attribute id="0x020d"><boolean value="true"/></attribute><attribute id="0x020e"><boolean value="false"/></attribute>
</record>'''

if __name__ == '__main__':
    Machine().serve()
