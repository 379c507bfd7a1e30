"""The pages of docs/behaviour against the code: their tables of conditions, messages, settings, log texts and commands."""

import fnmatch
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
from log_lines import tool  # noqa: E402: its folder is on the path only now

FOLDER = SOURCE / 'docs' / 'behaviour'
PAGES = {file.stem: file.read_text(encoding='utf-8') for file in sorted(FOLDER.glob('*.md'))}
FIRST = PAGES.pop('README')
COLUMNS = ('way', 'condition', 'function', 'decided by', 'must be', 'log when not', 'seen in')
SECTIONS = ['What is seen', 'What the service does', 'In the log', 'What to try', 'Messages, settings, timers']
OUTCOMES = ['speaker-reconnected', 'visible', 'low-battery-notice', 'pairing-forwarded', 'shop-mode-sent', 'ir-key-code-sent',
            'usage-event', 'firmware-update', 'reset-detected', 'adapter-on', 'earphone-launched', 'grip-popup']


@functools.cache
def document(name):
    return (SOURCE / 'docs' / name).read_text(encoding='utf-8')


@functools.cache
def lines():
    return tool.all_lines(SOURCE)


@functools.cache
def files():
    return list(read_sources.sources(SOURCE))


@functools.cache
def functions():
    return set().union({line.function for line in lines()}, *(source.function_names() for source in files()))


@functools.cache
def code():
    return '\n'.join(source.code for source in files())


@functools.cache
def calls():
    """Map each function to those that it names, and to those that name it."""
    named = {}
    for source in files():
        for name, text in source.bodies():
            named.setdefault(name, set()).update(set(re.findall(r'\w+', text)) & functions())
    return named, {name: {other for other in named if name in named[other]} for name in functions()}


def around(function):
    """A function with those that it calls, directly or through another, those that lead to it, and what its callers call."""
    down, up = calls()

    def further(found, way):
        return set().union(*(way.get(name, set()) for name in found))

    callers = further({function}, up)
    above = callers | further(callers, up) | further(further(callers, up), up)
    below = further({function}, down)
    return {function} | above | below | further(below, down) | further(callers, down)


@functools.cache
def headers():
    return '\n'.join(file.read_text(encoding='utf-8') for file in sorted((SOURCE / 'platform/include').glob('*.h')))


def setting_rows():
    return tables.rows(document('settings-keys.md'), 'key', 'type', 'read in', 'written in', 'watched by', 'others',
                       'without a value', 'meaning')


@functools.cache
def setting_keys():
    return [tables.quoted(row['key'])[0] for row in setting_rows()]


@functools.cache
def messages():
    return [tables.quoted(row['member'])[0] for row in tables.rows(
        document('dbus.md'), 'service', 'member', 'kind', 'signature', 'reply', 'sent by', 'waits', 'when')]


def outcome_tables():
    """Yield (page, outcome, rows) of each table of conditions."""
    for page, text in PAGES.items():
        found = {}
        for row in tables.rows(text, *COLUMNS):
            found.setdefault(row['under'], []).append(row)
        for heading, rows in found.items():
            yield page, re.fullmatch(r'Why not `([\w-]+)`', heading)[1], rows


def conditions():
    for page, outcome, rows in outcome_tables():
        for row in rows:
            yield f'{page}: {outcome}: {row["condition"]}', row


def pattern_of(text):
    """What a text looks like when it has been formatted."""
    pieces = re.split(r'%(?:%|0?\d*[dxsu])', text)
    return '.*'.join(re.escape(piece) for piece in pieces)


# Texts of a function that reaches the one of the row through a callback, or through a table of handlers.
CALLED_BACK = {'enter: result[%d], address[%s], name[%s], serviceid[%d]', 'power state is changed from %d to %d'}


