"""The page on which each reader begins: what it refers to is there, and its commands stand in what runs them."""

import os
import pathlib
import re
import unittest

SOURCE = pathlib.Path(os.environ['SOURCE'])
DOCS = SOURCE / 'docs'

# What runs a command of the page: a file, and the words in it that do.
RUN_BY = {
    'cmake --preset release': ('bench', 'cmake --preset release'),
    'cmake --build --preset release': ('bench', 'cmake --build --preset release'),
    'DESTDIR=/tmp/set cmake --install build/release': ('debian/rules', 'cmake --install'),
    'sudo apt-get install ./vyrel-lite_0.1.0_amd64.deb': ('tests/package/run.py', "'apt-get', 'install'"),
    'vyrel-ctl status': ('tests/package/run.py', "'vyrel-ctl', 'status'"),
    './run': ('tests/demo', 'vyrel-demo'),
    './test': ('.ci/run', './test'),
    'sudo vyrel-ctl watch --count 1 --timeout 1': ('tests/people/CtlTest.cpp', '"watch"'),
    'vyrel-settings list db/vyrel/': ('tests/settings/CommandTest.cpp', '"list"'),
    'systemctl status vyrel-lite': ('tests/box/walk.py', 'systemctl status vyrel-lite'),
    'journalctl -u vyrel-lite -b': ('tests/box/walk.py', 'journalctl -u vyrel-lite'),
}


def words_of(place):
    path = SOURCE / place
    files = [path] if path.is_file() else sorted(file for file in path.rglob('*') if file.is_file())
    return '\n'.join(file.read_text(encoding='utf-8', errors='replace') for file in files)


def anchors(text):
    """Of a page's headings, as they are linked to."""
    return {re.sub(r'[^\w\- ]', '', heading.lower()).replace(' ', '-') for heading in re.findall(r'^#+ (.*)$', text, re.M)}


class FirstPage(unittest.TestCase):
    def setUp(self):
        self.text = (DOCS / 'README.md').read_text(encoding='utf-8')

    def testEachReaderIsThere(self):
        self.assertEqual(re.findall(r'^## (.*)$', self.text, re.M),
                         ['You ship it on a set', 'You run it on a box', 'You work on it', 'You look for a fault'])

    def testWhatItRefersToIsThere(self):
        links = re.findall(r'\]\(([^)]+)\)', self.text)
        self.assertGreater(len(links), 15)
        for link in links:
            path, _, anchor = link.partition('#')
            self.assertTrue((DOCS / path).exists(), link)
            if anchor:
                self.assertIn(anchor, anchors((DOCS / path).read_text(encoding='utf-8')), link)

    def testEachCommandStandsInWhatRunsIt(self):
        commands = re.findall(r'^    (\S.*)$', self.text, re.M)
        self.assertEqual(sorted(set(commands)), sorted(RUN_BY))
        for command, (place, words) in RUN_BY.items():
            self.assertIn(words, words_of(place), command)


if __name__ == '__main__':
    unittest.main()
