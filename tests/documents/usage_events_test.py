"""docs/usage-events.md against the code: each event, its category, name, code and payload, and its items in order."""

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

TEXT = (SOURCE / 'docs' / 'usage-events.md').read_text(encoding='utf-8')
FILES = {source.name: source for source in read_sources.sources(SOURCE, ['kpi'])}


def body(source, function):
    found = re.search(rf'^void \w+::{function}\(.*?^\}}', source.code, re.M | re.S)
    return found[0] if found else ''


def forms():
    """Map each code to (category, payload, items) of the class that makes its text."""
    found = {}
    for source in FILES.values():
        category = source.constant('kRemoconCategory') or source.constant('kWirelessCategory')
        for code, builder in re.findall(r'\{"(EV\d+)", &\w+::(\w+)\}', source.code):
            text = body(source, builder)
            payload = re.search(r'IsPayload\(payload, "([^"]+)"\)', text)
            found[code] = (category, payload[1], re.findall(r'\.Add\("(\w+)"', text))
    return found


def sent():
    """Map each code to (name, payload, function) as it is sent."""
    source = FILES['kpi/UsageEvents.cpp']
    found = {}
    for function, name, code, payload, integers in re.findall(
            r'^void Kpi::(\w+)\([^{]*\{\s*Send<\w+>\("(\w+)", "(EV\d+)",'
            r'\s*(?:g_variant_new\("([^"]+)"|PayloadOf\(([^()]+)\)\))', source.code, re.M):
        payload = payload or f'({"i" * len(integers.split(","))})'
        if code in found:
            raise read_sources.CannotTell(f'{code} is sent by two functions')
        found[code] = name, payload, function
    if len(found) != len(re.findall(r'\bSend<Kpi', source.code)):
        raise read_sources.CannotTell('an event is sent in a way that is not known here')
    return found


EVENTS = {tables.quoted(row['code'])[0]: row
          for row in tables.rows(TEXT, 'category', 'name', 'code', 'payload', 'items', 'sent by', 'when')}


class UsageEvents(unittest.TestCase):
    def testEachEventOfTheCodeHasARowAndNoOther(self):
        self.assertEqual(sorted(EVENTS), sorted(forms()))
        self.assertLessEqual(set(sent()), set(EVENTS))
        self.assertGreater(len(sent()), 4)

    def testCategoryPayloadAndItemsAreThoseOfTheCode(self):
        for code, (category, payload, items) in forms().items():
            row = EVENTS[code]
            self.assertEqual((tables.quoted(row['category']), tables.quoted(row['payload']), tables.quoted(row['items'])),
                             ([category], [payload], items), code)

    def testNameAndSenderAreThoseOfTheCode(self):
        for code, row in EVENTS.items():
            name, payload, function = sent().get(code, (None, None, None))
            self.assertEqual((tables.quoted(row['name']), tables.quoted(row['sent by'])),
                             ([name], [function]) if name else ([], []), code)
            if payload:
                self.assertEqual(payload, forms()[code][1], code)

    def testNothingIsHandedToTheCollectorElsewhere(self):
        places = [source.name for source in read_sources.sources(SOURCE) for _ in source.calls('AddEventLogAsync')]
        self.assertEqual(places, ['kpi/CKpiBase.cpp'])
        makers = {source.name for source in read_sources.sources(SOURCE)
                  if re.search(r'\bKpi(Remocon|Wireless)\s*[({]|<Kpi(Remocon|Wireless)>', source.code)}
        self.assertEqual(makers, {'kpi/KpiRemocon.cpp', 'kpi/KpiRemocon.h', 'kpi/KpiWireless.cpp', 'kpi/KpiWireless.h',
                                  'kpi/UsageEvents.cpp'})

    def testEachItemHasAMeaningInItsOrder(self):
        told = {}
        for row in tables.rows(TEXT, 'code', 'item', 'meaning'):
            self.assertNotEqual(row['meaning'], '')
            told.setdefault(tables.quoted(row['code'])[0], []).append(tables.quoted(row['item'])[0])
        self.assertEqual(told, {code: items for code, (_, _, items) in forms().items()})


if __name__ == '__main__':
    unittest.main()
