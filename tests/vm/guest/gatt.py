"""A device on low energy, as an application of its own Bluetooth daemon: services, what is written to it, what it
notifies of, and its advertisement."""

from gi.repository import Gio, GLib

from bus import HCI, MANAGER, PROPERTIES

SERVICE, CHARACTERISTIC, DESCRIPTOR = (f'org.bluez.Gatt{kind}1' for kind in ('Service', 'Characteristic', 'Descriptor'))
INPUT, OUTPUT, FEATURE = 1, 2, 3

XML = f'''<node>
<interface name="{MANAGER}"><method name="GetManagedObjects"><arg direction="out" type="a{{oa{{sa{{sv}}}}}}"/></method>
</interface>
<interface name="{SERVICE}"/>
<interface name="{CHARACTERISTIC}">
<method name="ReadValue"><arg type="a{{sv}}"/><arg direction="out" type="ay"/></method>
<method name="WriteValue"><arg type="ay"/><arg type="a{{sv}}"/></method>
<method name="StartNotify"/><method name="StopNotify"/></interface>
<interface name="{DESCRIPTOR}"><method name="ReadValue"><arg type="a{{sv}}"/><arg direction="out" type="ay"/></method>
</interface>
<interface name="org.bluez.LEAdvertisement1"><method name="Release"/>
<property name="Type" type="s" access="read"/><property name="ServiceUUIDs" type="as" access="read"/>
<property name="LocalName" type="s" access="read"/><property name="Appearance" type="q" access="read"/>
<property name="Discoverable" type="b" access="read"/></interface>
</node>'''
INTERFACES = {interface.name: interface for interface in Gio.DBusNodeInfo.new_for_xml(XML).interfaces}


def uuid(short):
    return f'0000{short}-0000-1000-8000-00805f9b34fb'


def octets(data):
    return GLib.Variant('ay', bytes(data))


class Value:
    """A characteristic or a descriptor: bytes that can be read, and perhaps written and notified of."""

    def __init__(self, path, value):
        self.path, self.value, self.notifying = path, bytes(value), False
        self.on_write = self.on_read = None


class Application:
    def __init__(self, bus, name, appearance, services):
        self.bus, self.described, self.ids, self.advertising = bus, {}, [], False
        self.advertisement = {'Type': GLib.Variant('s', 'peripheral'), 'LocalName': GLib.Variant('s', name),
                              'ServiceUUIDs': GLib.Variant('as', [uuid(short) for short in services]),
                              'Appearance': GLib.Variant('q', appearance), 'Discoverable': GLib.Variant('b', True)}
        self._export('/app', MANAGER, lambda method, arguments: GLib.Variant.new_tuple(self._objects()))
        self._export('/advertisement', 'org.bluez.LEAdvertisement1', lambda method, arguments: None,
                     lambda name: self.advertisement[name])

    def _export(self, path, interface, answer, read=None):
        def called(connection, sender, path, interface, method, arguments, invocation):
            invocation.return_value(answer(method, arguments.unpack()))
        self.ids.append(self.bus.connection.register_object(
            path, INTERFACES[interface], called, lambda c, s, p, i, name: read(name), None))

    def _objects(self):
        return GLib.Variant('a{oa{sa{sv}}}', self.described)

    def service(self, path, short):
        self.described[path] = {SERVICE: {'UUID': GLib.Variant('s', uuid(short)), 'Primary': GLib.Variant('b', True)}}
        self._export(path, SERVICE, lambda method, arguments: None)
        return path

    def characteristic(self, path, service, short, flags, value=b''):
        self.described[path] = {CHARACTERISTIC: {'UUID': GLib.Variant('s', uuid(short)),
                                                 'Service': GLib.Variant('o', service),
                                                 'Flags': GLib.Variant('as', flags)}}
        return self._valued(path, CHARACTERISTIC, value)

    def descriptor(self, path, characteristic, short, value):
        self.described[path] = {DESCRIPTOR: {'UUID': GLib.Variant('s', uuid(short)),
                                             'Characteristic': GLib.Variant('o', characteristic),
                                             'Flags': GLib.Variant('as', ['read'])}}
        return self._valued(path, DESCRIPTOR, value)

    def _valued(self, path, interface, data):
        value = Value(path, data)

        def answer(method, arguments):
            if method == 'ReadValue':
                if value.on_read:
                    value.on_read()
                return GLib.Variant.new_tuple(octets(value.value[arguments[0].get('offset', 0):]))
            if method == 'WriteValue':
                value.value = bytes(arguments[0])
                if value.on_write:
                    value.on_write(value.value)
            else:
                value.notifying = method == 'StartNotify'
            return None
        self._export(path, interface, answer)
        return value

    def notify(self, value, data):
        value.value = bytes(data)
        self.bus.connection.emit_signal(None, value.path, PROPERTIES, 'PropertiesChanged', GLib.Variant(
            '(sa{sv}as)', (CHARACTERISTIC, {'Value': octets(data)}, [])))

    def offer(self):
        self.bus.call(HCI, 'org.bluez.GattManager1', 'RegisterApplication', GLib.Variant('(oa{sv})', ('/app', {})))

    def advertise(self, on):
        if on == self.advertising:
            return
        manager = 'org.bluez.LEAdvertisingManager1'
        if on:
            self.bus.call(HCI, manager, 'RegisterAdvertisement', GLib.Variant('(oa{sv})', ('/advertisement', {})))
        else:
            self.bus.call(HCI, manager, 'UnregisterAdvertisement', GLib.Variant('(o)', ('/advertisement',)))
        self.advertising = on

    def withdraw(self):
        for number in self.ids:
            self.bus.connection.unregister_object(number)


