"""Who tells a tool to keep quiet says why beside it: in the same line or in a comment right above.

Else nobody dares to take it out again, and what it hides stays hidden when the reason is long gone."""

import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
MADE = {'build', '.git', '.cache'}
THIS = pathlib.Path(__file__).resolve()

# A reason has three words; the name of a check is none.
WORDS = re.compile(r"(?:[^\W\d_]+[^\w\n]+){2,}[^\W\d_]+")
COMMENT = re.compile(r'\s*(?://+|/\*|\*(?=\s)|#(?!\s*(?:pragma|include|define|if|el|endif|undef)\b))\s?(.*)')

CODE = (r'\bcppcheck-suppress\w*', r'#\s*pragma\s+(?:GCC|clang)\s+(?:diagnostic\s+ignored|system_header)', r'\b_Pragma\(',
        r'IGNORE_DEPRECATIONS', r'\bno_sanitize\w*', r'\b__[lat]san_(?:ignore|disable)\w*', r'\b(?:GCOVR?|LCOV)_EXCL\w*',
        r'\bIWYU pragma', r'\bclang-format off', r'\bVALGRIND_[A-Z]+')
SCRIPT = (r'#\s*noqa\b(?::\s*[A-Z]\d+)?', r'#\s*type:\s*ignore', r'#\s*pylint:\s*disable\S*', r'#\s*shellcheck disable\S*',
          r'--suppress=\S+', r'\bdetect_\w+=0', r'\bsuppressions=')
BUILD = (r'(?<![\w-])-Wno-[\w-]+', r'(?<![\w-])-w(?![\w-])', r'-fno-sanitize=[\w-]+')
PAGE = (r'\beslint-disable\S*', r'\bstylelint-disable\S*')
# Files that hold nothing else: how an entry begins.
ENTRIES = {'.supp': r'\{\s*$', '.tsan': r'\w+:', '.lintian-overrides': r'[\w-]+:'}


def above(lines, number):
    """The comment that ends right above a line, or above the command or the shell's function that it is in."""
    while number and re.search(r'\\$|^\w+\(\) \{$', lines[number - 1]):
        number -= 1
    said = []
    while number and (found := COMMENT.match(lines[number - 1])):
        said.insert(0, found[1])
        number -= 1
    return ' '.join(said)


def behind(line, place):
    """What the comment of a line says behind this place, or the comment in which the place is."""
    comment = COMMENT.search(line) if COMMENT.match(line) else re.search(r'(?://|/\*|#)(.*)', line[place:])
    return line[place:] if re.search(r'//|/\*|#', line[:place]) else comment[1] if comment else ''


def without_reason(lines, patterns):
    for number, line in enumerate(lines):
        found = re.search('|'.join(patterns), line)
        if found and not WORDS.search(behind(line, found.end())) and not WORDS.search(above(lines, number)):
            yield number


def nolint_without_reason(lines):
    """Names the check, so that it hides no other one, and has the reason behind a colon or above."""
    for number, line in enumerate(lines):
        if found := re.search(r'\bNOLINT(?:NEXTLINE|BEGIN)?\b(\([\w.,\- ]+\))?(?:: (.*))?', line):
            if not found[1] or not (WORDS.search(found[2] or '') or WORDS.search(above(lines, number))):
                yield number


def checks_without_reason(lines):
    """A .clang-tidy cannot have comments among its checks: its comments begin with the names of those it leaves out."""
    for number, line in enumerate(lines):
        found = re.match(r'\s*(?:Checks:\s*)?-([a-z][\w.*-]*),?$', line)
        if found and not any(re.match(rf'# {re.escape(found[1])}: +', said) and WORDS.search(said.split(': ', 1)[1])
                             for said in lines):
            yield number


def without_reasons(path, text):
    """The numbers, from 1, of the lines of a file that silence a tool and do not say why."""
    lines = text.splitlines()
    name, suffix = path.name, path.suffix
    if suffix in ('.cpp', '.c', '.h'):
        found = [*nolint_without_reason(lines), *without_reason(lines, CODE)]
    elif name == '.clang-tidy':
        found = checks_without_reason(lines)
    elif suffix in ENTRIES:
        found = without_reason(lines, ['^' + ENTRIES[suffix]])
    elif suffix in ('.js', '.css', '.html'):
        found = without_reason(lines, PAGE)
    elif suffix in ('.cmake', '.json') or name == 'CMakeLists.txt':
        found = without_reason(lines, BUILD)
    elif suffix == '.py' or text.startswith('#!'):
        found = without_reason(lines, SCRIPT)
    else:
        found = []
    return [number + 1 for number in sorted(found)]


