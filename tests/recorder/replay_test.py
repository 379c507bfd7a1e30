"""What a replay says: where the service does something else than in a recording, how it came to that, and why a recording
cannot be replayed. The recording of an evening, and copies of it in which something is changed."""

import os
import pathlib
import re
import subprocess
import tempfile
import time
import unittest

TV = os.environ["TV"]
CHECKOUT = pathlib.Path(os.environ["CHECKOUT"])


class Replay(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        subprocess.run([TV, "run", "--quiet", CHECKOUT / "scenarios" / "an-evening.tv"], check=True,
                       env={**os.environ, "VYREL_RECORDING": str(cls.folder / "recording")})
        cls.evening = cls.folder / "recording.1"  # the set is plugged in once more after it
        end = time.monotonic() + 30  # the process that writes may be late
        while not cls.evening.exists() and time.monotonic() < end:
            time.sleep(0.01)

    def setUp(self):
        for altered in self.folder.glob("altered*"):
            altered.unlink()

    def altered(self, *words):
        altered = self.folder / "altered"
        subprocess.run([os.environ["ALTER"], self.evening, altered, *words], check=True)
        return altered

    def replay(self, *files):
        return subprocess.run([TV, "replay", *files], capture_output=True, text=True, check=False)

    def assertDiffers(self, result, *lines):
        self.assertEqual((result.returncode, result.stderr), (1, ""), result.stdout)
        self.assertRegex(result.stdout.splitlines()[0], r"^/.*: the first difference is at \d+:\d\d:\d\d\.\d{6} \(record \d+\):$")
        # GLib's numbers depend on what else it has to do.
        told = [re.sub(r"\(timer \d+\)", "(timer N)", line.strip()) for line in result.stdout.splitlines()[1:]]
        self.assertEqual(told, list(lines))

    def assertIsRefused(self, result, text):
        self.assertEqual((result.returncode, result.stdout), (3, ""))
        self.assertIn(text, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)

    def testAnEveningIsTheSameAgain(self):
        result = self.replay(self.evening)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"^/.*recording\.1: no difference in \d{4} records, 3:01:\d\d\.\d{6} long\n$")

    def testWhatATimerDoesIsTracedToWhoSetItAndWhy(self):
        result = self.replay(self.altered("argument", "LastConnectedBtSpk", "LastSpeaker"))
        call = ('g_dbus_connection_send_message(message {destination "com.quorix.tv.bt.connectionmanager", path '
                '"/com/quorix/tv/bt/connectionmanager", interface "com.quorix.tv.bt.connectionmanager", member "%s", '
                'body none})')
        self.assertDiffers(result, "recorded  " + call % "LastSpeaker", "now       " + call % "LastConnectedBtSpk",
                           "it came to this so:",
                           f"0:00:00.000000  the service starts ({self.service(result)})",
                           "0:00:00.000000  g_timeout_add(interval_ms 10000, function number 1)",
                           "0:00:10.000000  it is told: GSourceFunc (timer N)",
                           "the latest line of the log before it:",
                           "VYREL_UTIL VconfUtil.cpp: SetVconf(86) > key : db/vyrel/lastSoundRoute, value : 0")

    @staticmethod
    def service(result):
        return result.stdout.partition("the service starts (")[2].partition(")")[0]

    def testWhatAReplyDoesIsTracedToTheInputBehindTheRequest(self):
        result = self.replay(self.altered("argument", "SCFW", "SCFX"))
        self.assertEqual(result.returncode, 1)
        lines = [line.strip() for line in result.stdout.splitlines()]
        chain = lines[lines.index("it came to this so:") + 1:lines.index("the latest line of the log before it:")]
        self.assertRegex(chain[0], r"^3:01:2\d\.\d{6}  it is told: device_power_standby_cb \(option 1073741824\)$")
        self.assertRegex(chain[1], r"g_dbus_connection_send_message_with_reply\(.*member \"CHIP\"")
        self.assertRegex(chain[2], r"it is told: GAsyncReadyCallback$")
        self.assertEqual(len(chain), 3)

    def testWhatASettingDoesIsTracedToItsWrite(self):
        result = self.replay(self.altered("argument", "bt_adapter_set_name : Kitchen", "Cellar"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("it is told: vconf_callback_fn", result.stdout)
        self.assertIn('of vconf_notify_key_changed(key "db/menu/network/devicename/tv_name"', result.stdout)

    def testAnAnswerThatWasOtherIsFoundWhereItIsFirstSaid(self):
        result = self.replay(self.altered("answer", "Living Room", "Dining Room"))
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stdout, r"recorded  log D .*value : Living Room\n  now       log D .*value : Dining Room\n")

    def testACallThatIsMissingInTheRecordingIsADifference(self):
        self.assertEqual(self.replay(self.altered("drop", "500")).returncode, 1)

    def testARecordingThatBreaksOffIsReplayedSoFar(self):
        result = self.replay(self.altered("cut", "700"))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r": no difference in 700 records, until .* where the recording ends\n$")

    def testEveryPlaceToBreakOffIsOne(self):
        count = int(subprocess.run([os.environ["ALTER"], self.evening, "-", "count"], capture_output=True, text=True,
                                   check=True).stdout)
        for records in [*range(1, 40), *range(40, count, 53), count - 1]:
            result = self.replay(self.altered("cut", str(records)))
            self.assertEqual((result.returncode, result.stderr), (0, ""), f"{records}: {result.stdout}")

    def testWhatWasNotRecordedEndsTheReplay(self):
        result = self.replay(self.altered("lost", "700"))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, "no difference in 700 records, until .* where it was not recorded what a test says\n$")

    def testAnotherStateOfTheServiceIsSaid(self):
        result = self.replay(self.altered("service", "0123456789ab"))
        self.assertEqual(result.returncode, 0)
        self.assertIn("recorded of the service in another state (0123456789ab, this is ", result.stderr)

    def testARecordingOverOtherFunctionsIsRefused(self):
        self.assertIsRefused(self.replay(self.altered("schema")), "recorded over another version of the platform's functions")

    def testARecordingWithoutItsBeginIsRefused(self):
        self.assertIsRefused(self.replay(self.altered("drop", "0")), "the beginning of the service's life is missing")

    def testWhatIsNoRecordingIsRefused(self):
        self.assertIsRefused(self.replay(CHECKOUT / "README.md"), "is no recording")
        self.assertIsRefused(self.replay(self.folder), "is a folder")
        self.assertIsRefused(self.replay(self.folder / "nothing"), "cannot be read")

    def testOfSeveralTheWorstCounts(self):
        altered = self.altered("argument", "SCFW", "SCFX")
        result = self.replay(self.evening, altered, self.folder / "recording")
        self.assertEqual((result.returncode, result.stdout.count("no difference")), (1, 2))
        self.assertEqual(self.replay(altered, self.folder / "nothing", self.evening).returncode, 3)

    def testAReplayLeavesNothingBehind(self):
        altered = self.altered("argument", "SCFW", "SCFX")
        files = sorted(self.folder.iterdir())
        with tempfile.TemporaryDirectory() as empty:
            for recording in (self.evening, altered):
                subprocess.run([TV, "replay", recording], env={**os.environ, "TMPDIR": empty}, cwd=empty,
                               stdout=subprocess.DEVNULL, check=False)
            self.assertEqual(list(pathlib.Path(empty).iterdir()), [])
        self.assertEqual(sorted(self.folder.iterdir()), files)


if __name__ == "__main__":
    unittest.main()
