"""What failed is told once more where the log of a run ends."""

import os
import pathlib
import subprocess
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
TELL = TOP / "tools" / "tell-failures"


class TellFailures(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def report_of(self, tests):
        (self.folder / "CTestTestfile.cmake").write_text(tests, encoding="utf-8")
        subprocess.run(["ctest", "--output-junit", "report.xml"], cwd=self.folder, capture_output=True, check=False)
        return str(self.folder / "report.xml")

    def tells(self, *arguments, **environment):
        told = subprocess.run([str(TELL), *arguments], capture_output=True, text=True, check=False,
                              env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment})
        return told.returncode, told.stdout, told.stderr

    def testOfWhatPassedNothingIsSaid(self):
        self.assertEqual(self.tells(self.report_of("add_test(good echo fine)\n")), (0, "", ""))

    def testWhatFailedSaysItAgain(self):
        report = self.report_of("""
            add_test(good echo fine)
            add_test(bad sh -c "echo why; echo '<oh> & so'; exit 1")
        """)
        self.assertEqual(self.tells(report), (0, "== failed: bad\nwhy\n<oh> & so\n", ""))

    def testWhatTheLocaleOrXmlCannotHoldCostsNothingElse(self):
        report = self.report_of("""
            add_test(bad sh -c "printf 'caf\\303\\251 \\033[31m\\377 red'; exit 1")
        """)
        status, told, error = self.tells(report, PYTHONIOENCODING="ascii")
        self.assertEqual((status, error), (0, ""))
        self.assertRegex(told, r"^== failed: bad\ncaf\\xe9 .* red\n$")

    def testOfALongStoryTheEndIsTold(self):
        report = self.report_of('add_test(bad sh -c "seq 1 100; exit 1")\n')
        lines = "".join(f"{number}\n" for number in range(41, 101))
        self.assertEqual(self.tells(report), (0, f"== failed: bad\n(40 lines before)\n{lines}", ""))

    def testAStoryOfJustSoManyLinesIsToldWhole(self):
        report = self.report_of('add_test(bad sh -c "seq 1 60; exit 1")\n')
        self.assertEqual(self.tells(report)[1], "== failed: bad\n" + "".join(f"{number}\n" for number in range(1, 61)))

    def testWhatTookTooLongAndWhatIsNotThereFailedToo(self):
        report = self.report_of("""
            add_test(late sh -c "echo began; exec sleep 60")
            set_tests_properties(late PROPERTIES TIMEOUT 1)
            add_test(missing "/nowhere/a-test")
        """)
        _, told, _ = self.tells(report)
        self.assertRegex(told, r"== failed: late.*\nbegan\n")
        self.assertRegex(told, r"== failed: missing.*\n")

    def testOfManyTenAreTold(self):
        for number, more in ((10, ""), (11, "== and 1 more failed\n")):
            report = self.report_of("".join(f"add_test(bad{each} false)\n" for each in range(number)))
            told = "".join(f"== failed: bad{each}\n" for each in range(10))
            self.assertEqual(self.tells(report), (0, told + more, ""))

    def testAReportThatIsNotThereOrIsNoneIsAnError(self):
        (self.folder / "torn.xml").write_text("<testsuite><testcase", encoding="utf-8")
        for name in ("none.xml", "torn.xml"):
            status, told, error = self.tells(str(self.folder / name))
            self.assertEqual((status, told), (1, ""))
            self.assertRegex(error, r"^tell-failures: .+\n$")

    def testItWantsOneReport(self):
        self.assertEqual(self.tells(), (1, "", "usage: tell-failures REPORT\n"))


if __name__ == "__main__":
    unittest.main()
