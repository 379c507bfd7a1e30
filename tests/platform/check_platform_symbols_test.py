"""The checker of platform implementations, driven from its command line on copies of the skeleton's library."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.environ['CHECKER']
INCLUDE_FOLDER = os.environ['INCLUDE_FOLDER']
SKELETON = os.environ['SKELETON']


class CheckPlatformSymbols(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.archive = self.folder / 'libcopy.a'
        shutil.copy(SKELETON, self.archive)

    def ar(self, *arguments):
        subprocess.run([os.environ['AR'], *map(str, arguments)], check=True, cwd=self.folder, stderr=subprocess.DEVNULL)

    def add(self, file_name, code):
        """Compile code and put it into the copy of the library."""
        source = self.folder / file_name
        source.write_text(code, encoding='utf-8')
        compiler = os.environ['CXX' if source.suffix == '.cpp' else 'CC']
        subprocess.run([compiler, '-c', source, '-o', f'{source}.o'], check=True)
        self.ar('q', self.archive, f'{source}.o')

    def members(self):
        return subprocess.run([os.environ['AR'], 't', self.archive], check=True, capture_output=True,
                              text=True).stdout.split()

    def header(self, code):
        """An include folder with one header."""
        include = self.folder / 'include'
        include.mkdir()
        (include / 'bt_made_up.h').write_text(code, encoding='utf-8')
        return include

    def check(self, *archives, include=INCLUDE_FOLDER):
        return subprocess.run([sys.executable, CHECKER, str(include), 'copy', *map(str, archives or [self.archive])],
                              capture_output=True, text=True, check=False)

    def assertReport(self, result, status, *lines):
        self.assertEqual((result.stdout.splitlines(), result.stderr, result.returncode), (list(lines), '', status))

    def assertCannotCompare(self, result, text):
        self.assertEqual((result.stdout, result.returncode), ('', 2))
        self.assertIn(text, result.stderr)
        self.assertNotIn('Traceback', result.stderr)

    def testAnUnchangedCopyIsComplete(self):
        self.assertReport(self.check(), 0, 'copy: 139 of 139 functions')

    def testAMissingFunctionIsNamedWithItsHeader(self):
        self.ar('d', self.archive, 'ppi_ecs.c.o')
        self.assertReport(self.check(), 1, 'copy: 138 of 139 functions',
                          'copy: missing: ppi_ecs_get_colorsensor_info (ppi_ecs.h)')

    def testEveryMissingFunctionIsNamed(self):
        self.ar('d', self.archive, 'bt_product.c.o', 'platform_root.c.o')
        self.assertReport(self.check(), 1, 'copy: 136 of 139 functions',
                          'copy: missing: bt_product_deinit (bt_product.h)',
                          'copy: missing: bt_product_init (bt_product.h)',
                          'copy: missing: platform_root (platform_root.h)')

    def testAMissingMemberFunctionIsNamedWithItsClass(self):
        self.ar('d', self.archive, 'kpi_logger.cpp.o')
        self.assertReport(self.check(), 1, 'copy: 137 of 139 functions',
                          'copy: missing: KPILogFramework::CLogger::AddEventLogAsync (kpi_logger.h)',
                          'copy: missing: KPILogFramework::CLogger::GetInstance (kpi_logger.h)')

    def testSeveralArchivesAddUp(self):
        self.ar('x', self.archive, 'vconf.c.o')
        self.ar('d', self.archive, 'vconf.c.o')
        settings = self.folder / 'libsettings.a'
        self.ar('q', settings, 'vconf.c.o')
        self.assertEqual(self.check().returncode, 1)
        self.assertReport(self.check(self.archive, settings), 0, 'copy: 139 of 139 functions')

    def testAFunctionThatNoHeaderDeclaresIsNamed(self):
        self.add('misspelt.c', 'int vconf_get_integer(void) { return 0; }')
        self.assertReport(self.check(), 1, 'copy: 139 of 139 functions', 'copy: not declared: vconf_get_integer')

    def testFunctionsOfAnImplementationsOwnAreNoMatter(self):
        self.add('own.c', 'static int bt_own(void) { return 0; } int own_bt_thing(void) { return bt_own(); }')
        self.add('own.cpp', 'namespace own { int bt_adapter_thing() { return 0; } }')
        self.assertReport(self.check(), 0, 'copy: 139 of 139 functions')

    def testAStaticFunctionIsMissing(self):
        self.ar('d', self.archive, 'platform_root.c.o')
        self.add('hidden.c', 'static const char* platform_root(void) { return ""; }'
                             'const char* own(void) { return platform_root(); }')
        self.assertReport(self.check(), 1, 'copy: 138 of 139 functions',
                          'copy: missing: platform_root (platform_root.h)')

    def testAVariableOfThatNameIsMissing(self):
        self.ar('d', self.archive, 'platform_root.c.o')
        self.add('variable.c', 'const char* platform_root = "";')
        self.assertEqual(self.check().returncode, 1)

    def testACFunctionWithCppLinkageIsMissing(self):
        self.ar('d', self.archive, 'lwipc.c.o')
        self.add('lwipc.cpp', 'int LwipcIsDone(const char*) { return 0; }')
        self.assertReport(self.check(), 1, 'copy: 138 of 139 functions', 'copy: missing: LwipcIsDone (lwipc.h)',
                          'copy: not declared: LwipcIsDone (C++ linkage)')

    def testOnlyDeclarationsAreTakenFromAHeader(self):
        include = self.header('''
            /* int bt_commented(void); */ // int bt_commented_too(void);
            #define BT_MACRO(x) \\
                int bt_macro(int x);
            extern "C" {
            typedef int (*bt_callback)(int result, void* user_data);
            typedef struct { int (*bt_member)(void); } bt_record;
            enum { BT_VALUE = 1 };
            const char* const* bt_made_up(bt_callback callback,
                                          int (*inner)(int));
            __attribute__((format(printf, 1, 2))) int bt_printed(const char* format, ...);
            }
            ''')
        self.ar('d', self.archive, *self.members())
        self.assertReport(self.check(include=include), 1, 'copy: 0 of 2 functions',
                          'copy: missing: bt_made_up (bt_made_up.h)', 'copy: missing: bt_printed (bt_made_up.h)')

    def testAHeaderOfAnUnknownFamilyIsRefused(self):
        self.assertCannotCompare(self.check(include=self.header('int tuner_start(void);')),
                                 'bt_made_up.h: tuner_start belongs to no known family')

    def testAFolderWithoutDeclarationsIsRefused(self):
        self.assertCannotCompare(self.check(include=self.folder), 'no function is declared in')

    def testAnArchiveThatIsNotThereIsRefused(self):
        self.assertCannotCompare(self.check(self.folder / 'libabsent.a'), 'libabsent.a: no such archive')

    def testAFileThatIsNoArchiveIsRefused(self):
        text = self.folder / 'libtext.a'
        text.write_text('not an archive\n', encoding='utf-8')
        self.assertCannotCompare(self.check(text), 'libtext.a')


if __name__ == '__main__':
    unittest.main()
