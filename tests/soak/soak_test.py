"""The soak as a program: what it says and writes, and that nothing is left of it, whatever interrupts it."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from Desktop import processes_in

SOAK = os.environ["SOAK"]
TV = os.environ["TV"]
DEADLINE = 150  # seconds


def waits_until(holds):
    end = time.monotonic() + DEADLINE
    while not holds():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Soak(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="soak-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.temporary = self.folder / "tmp"
        self.temporary.mkdir()
        self.environment = {**os.environ, "TMPDIR": str(self.temporary)}
        self.addCleanup(self.nothing_is_left)

    def nothing_is_left(self):
        self.assertTrue(waits_until(lambda: not processes_in(self.temporary)), processes_in(self.temporary))
        self.assertEqual(os.listdir(self.temporary), [])

    def command(self, *arguments):
        return [SOAK, *arguments, "--found", str(self.folder / "found")]

    def run_soak(self, *arguments):
        return subprocess.run(self.command(*arguments), env=self.environment, capture_output=True, text=True,
                              timeout=DEADLINE)

    def shortens(self, *lines):
        """Has these lines shortened. What was said, and the scenario that was written."""
        story = self.folder / "story.tv"
        story.write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
        result = self.run_soak("--shorten", str(story))
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        return result.stdout, self.folder / "found/shortened-story.tv"

    def testAStoryIsShortenedToWhatIsNeeded(self):
        noise = ["light 7", "speaker known", "phone unbond", "set db/any 1", "wait 1s", "sibling hfpAgent error"]
        said, written = self.shortens("furnish", *noise, "plug", *noise, "remote connect", *noise, "disk full",
                                      "expect no entry remote connect", *noise)
        lines = written.read_text(encoding="utf-8").splitlines()
        self.assertRegex(lines[0], "^# .*expect no entry remote connect")
        self.assertEqual(lines[1:], ["remote connect", "expect no entry remote connect"])
        self.assertIn(f"2 lines show it", said)
        self.assertIn(f"vyrel-tv run {written}", said)

    def testWhatWasWrittenFailsAgain(self):
        _, written = self.shortens("furnish", "plug", "wait 1s", "light 3", "expect log nobody has logged this")
        again = subprocess.run([TV, "run", "--quiet", str(written)], env=self.environment, capture_output=True,
                               text=True, timeout=DEADLINE)
        self.assertEqual(again.returncode, 1, again.stdout)
        self.assertIn("nobody has logged this", again.stdout)

    def testAStoryThatGoesWellIsNotShortened(self):
        story = self.folder / "story.tv"
        story.write_text("furnish\nplug\nwait 1s\n", encoding="utf-8")
        result = self.run_soak("--shorten", str(story))
        self.assertEqual((result.returncode, result.stdout), (0, "soak: it goes as it should\n"), result.stderr)

    def testTheNumberIsSaidFirst(self):
        result = self.run_soak("--stories", "1", "--passages", "3", "--seed", "18446744073709551615")
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertRegex(result.stdout, r"^soak: begins with the story of number 18446744073709551615; --seed "
                                        r"18446744073709551615 tells the same again\nsoak: 1 stories, \d+ lives")
        without = self.run_soak("--stories", "1", "--passages", "1")
        self.assertRegex(without.stdout, r"^soak: begins with the story of number \d+; --seed \d+ ")

    def testAWrongCommandLineIsRefused(self):
        for arguments in (["--minutes"], ["--minutes", "0"], ["--minutes", "x"], ["--seed", "-1"], ["--dance", "1"],
                          ["--stories", "1x"]):
            result = subprocess.run([SOAK, *arguments], env=self.environment, capture_output=True, text=True)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertIn("Usage:", result.stderr)

    def testALongLifeSaysWhatItWeighs(self):
        result = self.run_soak("--events", "300", "--seed", "1")
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        # With sanitizers the heap is theirs, and the C library's empty.
        weights = re.findall(r"soak: (\d+) events in .* s: private anonymous memory [1-9]\d* KiB, heap in use \d+",
                             result.stdout)
        self.assertEqual(weights, [str(events) for events in range(15, 301, 15)], result.stdout)
        self.assertRegex(result.stdout, r"waited for others \d+ ms at most and was held [1-9]\d* us of real time")

    def testNothingIsLeftOfAnInterruptedOne(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with subprocess.Popen(self.command("--minutes", "10"), env=self.environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True) as soak:
                # Itself, the bus and the set.
                self.assertTrue(waits_until(lambda: len(processes_in(self.temporary)) >= 3))
                soak.send_signal(number)
                _, said = soak.communicate(timeout=DEADLINE)
            self.assertEqual(soak.returncode, -number)
            self.assertIn("nothing is left of it", said)
            self.nothing_is_left()

    def testNoProcessIsLeftOfAKilledOne(self):
        with subprocess.Popen(self.command("--minutes", "10"), env=self.environment, stdout=subprocess.DEVNULL) as soak:
            self.assertTrue(waits_until(lambda: len(processes_in(self.temporary)) >= 3))
            soak.kill()
        self.assertTrue(waits_until(lambda: not processes_in(self.temporary)))
        for folder in self.temporary.iterdir():
            shutil.rmtree(folder)  # nobody was left to do so


if __name__ == "__main__":
    unittest.main()
