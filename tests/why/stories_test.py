"""Whether the stories of this folder stand on both sides of each condition of the tables of docs/behaviour."""

import os
import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(os.environ['SOURCE'])
sys.path.insert(0, str(SOURCE / 'tests/documents'))
import tables  # noqa: E402: its folder is on the path only now

COLUMNS = ('way', 'condition', 'function', 'decided by', 'must be', 'log when not', 'seen in')

# What nothing from outside brings about, by condition: the outcomes, or an outcome with one of its ways; and why.
WITHOUT_A_STORY = {
    'the service is not stopping': (
        {'low-battery-notice', 'speaker-reconnected', 'pairing-forwarded', 'grip-popup', 'usage-event', 'firmware-update'},
        'the service takes its registrations back before it gives up what they need, all in one turn of the main loop: no report '
        'comes in between. Programs of tests/ call the functions with nothing behind them'),
    'the bus takes the message': (
        {'low-battery-notice', 'speaker-reconnected', 'grip-popup'},
        'nobody waits for an answer to these; a bus that goes takes the service with it, and none of them is as long as a bus '
        'refuses'),
    'there is a bus': (
        {('firmware-update', 'remote'), ('firmware-update', 'wheel')},
        'these ways begin with a reply, which came over it'),
    'the flag file can be written: a new one, or an ordinary one with one name': (
        {'earphone-launched'},
        'nothing of what the service does or says depends on it, so a run does not show it'),
    'category, name, code and text are there': (
        {'usage-event'},
        'each of the events has all four, whatever is in a report; programs of tests/ make events without'),
    'the adapter has not come up again while the set was not on': (
        {('visible', 'adapter-up')},
        'an adapter that comes up is a new try of this way; it stops at "the set is on"'),
}


def outcomes():
    """Map each outcome to its ways, and each way to its conditions with those of every way."""
    found = {}
    for page in sorted((SOURCE / 'docs/behaviour').glob('*.md')):
        for row in tables.rows(page.read_text(encoding='utf-8'), *COLUMNS):
            name = re.fullmatch(r'Why not `([\w-]+)`', row['under'])[1]
            way = tables.quoted(row['way'])[0]
            ways = found.setdefault(name, {})
            for each in [*ways] if way == 'every' else [way]:
                ways.setdefault(each, []).append(row['condition'])
    return found


def told():
    """What the stories expect: (outcome, way, condition), without a condition where all hold."""
    expected = set()
    for story in sorted((SOURCE / 'tests/why').glob('*.tv')):
        for line in story.read_text(encoding='utf-8').splitlines():
            if match := re.fullmatch(r'expect why not (\S+) (\S+) (.+)', line):
                expected.add(match.groups())
            elif match := re.fullmatch(r'expect why (\S+) (\S+)', line):
                expected.add((match[1], match[2], None))
    return expected


def is_excused(outcome, way, condition):
    of, _ = WITHOUT_A_STORY.get(condition, (set(), ''))
    return outcome in of or (outcome, way) in of


class Stories(unittest.TestCase):
    def testEachConditionOfEachWayIsOnceTheFirstThatDoesNotHold(self):
        expected = told()
        missing = [(outcome, way, condition) for outcome, ways in outcomes().items() for way, conditions in ways.items()
                   for condition in conditions
                   if (outcome, way, condition) not in expected and not is_excused(outcome, way, condition)]
        self.assertEqual(missing, [])

    def testEachWayOnceLeadsToItsOutcome(self):
        expected = told()
        self.assertEqual([(outcome, way) for outcome, ways in outcomes().items() for way in ways
                          if (outcome, way, None) not in expected], [])

    def testTheConditionsWithoutAStoryAreThereAndHaveNone(self):
        expected, ways = told(), outcomes()
        for condition, (of, why) in WITHOUT_A_STORY.items():
            self.assertTrue(why)
            for each in of:
                outcome, only = each if isinstance(each, tuple) else (each, None)
                found = [way for way, conditions in ways[outcome].items() if condition in conditions and only in (None, way)]
                self.assertNotEqual(found, [], f'{outcome}: {condition}')
                self.assertEqual([way for way in found if (outcome, way, condition) in expected], [], condition)

    def testThereAreAsManyAsThereWere(self):
        self.assertEqual(len(outcomes()), 12)
        self.assertGreater(len(told()), 260)


if __name__ == '__main__':
    unittest.main()
