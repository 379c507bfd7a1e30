"""Recording a story, and looking at the recording: in words, as a run, without those whom it tells of."""

import collections
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

TV = os.environ["TV"]
SCENARIOS = pathlib.Path(os.environ["CHECKOUT"]) / "scenarios"
DAY = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"
NOT_ON_THE_DESK = ("open", "access", "write", "g_file_set_contents_full", "bt_adapter_bonded_device_cb",
                   "bt_adapter_headless_device_info_cb")


def tell(*arguments):
    return subprocess.run([TV, *map(str, arguments)], capture_output=True, text=True, timeout=120, check=False)


def entries(text):
    return [json.loads(line) for line in text.splitlines()[1:] if '"id":' in line]


class Show(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.kept = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.kept.cleanup)
        cls.folder = pathlib.Path(cls.kept.name)
        cls.recording = cls.folder / "rec"
        result = tell("run", "--quiet", "--record", cls.recording, "--save", cls.folder / "told.run",
                      SCENARIOS / "an-evening.tv")
        assert result.returncode == 0, result.stdout + result.stderr

    def well(self, *arguments):
        result = tell(*arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def testEachLifeHasAFileAndNothingElseIsLeft(self):
        self.assertEqual({path.name for path in self.folder.glob("rec*")}, {"rec", "rec.1"})

    def testARecordingTellsTheSameAsTheDesk(self):
        told = entries((self.folder / "told.run").read_text(encoding="utf-8"))
        recorded = [entry for life in ("rec.1", "rec") for entry in entries(self.well("show", "--json",
                                                                                      self.folder / life))]
        def texts(all_of_them):
            return [(entry["kind"], re.sub(DAY, "", entry["text"])) for entry in sorted(all_of_them, key=lambda e: e["id"])
                    if entry["kind"] not in ("note", "life", "line") and entry.get("function") not in NOT_ON_THE_DESK]
        mine = [text for life in ("rec.1", "rec") for text in texts(entries(self.well("show", "--json",
                                                                                       self.folder / life)))]
        self.assertGreater(len(recorded), 900)
        self.assertEqual(collections.Counter(texts(told)), collections.Counter(mine))

    def testItsCausesAreThoseOfTheDesk(self):
        def pairs(all_of_them):
            by_id = {entry["id"]: entry for entry in all_of_them}
            return collections.Counter(
                (re.sub(DAY, "", by_id[entry["cause"]]["text"]), re.sub(DAY, "", entry["text"])) for entry in all_of_them
                if entry["kind"] in ("bus", "call", "fired", "reply", "kpi") and entry["cause"] in by_id
                and by_id[entry["cause"]]["kind"] in ("event", "fired", "reply", "signal", "timer", "bus")
                and entry.get("function") not in NOT_ON_THE_DESK)
        told = pairs(entries((self.folder / "told.run").read_text(encoding="utf-8")))
        mine = sum((pairs(entries(self.well("show", "--json", self.folder / life))) for life in ("rec", "rec.1")),
                   collections.Counter())
        self.assertGreater(sum(told.values()), 200)
        self.assertEqual(told, mine)

    def testItIsShownInWords(self):
        shown = self.well("show", self.folder / "rec.1")
        self.assertRegex(shown, r"^the service [0-9a-f]{12}[^,]*, begun " + DAY + " UTC")
        self.assertRegex(shown, r"(?m)^ +0\.000  service +adapter +switch on$")
        self.assertIn("VYREL_LITE main.cpp: main(18) > enter vyrel-lite", shown)
        brief = self.well("show", "--brief", self.folder / "rec.1")
        self.assertIn("switch on", brief)
        self.assertNotIn("enter vyrel-lite", brief)

    def testWhatLooksAtRunsLooksAtRecordingsToo(self):
        page = self.folder / "page.html"
        self.well("timeline", self.recording, "-o", page)
        self.assertIn("the service starts", page.read_text(encoding="utf-8"))
        self.assertIn("plugged in", self.well("why", self.recording, "bt_adapter_enable"))
        saved = self.folder / "shown.run"
        saved.write_text(self.well("show", "--json", self.recording), encoding="utf-8")
        self.well("timeline", saved, "-o", self.folder / "again.svg")

    def testAnAnonymousRecordingIsReplayedAndNamesNobody(self):
        for life in ("rec", "rec.1"):
            hidden = self.folder / f"hidden-{life}"
            self.assertIn("look at it before you give it away",
                          self.well("anonymous", self.folder / life, "-o", hidden))
            self.assertIn("no difference", self.well("replay", hidden))
            shown = self.well("show", hidden)
            self.assertEqual(shown.partition("\n")[2], self.well("show", "--anonymous", self.folder / life).partition("\n")[2])
            before = self.well("show", self.folder / life)
            names = ("Living Room", "Kitchen speaker", "5C:51:4F:00:00:01", "5C:51:4F:00:00:02")
            for name in names:
                self.assertNotIn(name, shown)
            if life == "rec.1":
                self.assertEqual([name for name in names if name not in before], [])
            self.assertEqual(len(before.splitlines()), len(shown.splitlines()))

    def testAFileThatIsThereIsNotOverwritten(self):
        there = self.folder / "there"
        there.write_text("a letter", encoding="utf-8")
        result = tell("anonymous", self.recording, "-o", there)
        self.assertEqual((result.returncode, result.stderr),
                         (3, f"vyrel-tv: {there} cannot be written: File exists\n"))
        result = tell("run", "--quiet", "--record", there, SCENARIOS / "a-start.tv")
        self.assertEqual((result.returncode, result.stderr),
                         (3, f"vyrel-tv: {there} is there and is no recording: take another name, or remove it\n"))
        self.assertEqual(there.read_text(encoding="utf-8"), "a letter")

    def testWhereNothingCanBeRecordedIsSaidBeforeTheStory(self):
        for place, why in ((self.folder, "Is a directory"), (self.folder / "no" / "rec", "No such file or directory")):
            result = tell("run", "--record", place, SCENARIOS / "a-start.tv")
            self.assertEqual((result.returncode, result.stdout), (3, ""))
            self.assertEqual(result.stderr, f"vyrel-tv: nothing can be recorded in {place}: {why}\n")

    def testWhatCannotBeShownIsRefusedWithAReason(self):
        foreign = self.folder / "foreign"
        foreign.write_text("a letter", encoding="utf-8")
        for path, why in ((foreign, "is no recording of the service"), (self.folder / "none", "cannot be read: No such"),
                          (self.folder, "is a folder")):
            result = tell("show", path)
            self.assertEqual((result.returncode, result.stdout), (3, ""))
            self.assertIn(f"vyrel-tv: {path} {why}", result.stderr)

    def testACutOffRecordingIsShownAsFarAsItGoes(self):
        cut = self.folder / "cut"
        cut.write_bytes((self.folder / "rec.1").read_bytes()[:-1])
        result = tell("show", "--json", cut)
        self.assertEqual(result.returncode, 0)
        self.assertIn("its end is cut off", result.stderr)

    def testThePromptRecordsTheNextLife(self):
        recording = self.folder / "prompted"
        lines = f"record {recording}\nunplug\nrecord {recording}\nplug\nwait 1s\nrecord {recording}\nunplug\nplug\nquit\n"
        result = subprocess.run([TV, "--prompt-only"], input=lines, capture_output=True, text=True, timeout=120, check=False)
        self.assertEqual(result.stdout.count("what is recorded is a whole life; unplug it first"), 2)
        self.assertTrue(recording.exists())
        self.assertIn("the service has stopped", self.well("show", f"{recording}.1"))
        self.assertIn("no difference", self.well("replay", f"{recording}.1"))


if __name__ == "__main__":
    unittest.main()
