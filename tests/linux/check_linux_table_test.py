"""The checker of the platform's tables, driven from its command line on a small platform."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.environ['CHECKER']

HEADER = '''
#pragma once
#ifdef __cplusplus
extern "C" {
#endif
int bt_one(void);
int bt_two(const char* address, int (*callback)(int));
int vconf_three(void);
#ifdef __cplusplus
}
#endif
'''

CODE = '''
#include "made_up.h"

static int NotSupported(const char* function)
{
    return function[0] - 95;
}

int bt_one(void)
{
    return 0;
}

int bt_two(const char* address, int (*callback)(int))
{
    if (address == 0) {
        return callback(0);
    }
    return NotSupported(__func__);
}

int vconf_three(void)
{
    return 0;
}
'''

ROWS = ('| `bt_one` | a daemon | exact | |',
        '| `bt_two` | another daemon | approximate | without it not supported |',
        '| `vconf_three` | a file | exact | |')


class CheckLinuxTable(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.include = self.folder / 'include'
        self.sources = self.folder / 'sources'
        self.include.mkdir()
        self.sources.mkdir()
        (self.include / 'made_up.h').write_text(HEADER, encoding='utf-8')
        self.archive = self.folder / 'libmade_up.a'
        self.compile(CODE)

    def compile(self, code):
        source = self.sources / 'made_up.c'
        source.write_text(code, encoding='utf-8')
        subprocess.run([os.environ['CC'], '-c', f'-I{self.include}', source, '-o', f'{source}.o'], check=True)
        self.archive.unlink(missing_ok=True)
        subprocess.run([os.environ['AR'], 'qc', self.archive, f'{source}.o'], check=True)

    def check(self, *rows):
        document = self.folder / 'document.md'
        document.write_text('\n'.join(['# On a box', '', '| function | stands on | how true | remarks |',
                                       '| --- | --- | --- | --- |', *rows, '']), encoding='utf-8')
        return subprocess.run([sys.executable, CHECKER, document, self.include, self.sources, self.archive],
                              capture_output=True, text=True, check=False)

    def assertHolds(self, *rows):
        result = self.check(*rows)
        self.assertEqual((result.stdout, result.stderr, result.returncode), (f'{len(rows)} rows\n', '', 0))

    def assertFault(self, fault, *rows):
        result = self.check(*rows)
        self.assertEqual((result.stdout.splitlines()[1:], result.stderr, result.returncode), ([fault], '', 1))

    def testTablesThatHoldHold(self):
        self.assertHolds(*ROWS)

    def testAFunctionWithoutARowIsNamed(self):
        self.assertFault('bt_one has no row', *ROWS[1:])

    def testASecondRowIsNamedWithTheFirst(self):
        self.assertFault('line 8: bt_one has a row already, in line 5', *ROWS, ROWS[0])

    def testARowForNoFunctionIsNamed(self):
        self.assertFault("line 8: bt_four is none of the platform's functions", *ROWS,
                         '| `bt_four` | a daemon | exact | |')

    def testARowForAFunctionThatTheCodeLacksIsNamed(self):
        self.compile(CODE.replace('int bt_one(void)\n{', 'static int one(void)\n{') + 'int use(void) { return one(); }')
        self.assertFault('line 5: bt_one is not in the code', *ROWS)

    def testAnUnknownWordIsNamed(self):
        self.assertFault('line 5: bt_one: "mostly" is none of exact, approximate, not supported',
                         '| `bt_one` | a daemon | mostly | nearly |', *ROWS[1:])

    def testAFunctionThatStandsOnNothingIsNamed(self):
        self.assertFault('line 5: bt_one stands on nothing', '| `bt_one` | | exact | |', *ROWS[1:])

    def testAnApproximationHasToSayWhy(self):
        self.assertFault('line 5: bt_one is approximate, but the row does not say why',
                         '| `bt_one` | a daemon | approximate | |', *ROWS[1:])

    def testAnAnswerOfTheCodeHasToBeInTheRow(self):
        self.assertFault('line 6: bt_two can answer "not supported", but the row does not say when', ROWS[0],
                         '| `bt_two` | another daemon | exact | |', ROWS[2])

    def testAnAnswerOfTheRowHasToBeInTheCode(self):
        self.assertFault('line 5: bt_one is said to be not supported, but its code has no such answer',
                         '| `bt_one` | nobody | not supported | no daemon knows |', *ROWS[1:])

    def testWhatIsNotSupportedMaySayOnlyThat(self):
        self.assertHolds(ROWS[0], '| `bt_two` | nobody | not supported | no daemon knows |', ROWS[2])

    def testTablesOfOtherThingsAreNoMatter(self):
        self.assertHolds(*ROWS[:2], '| `vconf_three` | a file | exact | |')
        result = self.check(*ROWS, '', '| line | what to do |', '| --- | --- |', '| `bt_nine` | mend it |')
        self.assertEqual(result.returncode, 0)

    def testADocumentWithoutRowsIsRefused(self):
        result = self.check()
        self.assertEqual((result.stdout, result.returncode), ('', 2))
        self.assertIn('no row names a function', result.stderr)
        self.assertNotIn('Traceback', result.stderr)

    def testAnArchiveThatIsNotThereIsRefused(self):
        self.archive.unlink()
        result = self.check(*ROWS)
        self.assertEqual((result.stdout, result.returncode), ('', 2))
        self.assertIn('no such archive', result.stderr)


if __name__ == '__main__':
    unittest.main()