class Hid(Application):
    """HID over GATT: a report descriptor, and the reports by their ids."""

    def __init__(self, bus, name, appearance, descriptor, reports):
        """reports: (id, kind, first value)"""
        super().__init__(bus, name, appearance, ['1812'])
        hid = self.service('/app/hid', '1812')
        self.characteristic(f'{hid}/information', hid, '2a4a', ['encrypt-read'], b'\x11\x01\x00\x02')
        self.characteristic(f'{hid}/map', hid, '2a4b', ['encrypt-read'], descriptor)
        self.characteristic(f'{hid}/control', hid, '2a4c', ['write-without-response'], b'\0')
        flags = {INPUT: ['encrypt-read', 'notify'],
                 OUTPUT: ['encrypt-read', 'encrypt-write', 'write', 'write-without-response'],
                 FEATURE: ['encrypt-read', 'encrypt-write']}
        self.reports = {}
        for number, kind, value in reports:
            path = f'{hid}/report{number:02x}'
            self.reports[number] = self.characteristic(path, hid, '2a4d', flags[kind], value)
            self.descriptor(f'{path}/reference', path, '2908', [number, kind])
        battery = self.service('/app/battery', '180f')
        self.battery = self.characteristic(f'{battery}/level', battery, '2a19', ['read', 'notify'], [77])

    def input(self, number, data):
        self.notify(self.reports[number], data)

    def notifying(self):
        return all(report.notifying for number, report in self.reports.items() if number < 0x30)


KEYS = bytes.fromhex('050C0901A1018501150026FF0319002AFF03751095018100C0')
KEYBOARD = bytes.fromhex(
    '05010906A1018501050719E029E71500250175019508810295017508810395067508150025650507190029658100C0')
VENDOR = bytes.fromhex(
    '0660FF0901A101150026FF007508'
    '852009209502810285210921950381028522092295028102852309239502810285240924950481028530093095039102'
    '8531093195139102853209329513910285400940950CB102854109419508B102C0')


class Remote(Hid):
    """A remote with the reference protocol. What it does with a command, it does as the protocol's document says: it
    acknowledges, obeys a repetition once, and knows nothing of who commands it."""

    def __init__(self, bus, device_type, firmware, capabilities):
        reports = [(0x01, INPUT, bytes(2))]
        reports += [(number, INPUT, bytes(length)) for number, length in ((0x20, 2), (0x21, 3), (0x22, 2), (0x23, 2),
                                                                          (0x24, 4))]
        reports += [(number, OUTPUT, bytes(length)) for number, length in ((0x30, 3), (0x31, 19), (0x32, 19))]
        reports += [(0x40, FEATURE, bytes(12)), (0x41, FEATURE, bytes(8))]
        super().__init__(bus, 'Remote', 0x0180, KEYS + VENDOR, reports)
        self.says(device_type, firmware, capabilities)
        self.obeyed, self.received, self.last, self.acknowledges = [], [], None, True
        for number in (0x30, 0x31, 0x32):
            self.reports[number].on_write = lambda data, number=number: self._commanded(number, data)

    def says(self, device_type, firmware, capabilities=0x1f):
        identity = bytes([1, device_type]) + firmware.to_bytes(4, 'little') + capabilities.to_bytes(2, 'little')
        self.reports[0x40].value = identity + bytes(4)

    def _commanded(self, number, data):
        self.received.append([number, data.hex()])
        if not self.acknowledges:
            return
        if (number, data) != self.last:
            self.last = number, data
            self.obeyed.append([number, data[:-1].hex()])
        self.input(0x24, [number, data[-1], 0, 0])
