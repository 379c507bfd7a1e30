#!/usr/bin/python3
"""The first machine: the box. The service runs here as it is shipped; around it real daemons, and its siblings played.

Runs the suites that the kernel's command line names, and says on the console what happens, in lines that begin with
"@".
"""

import importlib
import json
import os
import re
import shutil
import subprocess
import sys
import time
import traceback

from gi.repository import Gio, GLib

import sound
from bus import (ADAPTER, DEVICE, HCI, Bus, Daemons, Refused, TimeOut, boolean, connect, link_lost, links,
                 packets, pass_time, stays, tell_relay, text, wait)
from wire import Peer

HERE = os.path.dirname(os.path.abspath(__file__))
TREE = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
sys.path.insert(0, f'{TREE}/tests/vm/suites')
BLUETOOTHD = '/usr/libexec/bluetooth/bluetoothd'
LOGS = '/mnt/results/box'
SERVICE, PLATFORM = 'org.vantor.vyrel.lite', 'org.vantor.platform'
UUID = 'dfc3afaa-6ff9-4a05-b68c-a0b725f90005'
MANAGER, SHIFT = 'com.quorix.tv.bt.connectionmanager', 'com.quorix.tv.bt.connectionshift'
SIBLINGS = (MANAGER, SHIFT, 'com.quorix.tv.hfpAgent.api', 'com.quorix.tv.bt.updatemanager',
            'com.quorix.tv.bt.irmonitor')
DATA = '/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data'
PERSISTENT, MEMORY, KEEPERS = '/var/lib/vyrel-lite', '/run/vyrel-lite', '/etc/vyrel-lite/features.d'


def own(connection, name):
    connection.call_sync('org.freedesktop.DBus', '/org/freedesktop/DBus', 'org.freedesktop.DBus', 'RequestName',
                         GLib.Variant('(su)', (name, 4)), None, 0, 5000, None)


class Sibling:
    """A service of the box that the one under test speaks to: owns its name, answers at once, notes what it gets."""

    def __init__(self, interface, calls):
        self.interface, self.calls, self.connection = interface, calls, None
        with open(f'{TREE}/data/dbus-1/interfaces/{interface}.xml') as file:
            node = Gio.DBusNodeInfo.new_for_xml(file.read())
        self.path, self.described = node.path, node.interfaces[0]
        self.name = interface.removesuffix('.api')

    def come(self):
        if self.connection:
            return
        self.connection = connect()
        self.connection.register_object(self.path, self.described, self._called, None, None)
        self.connection.signal_subscribe(None, None, None, None, None, Gio.DBusSignalFlags.NONE, self._signalled)
        own(self.connection, self.name)

    def go(self):
        if self.connection:
            self.connection.close_sync(None)
        self.connection = None

    def _note(self, method, arguments):
        self.calls.append((method, arguments.get_type_string(), arguments.unpack(), self.interface))

    def _called(self, connection, sender, path, interface, method, arguments, invocation):
        self._note(method, arguments)
        answer = [argument.signature for argument in self.described.lookup_method(method).out_args]
        invocation.return_value(None if not answer else
                                GLib.Variant.new_tuple(*[GLib.Variant(kind, '' if kind == 's' else 0)
                                                         for kind in answer]))

    def _signalled(self, connection, sender, path, interface, signal, arguments):
        if interface == self.interface:
            self._note(signal, arguments)


class Logind:
    """The login manager, which these machines have not: it takes holds, and notes what it is asked to do."""

    XML = '''<node><interface name="org.freedesktop.login1.Manager"><method name="Inhibit"><arg type="s"/><arg type="s"/>
<arg type="s"/><arg type="s"/><arg direction="out" type="h"/></method><method name="PowerOff"><arg type="b"/></method>
<method name="Reboot"><arg type="b"/></method><method name="Suspend"><arg type="b"/></method>
<signal name="PrepareForShutdown"><arg type="b"/></signal><signal name="PrepareForSleep"><arg type="b"/></signal>
</interface></node>'''

    def __init__(self):
        self.asked, self.connection = [], connect()
        self.connection.register_object('/org/freedesktop/login1', Gio.DBusNodeInfo.new_for_xml(self.XML).interfaces[0],
                                        self._called, None, None)
        own(self.connection, 'org.freedesktop.login1')

    def _called(self, connection, sender, path, interface, method, arguments, invocation):
        if method != 'Inhibit':
            self.asked.append(method)
            invocation.return_value(None)
            return
        ours, theirs = os.pipe()
        fds = Gio.UnixFDList()
        fds.append(theirs)
        os.close(theirs)
        os.close(ours)
        invocation.return_value_with_unix_fd_list(GLib.Variant('(h)', (0,)), fds)

    def tells(self, signal, start):
        self.connection.emit_signal(None, '/org/freedesktop/login1', 'org.freedesktop.login1.Manager', signal,
                                    GLib.Variant('(b)', (start,)))


