"""The list of what the programs are linked with."""

import os
import pathlib
import re
import subprocess
import unittest

SERVICE = pathlib.Path(os.environ['BUILD']) / 'vyrel-lite'
TOOL = pathlib.Path(os.environ['SOURCE']) / 'tools' / 'list-linked'


def listed(*words, **surroundings):
    return subprocess.run([TOOL, *words], capture_output=True, text=True, check=False,
                          env={**os.environ, **surroundings})


class Linked(unittest.TestCase):
    def testEveryLibraryHasAVersionAndALicence(self):
        result = listed(SERVICE)
        self.assertEqual((result.returncode, result.stderr), (0, ''))
        rows = dict(re.findall(r'^(\S+) +\S+ +(\S.*?)  +(?:shared|inside|opened .*)$', result.stdout, re.M))
        self.assertEqual(len(rows), len(result.stdout.splitlines()))
        self.assertEqual(rows['libglib2.0-0'], 'LGPL-2.1-or-later')
        self.assertEqual(rows['libsqlite3-0'], 'blessing')
        self.assertEqual(rows['libcli11-dev'], 'BSD-3-Clause')

    def testTheSameIsSaidForPrograms(self):
        result = listed('--format', 'spdx', SERVICE, SOURCE_DATE_EPOCH='0')
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith('SPDXVersion: SPDX-2.3\n'))
        self.assertIn('\nCreated: 1970-01-01T00:00:00Z\n', result.stdout)
        described = set(re.findall(r'^SPDXID: (SPDXRef-\S+)$', result.stdout, re.M))
        for line in re.findall(r'^Relationship: (.*)$', result.stdout, re.M):
            first, _, second = line.split(' ')
            self.assertLessEqual({first, second}, described, line)
        self.assertIn('Relationship: SPDXRef-vyrel-lite DYNAMIC_LINK SPDXRef-libglib2.0-0\n', result.stdout)

    def testAProgramThatIsNotThereIsSaid(self):
        result = listed(SERVICE.parent / 'nothing')
        self.assertEqual((result.returncode, result.stdout), (1, ''))
        self.assertIn('is not there', result.stderr)


if __name__ == '__main__':
    unittest.main()
