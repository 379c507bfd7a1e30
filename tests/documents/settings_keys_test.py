"""docs/settings-keys.md against the code: each setting, its type, who reads, writes and watches it, and its default."""

import collections
import functools
import os
import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(os.environ['SOURCE'])
sys.path.insert(0, str(SOURCE / 'tools'))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import read_sources  # noqa: E402: its folder is on the path only now
import tables  # noqa: E402: its folder is on the path only now

TEXT = (SOURCE / 'docs' / 'settings-keys.md').read_text(encoding='utf-8')
FILES = list(read_sources.sources(SOURCE))

# Functions that are given an id: what they do with the setting, by argument.
HELPERS = {
    'ReadCount': {0: ('reads', 'int')},
    'AddOne': {0: ('changes', 'int')},
    'ForgetWarningsOfAnother': {1: ('reads', 'string'), 2: ('writes', 'int')},
    'getResetCountFromVconf': {0: ('reads', 'int')},
}
# Records that hold ids: who uses them, and how.
RECORDS = {'HsmKeys': ('WriteHsm', 'writes', 'string'), 'JudgedRemote': ('JudgeBattery', 'changes', 'int')}
# Mentions that are no use of the setting.
NO_USE = {('src/ResetChecker/ResetChecker.cpp', 'keyId == VconfKey::DB_FACTORY_FACTORY_RESET_COUNT'),
          ('src/ResetChecker/ResetChecker.cpp', 'WordOf(keyId == VconfKey::DB_FACTORY_FACTORY_RESET_COUNT)')}

KINDS = {'int': 'int', 'bool': 'bool', 'std::string': 'string', 'str': 'string'}


class Use:
    def __init__(self):
        self.reads, self.writes, self.watches = set(), set(), set()
        self.types, self.defaults = set(), set()


def registry():
    """The key behind each id."""
    keys = re.findall(r'^    "([^"]+)",$', (SOURCE / 'utility/VconfKeyRegistry.h').read_text(encoding='utf-8'), re.M)
    ids = re.findall(r'^    ([A-Z0-9_]+) = (\d+),$', (SOURCE / 'utility/VconfKeyId.h').read_text(encoding='utf-8'), re.M)
    return {name: keys[int(number)] for name, number in ids}, keys


IDS, KEYS = registry()
CONSTANTS = dict(re.findall(r'constexpr const char\* (k\w+) = "([^"]+)";',
                            (SOURCE / 'utility/VconfKeyId.h').read_text(encoding='utf-8')))


def key_of(source, expression):
    """The key that an expression names, or None for none."""
    expression = expression.removeprefix('VconfKey::')
    return IDS.get(expression) or CONSTANTS.get(expression) or source.constant(expression) or read_sources.literal(expression)


def variable(source, call, name):
    """The type and the first value of a local variable."""
    before = source.code[:call.begin]
    found = re.findall(rf'\b(int|bool|std::string) {name}(?: = (\w+))?;', before)
    if found:
        kind, value = found[-1]
        return KINDS[kind], {'': '""', 'kNoCount': '-1'}.get(value, value)
    found = re.findall(rf'\bstd::string& {name}\b', before)
    if found:
        return 'string', None  # what the caller has put there
    raise read_sources.CannotTell(f'{call.file}:{call.line}: what is {name}?')


def value_type(source, call, expression):
    if expression in ('true', 'false'):
        return 'bool'
    if re.fullmatch(r'-?\d+', expression) or re.search(r'ambient_mode$|^count\b|\bBits$|^level$|^rssi$', expression):
        return 'int'
    if re.search(r'^std::string\(|^empty$|[aA]ddress$|^reason$', expression):
        return 'string'
    raise read_sources.CannotTell(f'{call.file}:{call.line}: what type is {expression}?')


@functools.cache
def uses():
    """Map each key to its use by the service."""
    found = collections.defaultdict(Use)
    seen = collections.Counter()

    def note(source, expression, how, function, kind, default=None):
        key = key_of(source, expression)
        if key is None:
            return
        seen[source.name, expression] += 1
        use = found[key]
        if how in ('reads', 'changes'):
            use.reads.add(function)
        if how in ('writes', 'changes'):
            use.writes.add(function)
        if how == 'watches':
            use.watches.add(function)
        if kind:
            use.types.add(kind)
        if default is not None:
            use.defaults.add(default)

    for source in FILES:
        for call in source.calls('GetVconf'):
            if call.arguments and key_of(source, call.arguments[0]):
                note(source, call.arguments[0], 'reads', call.named, *variable(source, call, call.arguments[1]))
        for call in source.calls('SetVconf(?:Async)?'):
            if call.arguments and key_of(source, call.arguments[0]):
                note(source, call.arguments[0], 'writes', call.named, value_type(source, call, call.arguments[1]))
        for call in source.calls('vconf_[gs]et_(?:int|bool|str)(?:_async)?'):
            how, kind = re.match(r'vconf_([gs])et_(int|bool|str)', call.name).groups()
            note(source, call.arguments[0], 'reads' if how == 'g' else 'writes', call.named, KINDS[kind])
        for call in source.calls('vconf_notify_key_changed'):
            note(source, call.arguments[0], 'watches', call.arguments[1], node_type(call.arguments[1]))
        for call in source.calls('vconf_ignore_key_changed'):
            seen[source.name, call.arguments[0]] += 1
        for key, forwarder in re.findall(r'\{("(?:db|memory)/[^"]+"),\s*(\w+(?:<[^{}]*>)?)\}', source.code):
            handler = re.search(r'&\w+::(\w+)', forwarder)
            kind = node_type(handler[1] if handler else forwarder)
            note(source, key, 'watches', handler[1] if handler else forwarder, 'int' if 'ForwardValue' in forwarder else kind)
        for name, arguments in HELPERS.items():
            for call in source.calls(name):
                for place, (how, kind) in arguments.items():
                    note(source, call.arguments[place], how, call.named, kind)
        for record, inside in re.findall(r'constexpr (\w+) \w+ = \{([^}]*)\};', source.code):
            if record in RECORDS:
                function, how, kind = RECORDS[record]
                for expression in re.findall(r'VconfKey::\w+', inside):
                    note(source, expression, how, function, kind)
        for file, expression in NO_USE:
            if file == source.name and expression.startswith('keyId') and expression in source.code:
                seen[file, expression.removeprefix('keyId == ')] += 1
        check_that_all_are_understood(source, seen)
    return found