def decided_by_is_known(word, row):
    """Whether one item of "decided by" names something that is there."""
    kind, _, name = word.partition(' ')
    if kind == 'setting':
        return f'| `{name}` |' in document('settings-keys.md')
    if kind == 'feature':
        return f'"{name}"' in (SOURCE / 'utility/SystemConfigUtil.cpp').read_text(encoding='utf-8')
    if kind == 'platform':
        return re.search(rf'\b{name}\(', headers()) and re.search(rf'\b{name}\b', code())
    if kind == 'event':
        return re.search(rf'\b{name}\(', headers()) and re.search(rf'\b{name}\b', code()) and \
            re.search(r'_set_|_subscribe_|_initialize$', name)
    if kind == 'message':
        return f'| `{name}` |' in document('dbus.md')
    if kind == 'file':
        return f'"{name}"' in code()
    if kind == 'state':
        return re.search(rf'\b{name}\b', code())
    if kind == 'argument':
        function = tables.quoted(row['function'])[0]
        return any(name in source.parameters(function) for source in files())
    if kind == 'time':
        return re.fullmatch(r'\d+ (ms|s|h)', name)
    return word == 'bus'


@functools.cache
def callbacks():
    """Names under which the simulated set tells that it calls a callback."""
    return set(re.findall(r'"(\w+_cb)"', '\n'.join(
        file.read_text(encoding='utf-8') for file in sorted((SOURCE / 'platform/sim').glob('*.[ch]*')))))


def is_logged(pattern):
    """Whether a text of the log fits a pattern: as it may come, or as it stands in the code."""
    sample_of_it = pattern.replace('*', 'x').replace('?', '0')
    texts = [line.text for line in lines() if re.search(r'\w\w', line.text)]
    return any(re.fullmatch(pattern_of(text), sample_of_it) or fnmatch.fnmatchcase(text, re.sub(r'([\[])', '[[]', pattern))
               for text in texts)


def seen_is_known(kind, pattern):
    """Whether what a pattern names is there: of a kind of entry, and a text with "*" and "?"."""
    if kind == 'log':
        return is_logged(pattern)
    if kind == 'call':
        return re.search(rf'\b{pattern.partition("(")[0]}\(', headers()) is not None
    if kind == 'event':
        return pattern.partition('(')[0] in callbacks()
    if kind in ('bus', 'reply', 'signal'):
        member = re.search(r'(\w+)\W*$', pattern.partition(' (')[0])[1]
        return f'`{member}`' in document('dbus.md')
    if kind == 'setting':
        return pattern.removeprefix('setting ').rstrip('*') in setting_keys()
    return kind in ('timer', 'fired', 'removed', 'kpi', 'life')


