"""clang-tidy over sources that are compiled as one, driven from its command line on a small checkout. Needs clang-tidy,
which only those have who check a change as a whole: .ci/run runs this before the checker itself."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parents[2] / 'tools'

RULES = "Checks: '-*,clang-analyzer-core.*,modernize-use-nullptr'\nWarningsAsErrors: '*'\n"
GOOD = 'int Good(int number);\n\nint Good(int number)\n{\n    return number + 1;\n}\n'
OLD = 'int* Old();\n\nint* Old()\n{\n    return 0;\n}\n'
FALLS = ('int Falls(int number);\n\nint Falls(int number)\n{\n    const int* place = nullptr;\n'
         '    return number > 3 ? *place : number;\n}\n')


class CheckTidy(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name).resolve()
        self.unity = self.top / 'build' / 'Unity' / 'unity_0_cxx.cxx'
        self.unity.parent.mkdir(parents=True)
        for name in ('check-tidy', 'compile_commands.py'):
            self.write(f'tools/{name}', (TOOLS / name).read_text(encoding='utf-8'))
        self.write('.clang-tidy', RULES)

    def write(self, name, text):
        (self.top / name).parent.mkdir(exist_ok=True)
        (self.top / name).write_text(text, encoding='utf-8')

    def check(self, compiled=None, compiler='clang++-14', **sources):
        """Keywords are the stems of the sources, of which those compiled as one are compiled."""
        for stem, text in sources.items():
            self.write(f'src/{stem}.cpp', text)
        self.unity.write_text(''.join(f'#include "{self.top}/src/{stem}.cpp"\n' for stem in compiled or sources),
                              encoding='utf-8')
        entry = {'directory': str(self.top / 'build'), 'file': str(self.unity),
                 'command': f'ccache {compiler} -std=c++20 -c {self.unity}'}
        self.write('build/compile_commands.json', json.dumps([entry]))
        for command in (['init', '--quiet'], ['add', 'src']):
            subprocess.run(['git', '-C', self.top, *command], check=True)
        return subprocess.run([sys.executable, '-B', self.top / 'tools' / 'check-tidy', self.top / 'build'],
                              capture_output=True, text=True, check=False)

    def findings(self, result):
        return [line for line in result.stdout.splitlines() if 'error:' in line]

    def testSourcesWithoutAFindingPass(self):
        result = self.check(Good=GOOD)
        self.assertEqual((result.stdout, result.stderr, result.returncode), ('1 sources looked at in 1 groups\n', '', 0))

    def testAFindingIsNamedWhereTheSourceHasIt(self):
        result = self.check(Good=GOOD, Old=OLD)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.findings(result),
                         ['src/Old.cpp:5:12: error: use nullptr [modernize-use-nullptr,-warnings-as-errors]'])

    def testTheAnalyzerLooksIntoEachSource(self):
        result = self.check(Good=GOOD, Falls=FALLS, Old=OLD)
        self.assertIn('src/Falls.cpp:6:12: error: Dereference of null pointer', '\n'.join(self.findings(result)))

    def testARoomsOwnRulesHold(self):
        self.write('src/.clang-tidy', 'Checks: -modernize-use-nullptr\nInheritParentConfig: true\n')
        self.assertEqual(self.check(Old=OLD).returncode, 0)

    def testASourceThatIsNotCompiledIsNoSuccess(self):
        result = self.check(Good=GOOD, Old=OLD, compiled=['Good'])
        self.assertEqual(result.returncode, 1)
        self.assertIn('src/Old.cpp: not compiled in', result.stdout)

    def testWhatCannotBeCompiledIsNoSuccess(self):
        result = self.check(Good='#include "Gone.h"\n')
        self.assertEqual(result.returncode, 1)
        self.assertIn("src/Good.cpp:1:10: error: 'Gone.h' file not found", result.stdout)

    def testABuildOfAnotherCompilerIsRefused(self):
        result = self.check(Good=GOOD, compiler='g++')
        self.assertEqual((result.stdout, result.returncode), ('', 1))
        self.assertIn('not configured for Clang', result.stderr)
        self.assertNotIn('Traceback', result.stderr)

    def testAFolderWithoutABuildIsRefused(self):
        subprocess.run(['git', '-C', self.top, 'init', '--quiet'], check=True)
        result = subprocess.run([sys.executable, '-B', self.top / 'tools' / 'check-tidy', self.top], capture_output=True,
                                text=True, check=False)
        self.assertEqual((result.stdout, result.returncode), ('', 1))
        self.assertIn('no build that says how it compiles', result.stderr)
        self.assertNotIn('Traceback', result.stderr)


if __name__ == '__main__':
    unittest.main()
