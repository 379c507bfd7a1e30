"""Questions to the television on the desk: at the prompt, about a run that was kept, and what bad ones are told."""

import json
import os
import pathlib
import shutil
import subprocess
import unittest

from Desktop import DeskTest


class Questions(DeskTest):
    def asked(self, *lines):
        result = self.drive(*lines)
        return result.stdout

    def kept(self, *lines):
        path = self.path("kept.run")
        result = self.drive(*lines, f"save {path}")
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return path

    def testThePromptTellsWhyTheServiceDidWhatItDidLast(self):
        told = self.asked("wait 1s", "remote connect", "remote grip", "why GripSensorDetected")
        self.assertIn("the line: remote grip", told)
        self.assertRegex(told, r"(?s)so at 1\.000 s \[\d+\] bt_hid_smart_rc_grip_sensor_detected_cb\(0x01\)\n"
                               r".*asked: \[\d+\] bt_hid_get_smart_rc_grip_sensor_state\(\) = 0 -> 1\n")

    def testThePromptTellsWhyNotAndWhoHadSetItSo(self):
        told = self.asked("wait 1s", "set memory/wizard/wizard_mode PNP_SETUP", "remote connect", "remote grip",
                          "why not grip-popup")
        self.assertIn("this did not hold: the sensor was not switched off for the wizard", told)
        self.assertRegex(told, r"it was written at 1\.000 s \[\d+\] somebody writes memory/wizard/wizard_mode = .*"
                               r"because of \[\d+\] the line: set memory/wizard/wizard_mode PNP_SETUP")

    def testAQuestionChangesNothing(self):
        path = self.kept("wait 1s", "why", "why not visible", "why not speaker-reconnected")
        with open(path, encoding="utf-8") as run:
            lines = [json.loads(line).get("text") for line in run]
        self.assertNotIn("why", lines)
        saved = self.path("kept.tv")
        self.drive("wait 1s", "why", "why not visible", f"save {saved}")
        self.assertNotIn("why", pathlib.Path(saved).read_text(encoding="utf-8"))

    def testARunThatWasKeptAnswersAsThePromptDid(self):
        lines = ("wait 1s", "remote connect", "remote battery adc 15")
        path = self.kept(*lines)
        for question, words in (("why not low-battery-notice", ("why-not", path, "low-battery-notice")),
                                ("why not usage-event battery", ("why-not", path, "usage-event", "battery")),
                                ("why batlev", ("why", path, "batlev")), ("why", ("why", path)), ("why 100", ("why", path, "100"))):
            result = self.run_tv(*words)
            self.assertEqual(result.returncode, 0, result.stderr)
            at_the_prompt = self.asked(*lines, "story asked", question)
            for line in result.stdout.splitlines():
                self.assertIn("   " + line + "\n", at_the_prompt)

    def testBadQuestionsAreAnsweredWithWhatCanBeAsked(self):
        result = self.drive("why not vissible", "why not visible adapterup", "why 999999", "why bt_adapter_enabel", "why not",
                            "why visible", "expect why not visible was-on the set is of")
        self.assertEqual(result.returncode, 1)
        for answer in ('did you mean "visible"?', 'did you mean "adapter-up"?', "there is no entry 999999; they go from 1 to ",
                       'did you mean "bt_adapter_enable"?', "why not what? There are: adapter-on, ",
                       'ask "why not visible"', '"the set is of" is no condition of visible, was-on; did you mean "the set is on"?'):
            self.assertIn(answer, result.stdout)

    def testANameThatIsLikeNoneIsAnsweredWithAllThatThereAre(self):
        path = self.kept("wait 1s")
        outcomes = "; there are: adapter-on, visible, pairing-forwarded, "
        self.assertIn('"something" is not something that the service does of its own accord' + outcomes,
                      self.drive("why not something").stdout)
        self.assertIn('no outcome is called "something"' + outcomes, self.run_tv("why-not", path, "something").stderr)
        told = self.drive("why not visible somehow", "expect why not visible was-on whatever").stdout
        self.assertIn('visible has no way that is called "somehow"; there are: adapter-up, was-on, switched-on', told)
        self.assertIn('"whatever" is no condition of visible, was-on; there are: ', told)

    def testBadQuestionsAboutARunAreRefusedWithAReason(self):
        path = self.kept("wait 1s")
        for words, answer in ((("why-not", path, "vissible"), 'did you mean "visible"?'),
                              (("why-not", path, "visible", "wason"), 'did you mean "was-on"?'),
                              (("why", path, "999999"), "there is no entry 999999"),
                              (("why", self.path("none.run")), "cannot read"),
                              (("why-not", self.path("no.run", "nonsense\n"), "visible"), "is no run of vyrel-tv")):
            result = self.run_tv(*words)
            self.assertEqual((result.returncode, result.stdout), (3, ""), words)
            self.assertIn(answer, result.stderr)
        for words in (("why",), ("why-not", path), ("why-not", path, "visible", "was-on", "more")):
            self.assertEqual(self.run_tv(*words).returncode, 2, words)

    def testARunThatWasCutOffIsAnsweredUpToThere(self):
        path = self.kept("wait 1s")
        with open(path, "rb") as run:
            contents = run.read()
        with open(path, "wb") as run:
            run.write(contents[:contents.rindex(b'{"id"') + 20])
        result = self.run_tv("why-not", path, "adapter-on")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("adapter-on did happen", result.stdout)
        self.assertIn("is cut off in line", result.stderr)

    def testAFailedExpectationSaysWhatDidNotHold(self):
        story = self.path("bad.tv", "furnish\nplug\nexpect why visible adapter-up\n")
        result = self.run_tv("run", "--quiet", story)
        self.assertEqual(result.returncode, 1)
        self.assertIn("expect why visible adapter-up: it is otherwise: way adapter-up", result.stdout)
        self.assertIn("what has to come: the stack reports that the adapter is on", result.stdout)

    def testATableThatNobodyUnderstandsEndsTheBuild(self):
        pages = self.path("pages")
        shutil.copytree(pathlib.Path(os.environ["CHECKOUT"]) / "docs/behaviour", pages)
        output = self.path("tables.cpp")
        command = [os.environ["EMBED"], pages, output]
        self.assertEqual(subprocess.run(command, check=False, capture_output=True, text=True).returncode, 0)
        page = pathlib.Path(pages) / "adapter.md"
        page.write_text(page.read_text(encoding="utf-8").replace("`since no call", "`sinse no call"), encoding="utf-8")
        result = subprocess.run(command, check=False, capture_output=True, text=True)
        self.assertEqual(result.returncode, 1)
        self.assertIn('no kind of entry is called "sinse"', result.stderr)


if __name__ == "__main__":
    unittest.main()