class Box:
    def __init__(self):
        self.bus, self.daemons, self.peer = Bus(), Daemons(LOGS), Peer()
        self.calls = []
        self.siblings = {interface: Sibling(interface, self.calls) for interface in SIBLINGS}
        self.sound = None
        self.logind = Logind()
        self.requests, self.done = [], []
        self.bus.connection.signal_subscribe(None, 'org.vantor.platform.Pairing1', None, None, None,
                                             Gio.DBusSignalFlags.NONE, self._asked)
        self.peer_address = self.address = None
        self.stale_links = False # what was reported lost, the emulator still has

    def _asked(self, connection, sender, path, interface, signal, arguments):
        {'Request': self.requests, 'Done': self.done}[signal].append(arguments.unpack())

    # The machine

    def air_comes(self):
        """What is between all: an emulator of controllers, and the way of the other machine to it."""
        self.daemons.start('btvirt', 'btvirt', '-s')
        wait(lambda: os.path.exists('/tmp/bt-server-bredrle'), 'the emulator of controllers is there')
        self.daemons.start_air('air', 'python3', f'{HERE}/relay.py', 'air', 'port:air', 'unix:/tmp/bt-server-bredrle')
        self.radio_comes()
        self.peer.become('phone')

    def radio_comes(self):
        """The box's adapter is plugged in."""
        self.daemons.start('radio', 'python3', f'{HERE}/relay.py', 'box', 'vhci', 'unix:/tmp/bt-server-bredrle')
        wait(lambda: os.path.isdir('/sys/class/bluetooth/hci0'), 'the kernel has an adapter')
        self.strength(-42)

    def radio_goes(self):
        self.daemons.stop('radio')
        self.peer.lose_links()
        wait(lambda: not os.path.isdir('/sys/class/bluetooth/hci0'), 'the kernel has no adapter')

    def strength(self, value):
        tell_relay('box', rssi=value)

    def inject(self, packet):
        tell_relay('box', inject=packet)

    def commands(self, opcode):
        """The parameters of each command with this opcode that the box gave its controller, the oldest first."""
        with open('/run/commands.box') as file:
            rows = [line.split() for line in file]
        return [bytes.fromhex(row[2] if len(row) > 2 else '') for row in rows if row[1] == f'{opcode:04x}']

    def answers_pages(self):
        """Whether the controller was told to answer who calls on it. The emulated one answers anyway, and there is no
        such socket to try it with that this kernel survives."""
        with open('/run/commands.box') as file:
            rows = [line.split() for line in file if line.split()[1] in ('0c1a', '0c03')]
        return bool(rows and rows[-1][1] == '0c1a' and int(rows[-1][2], 16) & 2)

    def bluetoothd(self, auto_enable=False):
        self.daemons.stop('bluetoothd')
        with open('/run/bluetoothd.conf', 'w') as file:
            file.write('[General]\nClass = 0x08043c\nDiscoverableTimeout = 0\nPairableTimeout = 0\n'
                       f'JustWorksRepairing = confirm\n[Policy]\nAutoEnable = {str(auto_enable).lower()}\n'
                       '[GATT]\nChannels = 1\n')
        self.daemons.start('bluetoothd', BLUETOOTHD, '-n', '-d', '-f', '/run/bluetoothd.conf')
        wait(lambda: self.bus.adapter().get('Powered') in ([True] if auto_enable else [True, False]),
             'the Bluetooth daemon has its adapter', 30)
        self.address = self.bus.adapter()['Address']

    def restart_bluetoothd(self):
        """Stopped in order, as an upgrade does it, and started again."""
        self.daemons.stop('bluetoothd')
        self.daemons.start('bluetoothd', BLUETOOTHD, '-n', '-d', '-f', '/run/bluetoothd.conf')

    def reset(self, peer, auto_enable=False, settings=(), features=()):
        """A box on which nothing was ever done, and another device beside it."""
        self.daemons.stop('service')
        self.sound_goes()
        self.daemons.stop('bluetoothd')
        if self.stale_links:
            self.daemons.stop('radio')
        becoming = self.peer.begin('become', peer, self.stale_links)
        if not self.daemons.lives('radio'):
            self.radio_comes()
        self.stale_links = False
        for folder in (PERSISTENT, MEMORY, KEEPERS, DATA):
            shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(DATA) # as the package has it made
        for name in os.listdir('/var/lib/bluetooth'):
            shutil.rmtree(f'/var/lib/bluetooth/{name}')
        for name in ('/tmp/app_ready', '/tmp/solar', '/tmp/.bt_irmonitor'):
            if os.path.exists(name):
                os.unlink(name)
        self.features(*features)
        self.bluetoothd(auto_enable)
        self.peer_address = self.peer.end(becoming, 'becoming')
        for interface in SIBLINGS:
            self.siblings[interface].come()
        self.forget_calls()
        self.settings(*settings)

    def features(self, *lines):
        os.makedirs(KEEPERS, exist_ok=True)
        with open(f'{KEEPERS}/test.conf', 'w') as file:
            file.write('\n'.join(lines) + '\n')

    def sound_comes(self, service=sound.SOURCE):
        self.sound = sound.Endpoint(self.bus, service)

    def sound_comes_again(self, service):
        """As an audio server does it when its daemon or its adapter was away."""
        self.sound_goes()
        self.sound_comes(service)

    def sound_goes(self):
        if self.sound:
            self.sound.withdraw()
        self.sound = None

    def radio_is_pulled(self):
        """And plugged in again; what the service has to do then, it has done."""
        self.radio_goes()
        wait(lambda: not self.bus.adapter(), 'the daemon has no adapter')
        self.radio_comes()
        wait(self.is_set_up, 'the adapter is set up again', 20)

    def bluetoothd_is_upgraded(self):
        """And with it, too, the service has done what it has to do."""
        self.restart_bluetoothd()
        wait(self.is_set_up, 'the adapter is set up again', 20)

    # The service

    def service(self):
        self.daemons.start('service', f'{TREE}/build/release/vyrel-lite', G_DEBUG='fatal-criticals')
        wait(lambda: self.bus.owner(SERVICE), 'the service is on the bus', 20)

    def service_up(self):
        """The service, its adapter, and all that it sets up there."""
        self.service()
        wait(self.is_set_up, 'the adapter is set up', 20)

    def is_set_up(self):
        adapter = self.bus.adapter()
        return adapter.get('Powered') and UUID in adapter.get('UUIDs', []) and adapter.get('Discoverable')

    def stop_service(self):
        return self.daemons.stop('service')

    def service_log(self):
        with open(f'{Daemons.LOGS}/service.log', errors='replace') as file:
            return file.read()

    # What the siblings got

    def forget_calls(self):
        self.calls.clear()
        self.requests.clear()
        self.done.clear()
        self.logind.asked.clear()

    def got(self, method, *arguments, seconds=15):
        """The call has come, or comes; nothing said about arguments, any will do."""
        def found():
            return any(call[0] == method and (not arguments or call[2] == arguments) for call in self.calls)
        try:
            wait(found, f'{method}{arguments or ""}', seconds)
        except TimeOut as error:
            raise TimeOut(f'{error}; there were {self.names()}') from None

    def count(self, method):
        return sum(1 for call in self.calls if call[0] == method)

    def names(self):
        return [f'{call[0]}{call[2]}' for call in self.calls]

    def answers(self, method, *arguments):
        """Answer a pairing request, as the connection manager does: later, on the platform's object."""
        kinds = {'AnswerAuthentication': '(sbs)', 'AnswerConsent': '(sb)', 'AnswerService': '(sibb)'}
        self.bus.call('/org/vantor/platform', 'org.vantor.platform.Pairing1', method,
                      GLib.Variant(kinds[method], arguments), PLATFORM)

    def key_combination(self, code):
        self.bus.connection.emit_signal(None, '/com/tarnwick/dbus/ping', 'keyrouter.dbus.Signal', 'KEY_COMBINATION',
                                        GLib.Variant('(i)', (code,)))

    def power(self, method, *numbers):
        self.bus.call('/org/vantor/platform', 'org.vantor.platform.Power1', method,
                      GLib.Variant(f'({"i" * len(numbers)})', numbers), PLATFORM)

    # What stands in the settings, and among the usage events

    def settings(self, *pairs):
        for key, value in pairs:
            kind = {bool: '--bool', int: '--int', str: '--string'}[type(value)]
            shown = str(value).lower() if isinstance(value, bool) else str(value)
            self._settings('set', key, kind, shown)

    def setting(self, key):
        said = self._settings('get', key)
        return said

    def _settings(self, *words):
        done = subprocess.run([f'{TREE}/build/release/tools/vyrel-settings/vyrel-settings', *words], text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=20)
        if done.returncode != 0 and words[0] == 'set':
            raise RuntimeError(done.stderr)
        return done.stdout.removesuffix('\n') if done.returncode == 0 else None

    def wait_setting(self, key, value, seconds=10):
        try:
            wait(lambda: self.setting(key) == value, f'{key} is {value!r}', seconds)
        except TimeOut as error:
            raise TimeOut(f'{error}; it is {self.setting(key)!r}') from None

    def usage(self):
        try:
            with open(f'{PERSISTENT}/kpi/events.jsonl') as file:
                return [json.loads(line) for line in file]
        except FileNotFoundError:
            return []

    # Its devices

    def device(self, address=None):
        return self.bus.device(address or self.peer_address)[1]

    def device_path(self, address=None):
        return self.bus.device(address or self.peer_address)[0]

    def wait_device(self, name, value, seconds=20):
        wait(lambda: self.device().get(name) == value, f'{name} of the other device is {value}', seconds)

    def wait_looked_at(self):
        """The daemon knows all services of a device on low energy that has just connected."""
        def known():
            device = self.device()
            return device.get('Connected') and device.get('ServicesResolved')
        wait(known, 'the daemon knows all of the device', 30)

    def wait_silent(self):
        """And has read what it wants of them. Until then what is written to the device waits its turn, and a link that
        ends meanwhile takes it with it."""
        self.wait_looked_at()
        before = None
        for _ in range(40):
            if (now := packets()) == before:
                return
            before = now
            pass_time(1.5)
        raise TimeOut('the link is never silent')

    def connect(self):
        """As a connection manager does it: again, while the daemon is busy with the device, or when both ends began to
        ask each other at the same moment and gave up."""
        for attempt in range(6):
            try:
                self.bus.call(self.device_path(), DEVICE, 'Connect', seconds=45)
                return
            except Refused as error:
                if attempt == 5:
                    raise
                print(f'@+ not connected at once: {error}')
                pass_time(1)

    def speaker_comes(self):
        """Somebody at the speaker has it connect. For a minute after it lost the box its daemon tries that by itself, too,
        and is busy then: who is there tries again."""
        for attempt in range(4):
            self.part()
            self.forget_calls()
            said = self.peer.do('Connect', self.address)
            try:
                self.got('AudioConnectionStateChanged', self.peer_address, 2, 0, 1, seconds=3 if attempt < 3 else 15)
                return
            except TimeOut:
                if attempt == 3:
                    raise
                print(f'@+ not connected at once: {said}')

    def trust(self):
        self.bus.set(self.device_path(), DEVICE, 'Trusted', boolean(True))

    def forget_device(self):
        self.bus.call(HCI, ADAPTER, 'RemoveDevice', GLib.Variant('(o)', (self.device_path(),)))

    def part(self):
        """No link between the two; what comes next begins with one of its own. One that the other had begun to make comes
        after all."""
        self.peer.part()
        wait(lambda: not links() or self.peer.part(), 'there is no link')

    def bond(self):
        """The two become acquainted, as the connection manager wants it; the device begins, whatever it is: a pairing
        that this end begins does not get through the emulator of controllers."""
        self.peer.agent('NoInputNoOutput')
        self.peer.pair_begin(self.address, capability=3)
        self.got('SspConcentRequest')
        self.answers('AnswerConsent', self.peer_address, True)
        if (status := self.peer.pair_outcome()) != 0:
            raise AssertionError(f'no bond: {status}')
        wait(lambda: self.device().get('Bonded'), 'the bond is there')
        self.trust()
        wait(lambda: self.device().get('UUIDs'), 'the daemon has asked what the other can do')
        self.peer_knows_services()
        self.part()
        self.forget_calls()

    def peer_knows_services(self):
        """The other's daemon asks by itself after a pairing, and is busy until then."""
        def known():
            device = self.peer.device(self.address)
            return device.get('UUIDs') and (device['ServicesResolved'] or not device['Connected'])
        wait(known, 'the other knows what this one can do')

    def next_boot(self):
        """What starts after the machine was off: nothing of what /run held is there."""
        self.stop_service()
        shutil.rmtree(MEMORY, ignore_errors=True)
        self.bluetoothd()
        self.forget_calls()
        self.service()
        wait(lambda: UUID in self.bus.adapter().get('UUIDs', []), 'the adapter is set up')

    def find_and_pair(self):
        """A device on low energy, as a connection manager does it: listen, pair, trust."""
        self.bus.call(HCI, ADAPTER, 'SetDiscoveryFilter', GLib.Variant('(a{sv})', ({'Transport': text('le')},)))
        self.bus.call(HCI, ADAPTER, 'StartDiscovery')
        wait(self.device_path, 'the device is heard', 20)
        self.bus.call(HCI, ADAPTER, 'StopDiscovery')
        pairing = self.bus.ask(self.device_path(), DEVICE, 'Pair')
        wait(lambda: pairing.done or self.count('SspConcentRequest'), 'it pairs', 30)
        if not pairing.done:
            self.answers('AnswerConsent', self.peer_address, True)
        pairing.result(30)
        self.trust()

    def lose_link(self, reason):
        """The controllers hear nothing of each other any more."""
        self.stale_links = True
        if not link_lost('box', reason):
            raise AssertionError('there is no link')
        self.peer.lose_links()

    def strangers(self):
        """The two have never met."""
        if self.peer.device(self.address):
            self.peer.forget(self.address)
        if self.device_path():
            self.forget_device()
        self.part()
        self.forget_calls()


