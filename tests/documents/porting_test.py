"""docs/porting.md is done as it stands there: its files are written, its commands are typed, and what it builds is run.

In the place of its two calls of CMake, which would build the service anew, the compiler is called, and the libraries of
this build are linked.
"""

import os
import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ['SOURCE'])
BUILD = pathlib.Path(os.environ['BUILD'])
TEXT = (SOURCE / 'docs' / 'porting.md').read_text(encoding='utf-8')
LIBRARIES = ('src/libvyrel_service.a', 'kpi/libvyrel_kpi.a', 'utility/libvyrel_utility.a')
STORE = 'platform/settings/libplatform_settings.a'
INCLUDES = ('src', 'utility', 'kpi', 'platform/include', 'platform')

STEP = re.compile(r'^[^\n`]*`(?P<file>build/port/[\w./-]+)`\n\n```\w*\n(?P<contents>.*?)^```$|'
                  r'^```\w*\n(?P<block>.*?)^```$|^    (?P<command>\S[^\n]*)$', re.M | re.S)


def steps():
    """Yield (kind, match) of what a reader does, in order: "file", "command", or "block" for what is shown."""
    for found in STEP.finditer(TEXT):
        yield found.lastgroup if found.lastgroup != 'contents' else 'file', found


class Porting(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        for name in ('platform', 'tools'):
            (self.top / name).symlink_to(SOURCE / name)
        (self.top / 'cc').mkdir()
        self.environment = {**os.environ, 'TMPDIR': str(self.top / 'cc'), 'LC_ALL': 'C'}

    def typed(self, command):
        """What a command writes; it ends with all that it has started."""
        process = subprocess.Popen(command, shell=isinstance(command, str), cwd=self.top, env=self.environment, text=True,
                                   start_new_session=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            out, err = process.communicate(timeout=50)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            out, err = process.communicate()
            self.fail(f'{command} does not end: {out}{err}')
        self.assertEqual(process.returncode, 0, f'{command}: {out}{err}')
        return out

    def build(self):
        mine = self.top / 'build/port/mine'
        script = (mine / 'CMakeLists.txt').read_text(encoding='utf-8')
        names = re.search(r'add_library\(platform_mine STATIC([^)]*)\)', script)[1].split()
        libraries = re.search(r'target_link_libraries\(platform_mine PUBLIC ([^)]*)\)', script)[1].split()
        flags = shlex.split(os.environ['FLAGS'])
        glib = self.typed(['pkg-config', '--cflags', 'gio-unix-2.0']).split()
        includes = [f'-I{SOURCE / folder}' for folder in INCLUDES]
        out = self.top / 'build/port/out/mine'
        out.mkdir(parents=True, exist_ok=True)
        for suffix, compiler, standard in (('.c', 'CC', '-std=c11'), ('.cpp', 'CXX', '-std=c++20')):
            self.typed([os.environ[compiler], standard, '-Wall', '-Wextra', '-Wno-unused-parameter', '-Werror', *flags, *includes,
                        *glib, '-c', *(str(mine / name) for name in names if name.endswith(suffix))])
        objects = [str(self.top / name.rsplit('.', 1)[0]) + '.o' for name in names]
        archive = out / 'libplatform_mine.a'
        archive.unlink(missing_ok=True)
        self.typed([os.environ['AR'], 'qc', str(archive), *objects])
        store = [str(BUILD / STORE)] if 'platform_settings' in libraries else []
        self.typed([os.environ['CXX'], '-std=c++20', *flags, *includes, *glib, str(SOURCE / 'src/main.cpp'),
                    *(str(BUILD / library) for library in LIBRARIES), str(archive), *store,
                    *self.typed(['pkg-config', '--libs', 'gio-unix-2.0', 'sqlite3']).split(),
                    '-o', str(out.parent / 'vyrel-lite-mine')])

    def testWhatThePageTellsIsDoneAndShowsWhatItShows(self):
        shown, builds = '', 0
        for kind, step in steps():
            if kind == 'file':
                (self.top / step['file']).write_text(step['contents'], encoding='utf-8')
            elif kind == 'block':
                self.assertEqual(shown, step['block'])
                shown = None
            elif step['command'].startswith('cmake --build'):
                self.build()
                builds += 1
            elif not step['command'].startswith('cmake '):
                shown = self.typed(step['command'])
        self.assertIsNone(shown)
        self.assertEqual(builds, 2)
        self.assertTrue((self.top / 'build/port/root/var/lib/vyrel-lite/settings.db').exists())

    def testEachHeaderOfThePlatformHasAPlace(self):
        table = TEXT.split('## Which family next')[1]
        for header in (SOURCE / 'platform/include').glob('*.h'):
            if header.stem != 'bt_error':
                self.assertRegex(table, rf'`{header.stem}`', header.name)


if __name__ == '__main__':
    unittest.main()
