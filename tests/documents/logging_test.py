"""docs/logging.md against the code: each text that can be logged, its priority, and what it means."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(os.environ['SOURCE'])
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from log_lines import tool  # noqa: E402: its folder is on the path only now

DOCUMENT = SOURCE / 'docs' / 'logging.md'


CODE = {tool.key(line): line for line in tool.all_lines(SOURCE)}
TOLD = tool.meanings(DOCUMENT.read_text(encoding='utf-8'))


class Logging(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def testEachTextOfTheCodeHasARow(self):
        self.assertEqual([key for key in CODE if key not in TOLD], [])

    def testEachRowHasATextOfTheCode(self):
        self.assertEqual([key for key in TOLD if key not in CODE], [])

    def testEachRowHasAMeaning(self):
        self.assertEqual([key for key, meaning in TOLD.items() if not meaning], [])

    def testTheRowsAreAsTheToolWritesThem(self):
        text = DOCUMENT.read_text(encoding='utf-8')
        self.assertEqual(tool.updated(text, list(CODE.values())), text)

    def testEachLineOfAnEveningHasARow(self):
        """The lines of a real run name the file, function, priority and tag of a row, and have its text."""
        evening = subprocess.run([pathlib.Path(os.environ['BUILD']) / 'tools/tv/front/vyrel-tv', 'run', '--verbose',
                                  SOURCE / 'scenarios/an-evening.tv'], capture_output=True, text=True, timeout=50, check=True).stdout
        rows = {}
        for line in CODE.values():
            shape = '.*'.join(re.escape(piece) for piece in re.split(r'%(?:%|0?\d*[dxsu])', line.text))
            name = 'LiteDebug.h' if 'ApiTracker' in line.function else pathlib.PurePath(line.place).name
            for tag in line.tag.split(' or '):
                rows.setdefault((line.priority[0].upper(), tag, name, line.function), []).append(shape)
                if name == 'LiteDebug.h':
                    rows.setdefault((line.priority[0].upper(), tag, 'DlogUtil.h', line.function), []).append(shape)
        written = re.findall(r'^ +log +([DIWE]) (VYREL_\w+) ([\w.]+): ([\w~()]+)\(\d+\) > (.*)$', evening, re.M)
        for priority, tag, file, function, text in written:
            shapes = rows.get((priority, tag, file, function), [])
            self.assertTrue(any(re.fullmatch(shape, text) for shape in shapes), (priority, tag, file, function, text))
        self.assertEqual(len(written), len(re.findall(r'^ +log ', evening, re.M)))
        self.assertGreater(len(written), 300)

    def testNoLoggingCallIsOverlooked(self):
        written = 0
        for folder in ('src', 'kpi', 'utility'):
            for file in (SOURCE / folder).rglob('*.cpp'):
                text = re.sub(r'//[^\n]*|^ *#define(?:[^\n]*\\\n)*[^\n]*', '', file.read_text(encoding='utf-8'), flags=re.M)
                written += len(re.findall(r'\b(?:LOG[DIWE]|RETURN_IF_NULL|__dlog_print)\(|\b__print_kernel_log\("', text))
                written += 2 * len(re.findall(r'^\w+_FEATURE\(', text, re.M))
        read = 0
        for source in tool.read_sources.sources(SOURCE):
            if source.name.endswith('.cpp'):
                read += len(list(tool.lines_of(source)))
        self.assertEqual(read, written)
        self.assertGreater(read, 350)


if __name__ == '__main__':
    unittest.main()
