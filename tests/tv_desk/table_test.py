"""The page about the television against what the program says of itself."""

import os
import pathlib
import re
import unittest

from Desktop import DeskTest

CHECKOUT = pathlib.Path(os.environ["CHECKOUT"])


class Table(DeskTest):
    def testThePageTellsEachLineAndNoOther(self):
        told = self.drive("help").stdout
        lines = dict(re.findall(r"(?m)^  (\S.*?)(?:\n {46}| {2,})\s*(\S.*)$", told[told.index("  remote|wheel connect"):]))
        page = (CHECKOUT / "docs/television.md").read_text(encoding="utf-8")
        written = {syntax.replace("\\|", "|"): text for syntax, text in re.findall(r"(?m)^\| `(.+?)` \| (.+) \|$", page)}
        self.assertGreater(len(lines), 60)
        self.assertEqual(written, lines)

    def testThePageShowsTheCommandLineAsItIs(self):
        page = (CHECKOUT / "docs/television.md").read_text(encoding="utf-8")
        for option in re.findall(r"(?m)^  (--[a-z-]+)", self.run_tv("--help").stdout):
            self.assertIn(option, page)


if __name__ == "__main__":
    unittest.main()
