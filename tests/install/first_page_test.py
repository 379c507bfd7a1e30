"""The page on which each reader begins: what it refers to is there, and its commands are run."""

import os
import pathlib
import re
import sys
import unittest

import first_page

SOURCE = pathlib.Path(os.environ['SOURCE'])
sys.path.insert(0, str(SOURCE / 'tests' / 'documents'))
import tables  # noqa: E402: its folder is on the path only now

DOCS = SOURCE / 'docs'

# What runs the commands of each part: a file, and the words in it that do.
RUN_BY = {
    first_page.SHIP: ('tests/package/run.py', 'first_page.commands(first_page.SHIP)'),
    first_page.BOX: ('tests/package/run.py', 'first_page.commands(first_page.BOX)'),
    first_page.WORK: ('.ci/run', './test'),
    first_page.FAULT: ('tests/box/walk.py', 'first_page.commands(first_page.FAULT)'),
}


class FirstPage(unittest.TestCase):
    def setUp(self):
        self.text = (DOCS / 'README.md').read_text(encoding='utf-8')

    def testEachReaderIsThere(self):
        self.assertEqual(list(first_page.sections(self.text)), list(RUN_BY))

    def testWhatItRefersToIsThere(self):
        links = re.findall(r'\]\(([^)]+)\)', self.text)
        self.assertGreater(len(links), 15)
        for link in links:
            path, _, anchor = link.partition('#')
            self.assertTrue((DOCS / path).exists(), link)
            if anchor:
                self.assertIn(anchor, tables.anchors((DOCS / path).read_text(encoding='utf-8')), link)

    def testEachPartsCommandsAreRun(self):
        for reader, (place, words) in RUN_BY.items():
            self.assertIn(words, (SOURCE / place).read_text(encoding='utf-8'), reader)

    def testWhoWorksOnItNeedsTwoCommands(self):
        self.assertEqual(first_page.commands(first_page.WORK), ['./run', './test'])

    def testCommandsAreTakenAsTheyStand(self):
        text = 'before\n\n    not this\n\n## A reader\n\nWords.\n\n    one --two  three\n    four\n\n## Another\n\n    five\n'
        self.assertEqual(first_page.commands('A reader', text), ['one --two  three', 'four'])


if __name__ == '__main__':
    unittest.main()