class Suppressions(unittest.TestCase):
    maxDiff = None

    def assertWithout(self, name, text, numbers):
        self.assertEqual(without_reasons(pathlib.Path(name), text), numbers, text)

    def testAllHaveTheirReasons(self):
        found = []
        for path in sorted(TOP.rglob('*')):
            inside = path.relative_to(TOP)
            if not inside.parts[0] in MADE and path.is_file() and path != THIS:
                try:
                    text = path.read_text(encoding='utf-8')
                except UnicodeDecodeError:
                    continue  # a picture, or bytes of a corpus
                found += [f'{inside}:{number}' for number in without_reasons(path, text)]
        self.assertEqual(found, [])

    def testInCodeTheReasonStandsBehindTheCheckOrAbove(self):
        self.assertWithout('A.cpp', 'f(); // NOLINT(bugprone-x): the kernel only reads it\n', [])
        self.assertWithout('A.cpp', '// The kernel only reads it.\n// NOLINTNEXTLINE(bugprone-x)\nf();\n', [])
        self.assertWithout('A.cpp', 'f(); // NOLINT(bugprone-x)\n', [1])
        self.assertWithout('A.cpp', 'f(); // NOLINT(bugprone-x): needed here\n', [1])
        self.assertWithout('A.cpp', '// The kernel only reads it.\n\n// NOLINTNEXTLINE(bugprone-x)\nf();\n', [3])

    def testInCodeTheCheckIsNamed(self):
        self.assertWithout('A.h', 'f(); // NOLINT: the kernel only reads it\n', [1])
        self.assertWithout('A.h', '// NOLINTBEGIN: the kernel only reads it\nf();\n// NOLINTEND\n', [1])

    def testAPragmaOrAnAttributeHasItsReason(self):
        self.assertWithout('A.c', '#pragma GCC diagnostic ignored "-Wundef"\n', [1])
        self.assertWithout('A.c', '#include <a.h>\n#pragma GCC diagnostic ignored "-Wundef"\n', [2])
        self.assertWithout('A.c', '// Its header asks for it.\n#pragma GCC diagnostic ignored "-Wundef"\n', [])
        self.assertWithout('A.c', 'int f() __attribute__((no_sanitize("thread"))); // the lock is the kernel\'s\n', [])
        self.assertWithout('A.c', 'int f() __attribute__((no_sanitize("thread")));\n', [1])

    def testInScriptsItStandsAboveTheWholeCommand(self):
        self.assertWithout('run.py', 'import main  # noqa: E402: its folder is on the path by now\n', [])
        self.assertWithout('run.py', 'import main  # noqa: E402\n', [1])
        self.assertWithout('CMakeLists.txt', '# Nobody here wrote it.\ntarget_compile_options(x PRIVATE -w)\n', [])
        self.assertWithout('CMakeLists.txt', 'target_compile_options(x PRIVATE -w)\n', [1])
        self.assertWithout('run', '#!/bin/sh\n# It cannot tell lists apart.\ncheck -a \\\n    --suppress=lists\n', [])
        self.assertWithout('run', '#!/bin/sh\n# It cannot tell lists apart.\nf() {\n    check --suppress=lists\n}\n', [])
        self.assertWithout('run', '#!/bin/sh\nexport ASAN_OPTIONS=detect_leaks=0\n', [2])
        self.assertWithout('page.js', '// eslint-disable-next-line eqeqeq\n', [1])

    def testInFilesOfSuppressionsEachEntryHasItsOwn(self):
        self.assertWithout('a.tsan', '# GLib hands it over by itself.\nrace:g_main\n\nrace:g_other\n', [4])
        self.assertWithout('a.tsan', '# GLib hands it over by itself.\nrace:g_main\nrace:g_other\n', [3])
        self.assertWithout('a.supp', '# Kept by GLib on purpose.\n{\n   one\n   Memcheck:Leak\n}\n', [])
        self.assertWithout('a.supp', '{\n   one\n   Memcheck:Leak\n}\n', [1])

    def testAChecksListNamesWhatItLeavesOut(self):
        left_out = 'Checks: >\n  misc-*,\n  -misc-no-recursion,\n'
        self.assertWithout('.clang-tidy', '# misc-no-recursion: trees are walked so\n' + left_out, [])
        self.assertWithout('.clang-tidy', '# misc-no-recursion: never\n' + left_out, [4])
        self.assertWithout('.clang-tidy', '# misc-others: trees are walked so\n' + left_out, [4])


if __name__ == '__main__':
    unittest.main()
