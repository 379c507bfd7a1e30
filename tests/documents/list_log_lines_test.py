"""The tool that lists the log lines, on small sources."""

import contextlib
import io
import pathlib
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from log_lines import PATH, tool  # noqa: E402: its folder is on the path only now

SERVICE = '''
#include "LiteDebug.h"

namespace {

/* LOGE("in a comment"); */
int Old(int value)
{
    LOGI("one %d", value); // LOGE("and in another")
    return value;
}

} // namespace

Thing::Thing(int value) : m_value{[] { return 1; }()}, m_other(value)
{
    RETURN_IF_NULL(value, "no {value}");
    if (value > 1) {
        call([&](int other) { LOGW("within " "a lambda | %d", other); });
    }
    __print_kernel_log("VYREL", __func__, "kernel \\"text\\"");
}

Other::Other() : m_builders{{"a", [this](int value) { Build(value); }}}
{
    LOGD("made");
}
'''


class ListLogLines(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        for name in ('src', 'kpi', 'utility'):
            (self.top / name).mkdir()
            (self.top / name / 'Empty.h').touch()
        self.document = self.top / 'logging.md'
        self.document.write_text(f'# Log\n{tool.BEGIN}\n{tool.END}\nafter\n', encoding='utf-8')
        self.write(SERVICE)

    def write(self, code):
        (self.top / 'src' / 'Thing.cpp').write_text(code, encoding='utf-8')

    def run_tool(self, *words):
        out, err = io.StringIO(), io.StringIO()
        with mock.patch.object(sys, 'argv', ['list-log-lines', *words, str(self.top)]), \
                contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            status = tool.main()
        return status, out.getvalue(), err.getvalue()

    def testItFindsFunctionPriorityAndText(self):
        self.assertEqual([tuple(line)[2:] for line in tool.all_lines(self.top)],
                         [('Old', 'info', 'one %d'), ('Thing', 'error', 'no {value}'),
                          ('operator()', 'warning', 'within a lambda | %d'), ('Other', 'debug', 'made'),
                          ('Thing', 'kernel', 'kernel "text"')])

    def testAMeaningThatPeopleWroteIsKept(self):
        self.assertEqual(self.run_tool('--update', str(self.document))[0], 1)
        text = self.document.read_text(encoding='utf-8')
        self.assertIn('| `operator()` | warning | `within a lambda \\| %d` | |', text)
        self.document.write_text(text.replace('`one %d` | |', '`one %d` | the first |'), encoding='utf-8')
        self.write(SERVICE.replace('"no {value}"', '"none"'))
        status, out, _ = self.run_tool('--update', str(self.document))
        self.assertEqual((status, len(out.splitlines())), (1, 4))
        text = self.document.read_text(encoding='utf-8')
        self.assertIn('| `Old` | info | `one %d` | the first |', text)
        self.assertNotIn('no {value}', text)
        self.assertTrue(text.startswith('# Log\n') and text.endswith('after\n'))

    def testATextThatIsNoLiteralIsRefused(self):
        self.write(SERVICE.replace('"one %d"', 'format'))
        status, out, err = self.run_tool()
        self.assertEqual((status, out), (2, ''))
        self.assertIn('src/Thing.cpp:9: LOGI of what is no literal: format', err)

    def testADocumentWithoutAPlaceForTheRowsIsLeftAlone(self):
        self.document.write_text('# Log\n', encoding='utf-8')
        status, _, err = self.run_tool('--update', str(self.document))
        self.assertEqual(status, 2)
        self.assertIn('where the rows begin', err)
        self.assertEqual(self.document.read_text(encoding='utf-8'), '# Log\n')

    def testItIsStartedFromACommandLine(self):
        result = subprocess.run([PATH, self.top / 'nothing'], capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stdout), (2, ''))
        self.assertIn('holds no sources', result.stderr)
        self.assertNotIn('Traceback', result.stderr)


if __name__ == '__main__':
    unittest.main()
