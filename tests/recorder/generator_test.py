"""What is made from the platform's headers: a function that is new is recorded by itself, and one that cannot be stops the
build. A copy of the headers, each time with one declaration more."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
RECORDER = CHECKOUT / "platform" / "recorder"


class Generator(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copytree(CHECKOUT / "platform" / "include", self.folder / "include")
        (self.folder / "made").mkdir()

    def declares(self, text, header="lwipc.h"):
        path = self.folder / "include" / header
        path.write_text(path.read_text(encoding="utf-8").replace("#ifdef __cplusplus\n}", text + "\n#ifdef __cplusplus\n}"),
                        encoding="utf-8")

    def generate(self):
        return subprocess.run([sys.executable, "-B", RECORDER / "generate.py", self.folder / "include",
                               RECORDER / "shapes.toml", self.folder / "made"],
                              capture_output=True, text=True, check=False)

    def made(self, name):
        return (self.folder / "made" / name).read_text(encoding="utf-8")

    def testANewFunctionIsRecordedByItself(self):
        self.declares("int LwipcCount(const char* event, int* count);")
        result = self.generate()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("int seam_LwipcCount(const char* event, int* count)", self.made("Seam.cpp"))
        self.assertIn("int LwipcCount(const char* event, int* count)", self.made("Replayed.cpp"))
        self.assertIn("LwipcCount seam_LwipcCount\n", self.made("seam.syms"))

    def testAParameterOfAnUnknownShapeIsAnError(self):
        self.declares("int LwipcTake(const double* reading);")
        result = self.generate()
        self.assertEqual((result.returncode, result.stderr),
                         (1, "generate.py: LwipcTake: the shape of const double* reading is not known\n"))

    def testATextThatNobodySaysWhoFreesIsAnError(self):
        self.declares("char* LwipcName(int number);")
        self.assertEqual(self.generate().stderr, "generate.py: LwipcName: who frees the text that it gives?\n")

    def testADeclarationThatIsNotUnderstoodIsAnError(self):
        self.declares("struct LwipcState { int a; };")
        self.assertIn("generate.py: lwipc.h: struct LwipcState { int a", self.generate().stderr)

    def testAnArrayWithoutItsLengthIsAnError(self):
        self.declares("int LwipcPut(const unsigned char* bytes, int length);")
        self.assertEqual(self.generate().stderr,
                         "generate.py: LwipcPut: the shape of const unsigned char* bytes is not known\n")


if __name__ == "__main__":
    unittest.main()
