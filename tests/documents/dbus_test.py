"""docs/dbus.md against the code and against the descriptions of the interfaces: each message, how it is called, who sends
it, whether anybody waits for an answer, and for how long."""

import functools
import os
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree

SOURCE = pathlib.Path(os.environ['SOURCE'])
sys.path.insert(0, str(SOURCE / 'tools'))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import read_sources  # noqa: E402: its folder is on the path only now
import tables  # noqa: E402: its folder is on the path only now

TEXT = (SOURCE / 'docs' / 'dbus.md').read_text(encoding='utf-8')
DESCRIPTIONS = SOURCE / 'data' / 'dbus-1' / 'interfaces'
FILES = [source for source in read_sources.sources(SOURCE) if source.name.startswith('src/')]

# Bodies that a function of its own makes, and members that stand in a record: where to find what they are.
BODIES = {'AddressBody': '(s)', 'ConnectionBody': '(bs)'}
FIELDS = {'remote.method': r'constexpr JudgedRemote \w+ = \{[^}]*"(\w+)"\};'}
# What passes on what its callers say.
PASSED_ON = {('src/DbusClient/Sibling.cpp', 'method'), ('src/DbusClient/Sibling.cpp', 'signal'),
             ('src/DbusClient/FirmwareUpdate.cpp', 'method')}


def signature_of(nodes):
    types = ''.join(node.get('type') for node in nodes)
    return f'({types})' if types else '—'


def described(name):
    """Yield (interface, path, member, kind, what goes in or is signalled, what comes out) of a description."""
    node = xml.etree.ElementTree.parse(DESCRIPTIONS / f'{name}.xml').getroot()
    for interface in node.findall('interface'):
        for member in interface:
            if member.tag in ('method', 'signal'):
                arguments = member.findall('arg')
                out = [argument for argument in arguments if member.tag == 'method' and argument.get('direction') == 'out']
                yield (interface.get('name'), node.get('name'), member.get('name'), member.tag,
                       signature_of([argument for argument in arguments if argument not in out]), signature_of(out))
            elif member.tag == 'property':
                yield interface.get('name'), node.get('name'), member.get('name'), 'property', '—', member.get('type')


@functools.cache
def siblings():
    """Map the code's names of the siblings to (bus name, path, interface)."""
    header = (SOURCE / 'src/DbusClient/Sibling.h').read_text(encoding='utf-8')
    return {name: (bus, path, interface) for name, bus, path, interface in
            re.findall(r'constexpr Sibling (\w+) = \{\s*"([^"]+)",\s*"([^"]+)",\s*"([^"]+)"\};', header)}


def time_outs():
    header = (SOURCE / 'src/DbusClient/Sibling.h').read_text(encoding='utf-8')
    return {name: f'{number} ms' for name, number in re.findall(r'constexpr unsigned int (\w+) = (\d+);', header)}


def texts(source, call, expression):
    """Yield (text, the function that says it) of all that an expression may be."""
    text = read_sources.literal(expression)
    if text is None and re.fullmatch(r'\w+', expression):
        text = source.constant(expression)
    if text is not None:
        yield text, call.named
    elif expression in FIELDS:
        for text in re.findall(FIELDS[expression], source.code):
            yield text, call.named
    elif '?' in expression:
        for part in re.split(r'\?|:', expression)[1:]:
            yield from texts(source, call, part.strip())
    elif expression in source.parameters(call.named):
        place = source.parameters(call.named).index(expression)
        files = [source] if call.named == 'Send' else FILES
        for other in files:
            for caller in other.calls(rf'(?:\w+::)?{call.named}'):
                if caller.named != call.named:
                    yield from texts(other, caller, caller.arguments[place])
    else:
        raise read_sources.CannotTell(f'{call.file}:{call.line}: what is {expression}?')


def body_of(call):
    for argument in call.arguments:
        found = re.match(r'g_variant_new\(\s*"([^"]*)"', argument)
        if found:
            return found[1]
        for maker, signature in BODIES.items():
            if argument.startswith(f'{maker}('):
                return signature
    return '—'


@functools.cache
def sent():
    """Map (interface, member, kind) to (signature, functions, how long somebody waits), from the code."""
    found = {}

    def add(sibling, member, kind, signature, function, waits):
        key = siblings()[sibling][2], member, kind
        entry = found.setdefault(key, (signature, set(), waits))
        if (entry[0], entry[2]) != (signature, waits):
            raise read_sources.CannotTell(f'{member} is sent in two ways')
        entry[1].add(function)

    for source in FILES:
        for call in source.calls('Call|Ask|Signal'):
            if (source.name, call.arguments[2]) in PASSED_ON:
                continue
            waits = 'no'
            if call.name == 'Ask':
                waits = time_outs()[call.arguments[4] if len(call.arguments) > 4 else 'kAnswerTimeout']
            for member, function in texts(source, call, call.arguments[2]):
                add(call.arguments[1], member, 'signal' if call.name == 'Signal' else 'method', body_of(call), function, waits)
        for call in source.calls('IsServiceAlive'):
            sibling = call.arguments[0].split('.')[0]
            add(sibling, read_sources.literal(call.arguments[3]), 'method', '—', call.named, time_outs()[call.arguments[4]])
        for call in source.calls('RequestOrGiveUp'):
            add('kUpdateManager', read_sources.literal(call.arguments[1]), 'method', '—', call.named, 'later')
        # Nothing goes past these.
        for call in source.calls('SendDbusMethod|SendDbusMethodSync|SendDbusSignal|g_dbus_connection_send_message\\w*|'
                                 'g_dbus_connection_emit_signal|g_dbus_connection_call\\w*'):
            if source.name not in ('src/DbusClient/Sibling.cpp', 'src/DbusClient/DbusClient.cpp',
                                   'src/DbusClient/FirmwareUpdate.cpp'):
                raise read_sources.CannotTell(f'{call.file}:{call.line} sends by itself')
    return found


