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
        for name in ('check-includes', 'check-includes.imp'):
            shutil.copy(TOOLS / name, self.top / 'tools')
        self.write('src/Parts.h', PARTS)

    def write(self, name, text):
        (self.top / name).parent.mkdir(exist_ok=True)
        (self.top / name).write_text(text, encoding='utf-8')

    def check(self, **sources):
        """Keywords are the stems of the sources."""
        for stem, text in sources.items():
            self.write(f'src/{stem}.cpp', text)
        commands = [{'directory': str(self.build), 'file': str(self.top / 'src' / f'{stem}.cpp'),
                     'command': f'clang++-14 -std=c++20 -c {self.top}/src/{stem}.cpp'} for stem in sources]
        (self.build / 'compile_commands.json').write_text(json.dumps(commands), encoding='utf-8')
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
