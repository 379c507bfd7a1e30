"""The television driven by lines that come through a pipe or from a file: what it does, and what it says to bad ones."""

import json
import os
import re
import signal
import socket
import unittest
import urllib.request

from Desktop import DEADLINE, DeskTest

DATE = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"  # the day on which a story is told

class Lines(DeskTest):
    def went_well(self, result):
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def testALineShowsWhatTheServiceDid(self):
        result = self.drive("wait 1s", "remote connect", "wait 11s")
        self.went_well(result)
        self.assertRegex(result.stdout, r"(?m)^> remote connect$")
        self.assertRegex(result.stdout, r"(?m)^ +\d+\.\d{3}  service +adapter +switch on$")
        self.assertRegex(result.stdout, r"(?m)^ +1[01]\.\d{3}  .*remote +")
        self.assertNotIn("\033", result.stdout)

    def testABadLineIsAnsweredAndTheNextIsCarriedOut(self):
        result = self.drive("remot connect", "remote battery adc 99", "fail bt_adapter_enabel 1", "get db/none", "plug",
                            "stand connect")
        self.assertEqual(result.returncode, 1)
        for answer in ('nobody understands "remot"; did you mean "remote"?', '"99" is not a number from 0 to 31',
                       'did you mean "bt_adapter_enable"?', "somebody reads db/none: none",
                       "the set is plugged in already", "> stand connect"):
            self.assertIn(answer, result.stdout)

    def testAStoryGoesTheSameWayEachTimeToTheMicrosecond(self):
        told = []
        for name, bus in (("one.run", "unix:path=/one"), ("another.run", "unix:path=/another")):
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus
            self.went_well(self.run_tv("run", "--quiet", "--save", self.path(name),
                                       os.path.join(os.environ["CHECKOUT"], "scenarios", "an-evening.tv")))
            with open(self.path(name), encoding="utf-8") as run:
                entries = [json.loads(line) for line in run.readlines()[1:]]
            told.append([(entry["at"], entry["cause"], re.sub(DATE, "", entry["text"]))
                         for entry in entries if "text" in entry])
        self.assertGreater(len(told[0]), 1000)
        self.assertEqual(told[0], told[1])

    def testTimeStandsStillBetweenLines(self):
        story = ("furnish", "plug", "wait 3h", "expect running")
        times = [re.findall(r"(?m)^ *([\d.]+)  ", self.drive(*story[2:]).stdout) for _ in range(2)]
        self.assertGreater(len(times[0]), 10)
        self.assertEqual(times[0], times[1])
        self.assertEqual(times[0][0], "0.000")

    def testAnExpectationThatIsNotMetFails(self):
        result = self.tell("furnish", "plug", "expect function bt_adapter_disable", "expect running")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stdout, r"not as it should: .*/story\.tv:3: expect function bt_adapter_disable: it did "
                                        r"not come; what came instead:\n    ")
        self.assertIn("story went NOT as it should", result.stdout)

    def testAnExpectationMayBeMetLater(self):
        self.went_well(self.tell("furnish", "set db/vyrel/lastSoundRoute 3", "plug",
                                 "within 30s expect call connectionmanager LastConnectedBtSpk"))
        result = self.tell("furnish", "plug", "within 5s expect function bt_adapter_reset")
        self.assertEqual(result.returncode, 1)

    def testAQuietRunTellsOnlyWhatIsWrong(self):
        result = self.tell("furnish", "plug", arguments=["--quiet"])
        self.went_well(result)
        self.assertEqual(result.stdout, "")
        result = self.tell("furnish", "plug", "expect stopped", arguments=["--quiet"])
        self.assertEqual(result.returncode, 1)
        self.assertEqual(len(result.stdout.splitlines()), 1)

    def testAScenarioThatNobodyUnderstandsIsNotBegun(self):
        result = self.tell("furnish", "plug", "remot connect")
        self.assertEqual(result.returncode, 3)
        self.assertRegex(result.stderr, r'/story\.tv:3: nobody understands "remot"; did you mean "remote"\?')
        self.assertEqual(result.stdout, "")

    def testAMissingScenarioIsToldOf(self):
        for arguments in (["run", "/nonexistent.tv"], ["--prompt-only", "--scenario", "/nonexistent.tv"]):
            result = self.run_tv(*arguments)
            self.assertEqual(result.returncode, 3)
            self.assertEqual(result.stderr, "/nonexistent.tv: it cannot be read: No such file or directory\n")

    def testAWrongCommandLineIsRefused(self):
        for arguments in (["--no-such-option"], ["run"], ["--port", "65536"], ["--port", "x"], ["dance"],
                          ["--page-only", "--prompt-only"]):
            with self.subTest(arguments):
                result = self.run_tv(*arguments)
                self.assertEqual(result.returncode, 2)
                self.assertIn("Try 'vyrel-tv --help'.", result.stderr)

    def testHelpIsToldWithoutATelevision(self):
        result = self.run_tv("--help")
        self.went_well(result)
        self.assertIn("usage: vyrel-tv", result.stdout)

    def testHelpTellsTheLinesAboutAWord(self):
        result = self.drive("help bus", "help elephant", "help batery")
        self.assertIn("bus restart", result.stdout)
        self.assertIn('there is no line about "elephant"', result.stdout)

    def testTenThousandLinesAtOnceAreCarriedOut(self):
        lines = ["light %d" % number for number in range(10_000)]
        result = self.drive(*lines)
        self.went_well(result)
        self.assertEqual(re.findall(r"(?m)^> light (\d+)$", result.stdout), [str(number) for number in range(10_000)])

    def testWhatIsNoTextIsRefused(self):
        result = self.run_tv("--prompt-only", data=b"light 1\n\xff\xfe\nlight 2\n" + b"x" * 1_000_000 + b"\nlight 3\n\0\n")
        self.assertEqual(result.returncode, 1)
        self.assertIn("the line is no UTF-8", result.stdout)
        self.assertIn("the line is too long", result.stdout)
        for number in (1, 2, 3):
            self.assertIn(f"> light {number}", result.stdout)

    def testASettingIsKeptOverLives(self):
        self.went_well(self.tell("furnish", 'set db/menu/network/devicename/tv_name "A B"', "plug", "wait 1s",
                                 'expect function bt_adapter_set_name("A B")', "unplug", "expect stopped", "plug",
                                 "wait 1s", "expect running", 'expect function bt_adapter_set_name("A B")',
                                 'expect setting db/menu/network/devicename/tv_name "A B"'))

    def testWhatStandsBesideTheSetIsHandedOver(self):
        story = self.path("saved.run")
        self.went_well(self.tell("furnish", "feature model TV-X", "speaker address 00:11:22:33:44:55",
                                 "speaker name Old \"one\"", "speaker known", "speaker address 00:11:22:33:44:66",
                                 "fail bt_adapter_enable TIMED_OUT 9", "sibling irmonitor hang",
                                 "sibling updatemanager answer CHIP (1,)", "light 7", "plug", "unplug", "plug",
                                 "save " + story))
        with open(story, encoding="utf-8") as run:
            state = [line for line in run if line.startswith('{"state"')][-1]
        for part in ('{"name":"model","value":"TV-X"}', '"speaker":{"address":"00:11:22:33:44:66","name":"Old \\"one\\""',
                     '{"function":"bt_adapter_enable","code":"TIMED_OUT","left":', '{"name":"irmonitor","behaviour":"hang"}',
                     '"light":7', '"running":true'):
            self.assertIn(part, state)

    def testACrashIsToldWithWhatCameLast(self):
        tv = self.begin_tv("--prompt-only")
        tv.says("wait 1s", "> wait 1s")
        tv.says("get db/none", "somebody reads db/none: none")
        tv.says("help bus", "bus restart")  # the line before has been carried out
        os.kill(self.set_process(), signal.SIGABRT)
        tv.hears("the service has crashed: it was ended by SIGABRT")
        tv.says("expect stopped", "")
        tv.says("plug", "> plug")
        tv.says("wait 1s", "> wait 1s")
        tv.says("expect running", "")
        self.assertEqual(tv.ends(), 0)
        self.assertNotIn("the service should", tv.text)

    def testACrashInTheMiddleOfALineIsItsFailure(self):
        tv = self.begin_tv("--prompt-only")
        tv.says("wait 1s", "> wait 1s")
        process = self.set_process()
        os.kill(process, signal.SIGSTOP)
        tv.says("light 5", "")
        tv.has_taken_it_up()
        os.kill(process, signal.SIGKILL)
        tv.hears("it was ended by SIGKILL; the last that it did: ")
        self.assertEqual(tv.ends(), 1)

    def testABodyOfWhatIsNoCharacterIsRefusedAndTheSetGoesOn(self):
        for body in (r"('\ud800',)", r"('\U00110000',)", "\"('\\xff',)\""):
            with self.subTest(body):
                result = self.tell("furnish", "plug", f"sibling updatemanager answer CHIP {body}", "expect running")
                self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
                self.assertIn("this is no body: a byte or an escape in it is no character", result.stdout + result.stderr)
                self.assertNotIn("crashed", result.stdout + result.stderr)
                self.assertNotIn("CRITICAL", result.stdout + result.stderr)

    def testABusThatRestartsEndsTheService(self):
        result = self.tell("furnish", "plug", "wait 1s", "expect running", "bus restart", "expect stopped", "plug",
                           "wait 1s", "expect running", "expect function bt_adapter_enable() = 0", "unplug", "bus restart",
                           "plug", "wait 1s", "expect running")
        self.went_well(result)
        self.assertIn("the service has ended by itself with status 1", result.stdout)

    def testLinesAreSavedAsAScenarioThatPlaysAgain(self):
        saved = self.path("saved.tv")
        self.went_well(self.drive("remote connect", "wait 11s", "help", "expect running", "save " + saved))
        with open(saved, encoding="utf-8") as scenario:
            self.assertEqual(scenario.read(), "furnish\nplug\nremote connect\nwait 11s\nexpect running\n")
        self.went_well(self.run_tv("run", saved))

    def testARunIsSavedWhole(self):
        saved = self.path("saved.run")
        self.went_well(self.drive("wait 1s", "save " + saved))
        with open(saved, encoding="utf-8") as run:
            objects = run.read().splitlines()
        self.assertEqual(objects[0], '{"format":"vyrel-tv run","version":1}')
        self.assertTrue(objects[1].startswith('{"hello"'))
        ids = [int(match.group(1)) for match in map(lambda line: re.match(r'\{"id":(\d+),', line), objects) if match]
        self.assertEqual(len(ids), len(set(ids)))
        self.assertGreater(len(ids), 100)

    def testARunIsMadeAPageAPictureATraceAndACapture(self):
        saved = self.path("saved.run")
        self.went_well(self.drive("wait 11s", "speaker connect", "save " + saved))
        for end, begin in ((".html", b"<!DOCTYPE html>"), (".svg", b"<svg "), (".json", b'{"traceEvents":'),
                           (".pcap", b"\xd4\xc3\xb2\xa1")):
            made = self.path("made" + end)
            result = self.run_tv("timeline", saved, "-o", made)
            self.went_well(result)
            self.assertEqual(result.stdout + result.stderr, "")
            with open(made, "rb") as file:
                contents = file.read()
            self.assertTrue(contents.startswith(begin), end)
            self.assertTrue(b"AudioConnectionStateChanged" in contents, end)

    def testAllThatTheServiceDoesHasACause(self):
        saved = self.path("saved.run")
        self.went_well(self.drive("wait 1min", "remote connect", "wait 1min", "power standby", "speaker connect",
                                  "wait 1h", "unplug", "plug", "save " + saved))
        with open(saved, encoding="utf-8") as run:
            entries = {entry["id"]: entry for entry in map(json.loads, run) if "id" in entry}
        self.assertGreater(len(entries), 500)
        without = []
        for entry in entries.values():
            if entry["cause"] == 0 and entry["kind"] not in ("line", "life"):
                without.append(entry["text"])
            elif entry["cause"] != 0:
                self.assertLess(entry["cause"], entry["id"])
                self.assertIn(entry["cause"], entries)
        self.assertEqual(without, [])

    def testARunThatIsNoneIsToldOf(self):
        made = self.path("made.html")
        for file, why in ((self.path("none.run"), "No such file or directory"),
                          (self.path("a.tv", "furnish\n"), "is no run of vyrel-tv"),
                          (self.path("cut.run", '{"format":"vyrel-tv run","version":9}\n'), "by a later vyrel-tv")):
            result = self.run_tv("timeline", file, "-o", made)
            self.assertEqual(result.returncode, 3)
            self.assertIn(why, result.stderr)
            self.assertFalse(os.path.exists(made))
        cut = self.path("cut.run", '{"format":"vyrel-tv run","version":1}\n{"id":1}\n{"id')
        result = self.run_tv("timeline", cut, "-o", made)
        self.assertEqual(result.returncode, 0)
        self.assertIn("is cut off in line 3: what came before it is there", result.stderr)
        self.assertEqual(self.run_tv("timeline", cut, "-o", self.path("made.txt")).returncode, 3)
        self.assertEqual(self.run_tv("timeline", cut).returncode, 2)
        self.assertEqual(self.run_tv("timeline", "-o", made).returncode, 2)

    def testAFileThatCannotBeWrittenIsToldOf(self):
        result = self.drive("save /nonexistent/a.tv", "save /nonexistent/a.run", "save a", "light 1")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout.count("cannot be written: No such file or directory"), 2)
        self.assertIn("FILE.tv for the lines so far, FILE.run for all that happened", result.stdout)
        self.assertIn("> light 1", result.stdout)

    def testASiblingThatHangsCostsNoRealTime(self):
        self.went_well(self.tell("furnish", "plug", "wait 20s", "sibling connectionmanager hang", "speaker ask",
                                 "expect log Timeout was reached", "expect function bt_device_reject_authorization",
                                 "wait 1min", "expect running",
                                 "sibling connectionmanager answers", "speaker connect",
                                 "expect call connectionmanager AudioConnectionStateChanged"))

    def testASiblingMayBehaveInEveryWay(self):
        self.went_well(self.tell("furnish", "plug", "wait 20s",
                                 "sibling connectionmanager slow 2s", "speaker ask", "wait 5s",
                                 "sibling connectionmanager error", "speaker ask",
                                 "sibling connectionmanager absent", "speaker ask",
                                 "sibling connectionmanager answers", "speaker ask",
                                 "expect call connectionmanager AuthorizationRequest"))

    def testThePageStandsBesideTheLines(self):
        tv = self.begin_tv("--port", "0")
        tv.hears("the television is at ")
        tv.hears("> plug")
        address = re.search(r"the television is at (http://127\.0\.0\.1:\d+/)", tv.text).group(1)
        with urllib.request.urlopen(address, timeout=DEADLINE) as page:
            self.assertEqual(page.status, 200)
        self.assertEqual(tv.ends(), 0)

    def testThePageAloneStaysUntilASignal(self):
        tv = self.begin_tv("--page-only")
        tv.hears("> plug")
        tv.process.send_signal(signal.SIGTERM)
        self.assertEqual(tv.ends(), -signal.SIGTERM)
        self.assertIn("stopped by SIGTERM; nothing is left of it", tv.text)

    def testAPortInUseIsToldOf(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            result = self.run_tv("--page-only", "--port", str(port))
        self.assertEqual(result.returncode, 3)
        self.assertIn(f"vyrel-tv: port {port} is in use", result.stderr)

    def testAScenarioMayComeBeforeTheLines(self):
        story = self.path("story.tv", "furnish\n# a remark\nfeature model TV-9\nplug\nwait 1s\n")
        result = self.run_tv("--prompt-only", "--scenario", story, lines=["expect running", "remote connect"])
        self.went_well(result)
        self.assertEqual(re.findall(r"(?m)^> (.*)$", result.stdout),
                         ["furnish", "feature model TV-9", "plug", "wait 1s", "remote connect"])

    def testAnotherInstanceIsNobodysBusiness(self):
        other = os.spawnve(os.P_NOWAIT, "/bin/sh", ["sh", "-c", 'sleep 3 | "$TV" --prompt-only >/dev/null'], self.environment)
        self.went_well(self.drive("wait 1s", "expect running"))
        self.assertEqual(os.waitpid(other, 0)[1], 0)


if __name__ == "__main__":
    unittest.main()