class Behaviour(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def testThePagesAreThoseOfTheFirstOne(self):
        told = re.findall(r'^\| \[([\w-]+)\]\(([\w-]+)\.md\) \|', FIRST, re.M)
        self.assertEqual(sorted(PAGES), sorted(name for name, _ in told))
        self.assertEqual([name for name, link in told if name != link], [])

    def testEachPageHasItsSectionsInOrder(self):
        for page, text in PAGES.items():
            told = [heading for heading in re.findall(r'^## (.*)$', text, re.M) if not heading.startswith('Why not')]
            self.assertEqual(told, SECTIONS, page)

    def testEachOutcomeHasOneTableOnItsPage(self):
        told = {tables.quoted(row['outcome'])[0]: row['page']
                for row in tables.rows(FIRST, 'outcome', 'it has come when', 'page', 'seen in')}
        self.assertEqual(sorted(told), sorted(OUTCOMES))
        self.assertEqual({outcome: page for page, outcome, _ in outcome_tables()}, told)
        self.assertEqual(len(list(outcome_tables())), len(OUTCOMES))

    def testRowsOfAWayStandTogetherAndThoseOfEachWayLast(self):
        for page, outcome, rows in outcome_tables():
            ways = [tables.quoted(row['way'])[0] for row in rows]
            in_order = [way for place, way in enumerate(ways) if place == 0 or ways[place - 1] != way]
            self.assertEqual(len(in_order), len(set(in_order)), f'{page}: {outcome}')
            self.assertNotEqual(in_order, ['every'])
            self.assertNotIn('every', in_order[:-1], f'{page}: {outcome}')

    def testNoCellIsEmptyAndNoConditionStandsTwiceInAWay(self):
        for page, outcome, rows in outcome_tables():
            self.assertEqual([row for row in rows if not all(row.values())], [])
            keys = [tuple(row[column] for column in COLUMNS[:5]) for row in rows]
            self.assertEqual(len(keys), len(set(keys)), f'{page}: {outcome}')

    def testEachFunctionOfATableIsInTheCode(self):
        for place, row in conditions():
            names = tables.quoted(row['function'])
            self.assertEqual(len(names), 1, place)
            self.assertIn(names[0], functions(), place)

    def testWhatDecidesIsInTheCode(self):
        for place, row in conditions():
            words = tables.quoted(row['decided by'])
            self.assertEqual('; '.join(f'`{word}`' for word in words), row['decided by'], place)
            for word in words:
                self.assertTrue(decided_by_is_known(word, row), f'{place}: {word}')

    def testTheLogTextsOfATableAreThoseOfTheCode(self):
        known = {line.text for line in lines()}
        for place, row in conditions():
            texts = tables.quoted(row['log when not'])
            self.assertEqual(', '.join(f'`{text}`' for text in texts) or '—', row['log when not'], place)
            self.assertEqual([text for text in texts if text not in known], [], place)

    def testWhatIsSeenOfAConditionCanBeSeen(self):
        """The words of the column are read by the build, which refuses others; here it is what they name."""
        cells = [(place, row['seen in']) for place, row in conditions()]
        cells += [(row['outcome'], row['seen in']) for row in
                  tables.rows(FIRST, 'outcome', 'it has come when', 'page', 'seen in')]
        found = 0
        for place, cell in cells:
            for item in tables.quoted(cell):
                for part in re.split(' before | since (?!no )', re.sub('^(since no|no|never) ', '', item)):
                    kind, _, pattern = part.partition(' ')
                    self.assertTrue(seen_is_known(kind, pattern), f'{place}: {item}')
                    found += 1
        self.assertGreater(found, 250)

    def testALogTextOfARowIsOfItsFunctionOrOfOneThatKnowsIt(self):
        logged = {}
        for line in lines():
            logged.setdefault(line.text, set()).add(line.function)
        for place, row in conditions():
            if row['way'] == '`every`' or row['log when not'] == '—':
                continue
            near = around(tables.quoted(row['function'])[0])
            for text in tables.quoted(row['log when not']):
                self.assertTrue(logged[text] & near or text in CALLED_BACK, f'{place}: {text}')

    def testRowsOfOneFunctionStandInTheOrderOfTheCode(self):
        """As far as it can be read off: by where the function has the texts that it logs, and what it looks at."""
        bodies = {name: text for source in files() for name, text in source.bodies()}
        pairs = 0
        for page, outcome, rows in outcome_tables():
            for first, second in zip(rows, rows[1:]):
                if (first['way'], first['function']) != (second['way'], second['function']) or first['way'] == '`every`':
                    continue
                body = bodies.get(tables.quoted(first['function'])[0], '')
                places = [place_in(body, row) for row in (first, second)]
                if None not in places:
                    self.assertLessEqual(*places, f'{page}: {outcome}: {second["condition"]}')
                    pairs += 1
        self.assertGreater(pairs, 20)

    def testTheLinesThatAreShownAreLinesOfTheLog(self):
        patterns = [pattern_of(line.text) for line in lines() if not re.fullmatch(r'(%\w|\W)*', line.text)]
        shown = 0
        for page, text in PAGES.items():
            for block in re.findall(r'^```\n(.*?)^```$', text.split('## In the log')[1], re.M | re.S):
                for line in block.splitlines():
                    self.assertTrue(any(re.fullmatch(pattern, line) for pattern in patterns), f'{page}: {line}')
                    shown += 1
        self.assertGreater(shown, 60)

    def testWhatTheCommandsLookForIsInTheLog(self):
        found = 0
        for page, text in {**PAGES, 'logging': document('logging.md'), 'settings-keys': document('settings-keys.md')}.items():
            for command in re.findall(r'^    (journalctl .*)$', text, re.M):
                wanted = re.search(r" -g '([^']+)'", command)
                tags = re.findall(r'-t (VYREL_LITE|VYREL_UTIL)', command)
                if wanted and tags:
                    flags = re.I if wanted[1] == wanted[1].lower() else 0
                    for alternative in split_alternatives(wanted[1]):
                        texts = [sample(line.text) for line in lines() if line.tag.startswith(tuple(tags))]
                        self.assertTrue(any(re.search(alternative, text, flags) for text in texts), f'{page}: {alternative}')
                        found += 1
            for wanted in re.findall(r'^    sudo dmesg \| grep -F "([^"]+)"$', text, re.M):
                kernel = [f'[VYREL][{line.function}]{line.text}' for line in lines() if line.priority == 'kernel']
                self.assertTrue(any(wanted in line for line in kernel), f'{page}: {wanted}')
        self.assertGreater(found, 60)

    def testTheSettingsOfTheCommandsAreThere(self):
        types = {tables.quoted(row['key'])[0]: row['type'] for row in setting_rows()}
        found = 0
        for text in [*PAGES.values(), FIRST]:
            for key in re.findall(r'^    vyrel-settings (?:get|watch) (\S+)', text, re.M):
                self.assertIn(key, types)
                found += 1
            for key, kind in re.findall(r'^    vyrel-settings set (\S+) --(\w+) ', text, re.M):
                self.assertEqual(types[key], kind)
                found += 1
        self.assertGreater(found, 20)

    def testTheObjectsOfTheCommandsAreThere(self):
        bus = document('dbus.md')
        for text in PAGES.values():
            for words in re.findall(r'^    (?:sudo )?busctl (?:call|get-property) (\S+) (\S+) (\S+) (\S+)$', text, re.M):
                for word in words:
                    self.assertIn(f'`{word}`', bus)

    def testEachMessageAndEachSettingIsOnAPage(self):
        everything = '\n'.join(PAGES.values())
        self.assertEqual([member for member in sorted(messages()) if f'`{member}`' not in everything], [])
        of_no_behaviour = {'db/platform/adapter', 'db/platform/headless_devices', 'memory/platform/wake_device',
                         'memory/acm/networkspeaker_status', 'memory/wifi/frequency'}
        keys = set(setting_keys()) - of_no_behaviour
        self.assertEqual([key for key in sorted(keys) if f'`{key}`' not in everything], [])

    def testWhatTheLastSectionNamesIsThere(self):
        known = document('dbus.md') + document('settings-keys.md')
        features = (SOURCE / 'utility/SystemConfigUtil.cpp').read_text(encoding='utf-8')
        for page, text in PAGES.items():
            for word in tables.quoted(text.split('## Messages, settings, timers')[1]):
                self.assertTrue(f'`{word}`' in known or f'"{word}"' in features, f'{page}: {word}')

    def testEachLinkLeadsSomewhere(self):
        for file in [*FOLDER.glob('*.md'), *(SOURCE / 'docs').glob('*.md')]:
            for link in re.findall(r'\]\(([^)\s]+)\)', file.read_text(encoding='utf-8')):
                if '://' in link:
                    continue
                path, _, anchor = link.partition('#')
                target = (file.parent / path).resolve() if path else file
                self.assertTrue(target.exists(), f'{file.name}: {link}')
                if anchor:
                    self.assertIn(anchor, tables.anchors(target.read_text(encoding='utf-8')), f'{file.name}: {link}')


def place_in(body, row):
    """Where a function looks at what a row is about, or None when it cannot be read off."""
    if re.search(r'`(message|feature) ', row['decided by']):
        return None  # looked at in one place or behind a query, and told of in another
    words = [f'"{text}' for text in tables.quoted(row['log when not'])]
    words += [word.split(' ')[1] for word in tables.quoted(row['decided by']) if word.startswith(('platform ', 'state '))]
    found = [body.find(word) for word in words if word in body]
    return min(found) if found else None


def split_alternatives(pattern):
    """At the bars that stand in no parentheses."""
    pieces, depth = [''], 0
    for character in pattern:
        depth += {'(': 1, ')': -1}.get(character, 0)
        if character == '|' and depth == 0:
            pieces.append('')
        else:
            pieces[-1] += character
    return pieces


def sample(text):
    """A text as it may come, with a key or a name where those come."""
    words = {'method = %s': ''.join(f'method = {name} ' for name in messages()), '%s failed': 'bt_adapter_disable() failed',
             'key : %s': ' '.join(f'key : {key}' for key in setting_keys()), 'vconfkey %s': ' '.join(f'vconfkey {key}' for key in setting_keys()),
             'type = %d': 'type = 2', '%s does not exist': '/tmp/app_ready does not exist'}
    for place, filled in words.items():
        text = text.replace(place, filled)
    return text


if __name__ == '__main__':
    unittest.main()
