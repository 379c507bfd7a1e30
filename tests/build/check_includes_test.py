"""The checker of includes, driven from its command line on a small checkout. Needs the tool that it asks (iwyu), which
only those have who check a change as a whole: .ci/run runs this before the checker itself."""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parents[2] / 'tools'

PARTS = '#pragma once\n#include <string>\n'
NAMES_ALL = '#include "Parts.h"\n\n#include <string>\n\nstd::string Name();\n\nstd::string Name()\n{\n    return "set";\n}\n'
LEANS = NAMES_ALL.replace('#include <string>\n\n', '', 1)


class CheckIncludes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name).resolve()
        self.build = self.top / 'build'
        self.build.mkdir()
        (self.top / 'tools').mkdir()
        for name in ('check-includes', 'check-includes.imp', 'compile_commands.py'):
            shutil.copy(TOOLS / name, self.top / 'tools')
        self.write('src/Parts.h', PARTS)

    def write(self, name, text):
        (self.top / name).parent.mkdir(exist_ok=True)
        (self.top / name).write_text(text, encoding='utf-8')

    def check(self, **sources):
        """Keywords are the stems of the sources."""
        for stem, text in sources.items():
            self.write(f'src/{stem}.cpp', text)
        self.compiles(*(self.top / 'src' / f'{stem}.cpp' for stem in sources))
        return self.run_it()

    def check_as_one(self, **sources):
        """The same of sources that are compiled as one."""
        for stem, text in sources.items():
            self.write(f'src/{stem}.cpp', text)
        (self.build / 'Unity').mkdir()
        unity = self.build / 'Unity' / 'unity_0_cxx.cxx'
        unity.write_text(''.join(f'#include "{self.top}/src/{stem}.cpp"\n' for stem in sources), encoding='utf-8')
        self.compiles(unity)
        return self.run_it()

    def compiles(self, *files):
        commands = [{'directory': str(self.build), 'file': str(file), 'command': f'clang++-14 -std=c++20 -c {file}'}
                    for file in files]
        (self.build / 'compile_commands.json').write_text(json.dumps(commands), encoding='utf-8')

    def run_it(self):
        for words in (['init', '--quiet'], ['add', 'src']):
            subprocess.run(['git', '-C', self.top, *words], check=True)
        return subprocess.run([sys.executable, self.top / 'tools' / 'check-includes', self.build],
                              capture_output=True, text=True, check=False)

    def assertSays(self, result, status, *lines):
        self.assertEqual((result.stdout.splitlines(), result.stderr, result.returncode), (list(lines), '', status))

    def testASourceThatIncludesWhatItUsesPasses(self):
        self.assertSays(self.check(Names=NAMES_ALL), 0, '1 sources looked at, 0 includes missing')

    def testASourceThatLeansOnAnotherHeaderIsNamed(self):
        self.assertSays(self.check(Names=NAMES_ALL, Leans=LEANS), 1,
                        'src/Leans.cpp: #include <string>  // string', '2 sources looked at, 1 includes missing')

    def testTheHeaderBesideASourceIsLookedAtToo(self):
        self.write('src/Leans.h', '#pragma once\n#include "Parts.h"\nstd::string Name();\n')
        own = '#include "Leans.h"\n\nstd::string Name()\n{\n    return "set";\n}\n'
        self.assertSays(self.check(Leans=own), 1, 'src/Leans.h: #include <string>  // string',
                        '1 sources looked at, 1 includes missing')

    def testOfSourcesThatAreCompiledAsOneTheOneThatLeansIsNamed(self):
        other = LEANS.replace('Name()', 'Other()')
        self.assertSays(self.check_as_one(Names=NAMES_ALL, Leans=other), 1,
                        'src/Leans.cpp: #include <string>  // string', '2 sources looked at, 1 includes missing')

    def testWhatCannotBeCompiledAsOneIsLookedAtAlone(self):
        self.assertSays(self.check_as_one(Names=NAMES_ALL, Leans=LEANS), 1,
                        'src/Leans.cpp: #include <string>  // string', '2 sources looked at, 1 includes missing')

    def testAnIncludeThatStandsTwiceIsNamed(self):
        self.assertSays(self.check(Names='#include <string>\n' + NAMES_ALL), 1,
                        'src/Names.cpp: #include <string>  // twice', '1 sources looked at, 1 includes missing')

    def testAnIncludeTooManyIsNoMatter(self):
        self.assertSays(self.check(Names='#include <vector>\n' + NAMES_ALL), 0,
                        '1 sources looked at, 0 includes missing')

    def testASourceThatCannotBeReadIsNoSuccess(self):
        result = self.check(Names='#include "Gone.h"\n')
        self.assertEqual(result.returncode, 1)
        self.assertIn("'Gone.h' file not found", result.stdout)

    def testWhatIsNotTrackedIsNotLookedAt(self):
        self.write('.gitignore', 'src/Made.cpp\n')
        self.assertSays(self.check(Names=NAMES_ALL, Made=LEANS), 0, '1 sources looked at, 0 includes missing')


if __name__ == '__main__':
    unittest.main()