def check(what, is_so, detail=''):
    """What has to be; said on the console either way."""
    if not is_so:
        raise AssertionError(f'{what}{": " if detail != "" else ""}{detail if detail != "" else ""}')
    print(f'@+ {what}')


def equal(what, found, wanted):
    check(what, found == wanted, f'{found!r} instead of {wanted!r}' if found != wanted else '')


def words_of(function):
    return function.__name__.removeprefix('test_').replace('_', ' ')


def run_suite(box, name):
    """Each case goes on from where the one before it ended, so the first that fails is the last."""
    module = importlib.import_module(name)
    cases = [value for key, value in vars(module).items() if key.startswith('test_')]
    box.stale_links = True # whatever the suite before this one left
    for number, case in enumerate(cases):
        begun = time.monotonic()
        try:
            box.daemons.mark(words_of(case))
            box.peer.mark(words_of(case))
            case(box)
            print(f'@pass {name} {time.monotonic() - begun:.1f} {words_of(case)}')
        except Exception as error: # a test may fail in any way
            print(f'@fail {name} {time.monotonic() - begun:.1f} {words_of(case)}')
            frames = traceback.extract_tb(error.__traceback__)
            for frame in (frame for frame in frames if '/suites/' in frame.filename):
                print(f'@! {os.path.basename(frame.filename)}:{frame.lineno}: {frame.line}')
            print(f'@! {type(error).__name__}: ' + str(error).replace('\n', '\n@! '))
            if left := len(cases) - number - 1:
                print(f'@! {left} cases after this one are left out')
            return False
    return True


def main():
    with open('/proc/cmdline') as file:
        suites = re.search(r' vyrel\.suites=(\S+)', file.read())[1].split(',')
    box = Box()
    wait(lambda: answered(box), 'the other machine is up', 60)
    print(f'@up {open("/proc/uptime").read().split()[0]}')
    box.air_comes()
    whole = True
    for name in suites:
        print(f'@suite {name}')
        begun = time.monotonic()
        whole = run_suite(box, name) and whole
        print(f'@end {name} {time.monotonic() - begun:.1f}')
    if 'vyrel.shell' in open('/proc/cmdline').read():
        print('@shell')
        os.environ['PS1'] = 'box# '
        subprocess.run(['/bin/sh', '-i'])
    try:
        box.peer.leave(seconds=3)
    except TimeOut:
        pass
    for name in list(box.daemons.running):
        box.daemons.stop(name)
    box.daemons.keep_logs()
    sys.stdout.flush()
    os._exit(0 if whole else 1)


def answered(box):
    try:
        return box.peer.hello(seconds=2)
    except TimeOut:
        return None


if __name__ == '__main__':
    sys.modules['box'] = sys.modules['__main__']
    main()
