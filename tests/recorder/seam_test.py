"""Nothing passes the seam between the service and the world unseen: the service's libraries as they are recorded, and
small ones with a fault."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().parent / "check_seam.py"


class Seam(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def compiled(self, name, text):
        source = self.folder / f"{name}.c"
        source.write_text(text, encoding="utf-8")
        subprocess.run([os.environ["CC"], "-c", source, "-o", self.folder / f"{name}.o"], check=True)
        return self.folder / f"{name}.o"

    def check(self, *files, platform=None):
        return subprocess.run([sys.executable, "-B", CHECKER, os.environ["SYMBOLS"],
                               platform or os.environ["PLATFORM"], *files], capture_output=True, text=True, check=False)

    def assertNames(self, result, text):
        self.assertEqual((result.stdout.splitlines(), result.stderr, result.returncode), ([text], "", 1))

    def testTheServiceAsksNothingPastTheRecorder(self):
        result = self.check(*os.environ["RECORDED"].split(","))
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def testTheServiceAsItIsBuiltWouldBeNamed(self):
        result = self.check(*os.environ["UNRECORDED"].split(","))
        self.assertEqual(result.returncode, 1)
        for function in ("bt_adapter_enable", "vconf_get_int", "g_timeout_add", "open", "__dlog_print"):
            self.assertIn(f"{function} is called, past the recorder", result.stdout)

    def testACallOfTheWorldThatIsNewIsNamed(self):
        self.assertNames(self.check(self.compiled("New", "char* getenv(const char*); int f(void) { return !getenv(\"A\"); }")),
                         "New.o: getenv is called, and nobody knows whether it is to be recorded")

    def testAClockOfTheLanguageIsNamed(self):
        clock = "_ZNSt6chrono3_V212steady_clock3nowEv"
        self.assertNames(self.check(self.compiled("Clock", f'long now(void) __asm__("{clock}"); long f(void) {{ return now(); }}')),
                         f"Clock.o: {clock} is called, and nobody knows whether it is to be recorded")

    def testAFunctionOfThePlatformThatIsNotRecordedIsNamed(self):
        nothing = self.compiled("Nothing", "int f(void) { return 0; }")
        platform = self.compiled("Platform", "int bt_new(void) { return 0; }")
        self.assertNames(self.check(nothing, platform=platform),
                         "bt_new of the platform is not led to the recorder")


if __name__ == "__main__":
    unittest.main()