def check_that_all_are_understood(source, seen):
    if source.name.startswith('utility/VconfKey'):
        return
    mentioned = collections.Counter(re.findall(r'VconfKey::(?!Id\b|kCount\b)\w+', source.code))
    code = re.sub(r'constexpr const char\* \w+ = "[^"]+";', '', source.code)
    mentioned += collections.Counter(re.findall(r'"(?:db|memory)/[\w./-]+"', code))
    for expression, count in mentioned.items():
        if seen[source.name, expression] < count:
            raise read_sources.CannotTell(f'{source.name}: {expression} is used in a way that is not known here')


def node_type(handler):
    """As what a watcher, or what it hands the notice to, reads the value; None when it does not look."""
    for source in FILES:
        found = re.search(rf'\b{handler}\(keynode_t\*[^)]*\)[^;{{]*\{{(?:\}}|(.*?)^\}})', source.code, re.M | re.S)
        if found and found[1]:
            kind = re.search(r'vconf_keynode_get_(int|str)', found[1])
            further = re.search(r'(\w+)\(keyNode\)', found[1])
            return KINDS[kind[1]] if kind else node_type(further[1]) if further else None
    return None


TOLD = {tables.quoted(row['key'])[0]: row for row in
        tables.rows(TEXT, 'key', 'type', 'read in', 'written in', 'watched by', 'others', 'without a value', 'meaning')}


class SettingsKeys(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def testEachKeyThatTheServiceUsesHasARow(self):
        self.assertEqual([key for key in sorted(uses()) if key not in TOLD], [])
        self.assertGreater(len(uses()), 50)

    def testEachRowIsOfAKeyThatIsUsed(self):
        self.assertEqual([key for key in TOLD if key not in uses() and key not in dict(elsewhere())], [])

    def testReadersWritersAndWatchersAreThoseOfTheCode(self):
        for key, row in TOLD.items():
            use = uses()[key]
            self.assertEqual([set(tables.quoted(row[column])) for column in ('read in', 'written in', 'watched by')],
                             [use.reads, use.writes, use.watches], key)

    def testTypesAreThoseOfTheCode(self):
        known = 0
        for key, row in TOLD.items():
            if uses()[key].types:
                self.assertEqual({row['type']}, uses()[key].types, key)
                known += 1
        self.assertGreater(known, 45)

    def testDefaultsAreThoseOfTheCode(self):
        known = 0
        for key, row in TOLD.items():
            for default in uses()[key].defaults:
                self.assertTrue(row['without a value'].startswith(default), f'{key}: {default}')
                known += 1
        self.assertGreater(known, 14)

    def testWhatTheBoxAndTheCompanionUseIsSaid(self):
        for key, word in elsewhere():
            self.assertIn(key, TOLD)
            self.assertIn(word, TOLD[key]['others'], key)

    def testEachRowHasAMeaning(self):
        self.assertEqual([key for key, row in TOLD.items() if not row['meaning']], [])

    def testThePageOfTheManualHasTheSameKeysAndTypes(self):
        page = (SOURCE / 'docs/man/vyrel-settings-keys.7').read_text(encoding='utf-8')
        self.assertEqual(dict(re.findall(r'^\.It Pa (\S+) Pq (bool|int|string)$', page, re.M)),
                         {key: row['type'] for key, row in TOLD.items()})

    def testEachIdOfTheRegistryIsThere(self):
        told = {int(row['id']): tables.quoted(row['key'])[0] for row in tables.rows(TEXT, 'id', 'key')}
        self.assertEqual(told, dict(enumerate(KEYS)))


def elsewhere():
    """Yield (key, whose word the row has to have) of what is not the service's own code."""
    for folder, word in (('platform/linux', 'the box'), ('tools/vyrel-companion', 'vyrel-companion')):
        for source in read_sources.sources(SOURCE, [folder]):
            for key in re.findall(r'"((?:db|memory)/[\w./-]+)"', source.code):
                yield key, word


if __name__ == '__main__':
    unittest.main()