def told_sent():
    services = {tables.quoted(row['service'])[0]: row for row in SERVICES}
    found = {}
    for row in tables.rows(TEXT, 'service', 'member', 'kind', 'signature', 'reply', 'sent by', 'waits', 'when'):
        interface = tables.quoted(services[tables.quoted(row['service'])[0]]['interface'])[0]
        key = interface, tables.quoted(row['member'])[0], row['kind']
        if key in found:
            raise ValueError(f'two rows for {key}')
        found[key] = row
    return found


LISTENED = list(tables.rows(TEXT, 'sender', 'object path', 'interface', 'member', 'signature', 'asked for by', 'what it does'))
SERVICES = list(tables.rows(TEXT, 'service', 'bus name', 'object path', 'interface', 'what it is'))


class Dbus(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def testTheServicesAreThoseOfTheCode(self):
        told = [tuple(tables.quoted(row[column])[0] for column in ('bus name', 'object path', 'interface')) for row in SERVICES]
        self.assertEqual(sorted(told), sorted(siblings().values()))

    def testEachMessageThatIsSentHasARowAndNoOther(self):
        self.assertEqual(sorted(told_sent()), sorted(sent()))
        self.assertGreater(len(sent()), 35)

    def testEachRowSaysWhatTheCodeSends(self):
        code = sent()
        for key, row in told_sent().items():
            signature, functions, waits = code[key]
            self.assertEqual((row['signature'].strip('`'), set(tables.quoted(row['sent by'])), row['waits']),
                             (signature, functions, waits), key)
            self.assertNotEqual(row['when'], '', key)

    def testTheRowsAreThoseOfTheDescriptions(self):
        known = {row[2] for row in siblings().values()}
        told = {(interface, member, kind): (row['signature'].strip('`'), row['reply'].strip('`'))
                for (interface, member, kind), row in told_sent().items()}
        wanted = {}
        for file in DESCRIPTIONS.glob('*.xml'):
            for interface, _, member, kind, into, out in described(file.stem):
                if interface in known:
                    wanted[interface, member, kind] = into, out
        self.assertEqual(told, wanted)

    def testWhatIsListenedToIsWhatTheCodeSubscribesTo(self):
        found = set()
        for source in FILES:
            for call in source.calls('g_dbus_connection_signal_subscribe'):
                words = [source.constant(argument) or argument for argument in call.arguments[1:5]]
                found.add(tuple('any' if word == 'nullptr' else word for word in words) + (call.named,))
        told = {tuple(row[column].strip('`') for column in ('sender', 'interface', 'member', 'object path', 'asked for by'))
                for row in LISTENED}
        self.assertEqual(told, found)
        self.assertEqual(len(found), 2)

    def testWhatIsListenedToIsDescribed(self):
        for row in LISTENED:
            if row['interface'] != 'any':
                interface = row['interface'].strip('`')
                self.assertEqual(list(described(interface)), [(interface, row['object path'].strip('`'), row['member'].strip('`'),
                                                               'signal', row['signature'].strip('`'), '—')])

    def testTheOwnNameIsThatOfTheCode(self):
        names = [source.constant(call.arguments[1]) for source in FILES for call in source.calls('g_bus_own_name')]
        self.assertEqual([f'`{name}`' for name in names], re.findall(r'^The service owns (`[^`]+`)', TEXT, re.M))

    def testTheObjectsOfABoxAreThoseOfTheDescriptions(self):
        told = [tuple(row[column].strip('`') for column in ('interface', 'member', 'kind', 'in', 'out'))
                for row in tables.rows(TEXT, 'interface', 'member', 'kind', 'in', 'out', 'who may', 'what')]
        wanted = []
        for file in DESCRIPTIONS.glob('org.vantor.platform.*.xml'):
            for interface, _, member, kind, into, out in described(file.stem):
                wanted.append((interface, member, kind, into, out))
        self.assertEqual(sorted(told), sorted(wanted))

    def testEachDescriptionIsOfAMessageOfTheDocument(self):
        self.assertEqual([file.stem for file in sorted(DESCRIPTIONS.glob('*.xml')) if f'{file.stem}' not in TEXT], [])


if __name__ == '__main__':
    unittest.main()
