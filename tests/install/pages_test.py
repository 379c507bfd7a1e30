"""The pages of the manual, held against the programs and the code."""

import os
import pathlib
import re
import subprocess
import unittest

BUILD = pathlib.Path(os.environ['BUILD'])
SOURCE = pathlib.Path(os.environ['SOURCE'])
PAGES = SOURCE / 'docs' / 'man'
PROGRAMS = {'vyrel-ctl': 'vyrel-ctl.1', 'vyrel-settings': 'vyrel-settings.1', 'vyrel-companion': 'vyrel-companion.8'}


def built(program):
    return BUILD / 'tools' / program / program


def help_of(program):
    return subprocess.run([built(program), '--help'], capture_output=True, text=True, check=True).stdout


def page(name):
    return (PAGES / name).read_text(encoding='utf-8')


def sources(*folders):
    for folder in folders:
        for file in sorted((SOURCE / folder).rglob('*')):
            if file.suffix in ('.cpp', '.h'):
                yield file.read_text(encoding='utf-8')


def registered():
    """The key behind each id of the code."""
    keys = re.findall(r'^    "([^"]+)",$', (SOURCE / 'utility/VconfKeyRegistry.h').read_text(encoding='utf-8'), re.M)
    ids = re.findall(r'^    ([A-Z0-9_]+) = (\d+),$', (SOURCE / 'utility/VconfKeyId.h').read_text(encoding='utf-8'), re.M)
    return {name: keys[int(number)] for name, number in ids}


class Pages(unittest.TestCase):
    def testEveryOptionOfAProgramIsInItsPageAndNoOther(self):
        for program, name in PROGRAMS.items():
            told = set(re.findall(r'(?<![\w-])--([a-z]+)', help_of(program)))
            self.assertEqual({option for option in re.findall(r'\bFl -([a-z]+)', page(name))}, told, name)

    def testEveryCommandOfAProgramIsInItsPage(self):
        for program, name in PROGRAMS.items():
            commands = set(re.findall(rf'(?:usage:|^ ) +{program}(?: \[[^]]*\])* ([a-z]+)', help_of(program), re.M))
            self.assertLessEqual({command for command in commands}, set(re.findall(r'\bCm ([a-z-]+)', page(name))), name)
            self.assertGreater(len(commands), 2)

    def testEveryExitStatusOfAProgramIsInItsPageAndNoOther(self):
        for program, name in PROGRAMS.items():
            told = re.findall(r'^  (\d)  ', help_of(program), re.M)
            self.assertEqual(re.findall(r'^\.It (\d)$', page(name), re.M), told, name)
            self.assertGreater(len(told), 3)

    def testEveryPageNamesItself(self):
        for file in PAGES.iterdir():
            name, section = file.name.rsplit('.', 1)
            text = page(file.name)
            self.assertRegex(text, rf'(?m)^\.Dt {name.upper()} {section}$')
            self.assertRegex(text, rf'(?m)^\.Nm {name}$')

    def testEveryPageThatIsReferredToIsThere(self):
        there = {tuple(file.name.rsplit('.', 1)) for file in PAGES.iterdir()} | {('bluetoothd', '8')}
        for file in PAGES.iterdir():
            self.assertLessEqual(set(re.findall(r'^\.Xr (\S+) (\d)', page(file.name), re.M)), there, file.name)

    def testTheKeysOfThePageAreThoseOfTheCode(self):
        registry = registered()
        used = set()
        for text in sources('src', 'kpi', 'utility'):
            for name in re.findall(r'VconfKey::([A-Z0-9_]+)\b', text):
                used.add(registry[name])
        for folder in ('src', 'kpi', 'platform/linux', 'tools/vyrel-companion'):
            for text in sources(folder):
                used |= set(re.findall(r'"((?:db|memory)/[\w./-]+)"', text))
        used |= set(re.findall(r'= "((?:db|memory)/[\w./-]+)"', (SOURCE / 'utility/VconfKeyId.h').read_text(encoding='utf-8')))
        told = re.findall(r'^\.It Pa (\S+) Pq (bool|int|string)$', page('vyrel-settings-keys.7'), re.M)
        self.assertEqual(sorted(key for key, _ in told), sorted(used))

    def testTheTypesOfThePageAreThoseOfTheCode(self):
        registry = registered()
        told = dict(re.findall(r'^\.It Pa (\S+) Pq (bool|int|string)$', page('vyrel-settings-keys.7'), re.M))
        kinds = {'true': 'bool', 'false': 'bool', 'empty': 'string', '0': 'int', '1': 'int'}
        seen = 0
        for text in sources('src', 'kpi'):
            for name, value in re.findall(r'SetVconf(?:Async)?\(VconfKey::([A-Z0-9_]+), (\w+)\)', text):
                if value in kinds:
                    self.assertEqual(told[registry[name]], kinds[value], name)
                    seen += 1
        self.assertGreater(seen, 20)


if __name__ == '__main__':
    unittest.main()
