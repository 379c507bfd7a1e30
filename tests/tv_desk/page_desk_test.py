"""The page with the real television behind it: the service as it is shipped, on the simulated set."""

import os
import signal
import subprocess
import unittest

from browser import Browser
from fake_front import DEADLINE, Refused, WebSocket

NAME = "db/menu/network/devicename/tv_name"


class PageOnTheDesk(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.television = subprocess.Popen(
            [os.environ["TV"], "--page-only"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE
        )
        self.addCleanup(self.ends)
        said = self.television.stdout.readline().decode()
        self.address = said.split()[-1]
        self.port = int(self.address.rstrip("/").rsplit(":", 1)[1])
        self.browser.screen(1440, 900)
        self.browser.open(self.address)
        self.browser.wait_text("#link", "service runs")
        self.say("wait 1s")  # the adapter takes a moment to come up

    def ends(self):
        self.browser.open("about:blank")
        complaints = [each for each in self.browser.complaints() if self.address.split("//")[1] in each]
        self.television.send_signal(signal.SIGTERM)
        try:
            self.television.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            self.television.kill()
            self.television.wait()
            raise
        finally:
            self.television.stdout.close()
            self.television.stderr.close()
        self.assertEqual(self.television.returncode, -signal.SIGTERM)
        self.assertEqual(complaints, [])

    def say(self, line, outcome=None):
        self.browser.paste("#line", line)
        self.browser.press("Enter")
        self.browser.wait_text("#outcome", outcome or f"{line} — done")

    def wait_row(self, *texts):
        self.browser.wait(
            "return [...document.querySelectorAll('.row')].some((row) => arguments[0].every((text) => row.innerText.includes(text)))",
            texts, otherwise=f"no row says {texts}",
        )

    def find(self, text):
        self.browser.paste("#find", text)
        self.wait_row(text)

    def explain(self, text):
        self.find(text)
        self.browser.run("[...document.querySelectorAll('.row')].find((row) => row.innerText.includes(arguments[0])).click()", text)
        self.browser.wait_for("#why .chain .chosen")

    def testTheAdapterComesUp(self):
        self.browser.wait_text("#adapter", "Bluetooth on")
        self.find("bt_adapter_enable()")

    def testARemoteThatIsCarriedToTheSetIsGreeted(self):
        self.browser.drag("#card-remote", "#card-set")
        self.browser.wait_for("#at-set #card-remote")
        self.explain("shop mode off")
        steps = self.browser.run("return [...document.querySelectorAll('#why .chain .jump')].map((each) => each.innerText)")
        self.assertEqual(steps[:2], ["remote connect", "the smart remote connects"])
        self.assertTrue(steps[2].startswith("bt_hid_smart_rc_connection_cb(true"), steps)
        self.assertTrue(steps[3].startswith("bt_hid_send_device_command("), steps)

    def testWhatWasAskedForOnTheWayIsTold(self):
        self.say("remote connect")
        self.say("remote grip")
        self.explain("GripSensorDetected")
        self.browser.click("#why .asked summary")
        asked = self.browser.run("return [...document.querySelectorAll('#why .asked-one')].map((each) => each.innerText)")
        self.assertEqual([text.partition("(")[0] for text in asked],
                         ["bt_hid_get_smart_rc_grip_sensor_state", "vconf_get_str", "vconf_get_int"])
        self.browser.click("#why .asked-one")
        self.browser.wait("return document.querySelector('#why .chain .chosen').innerText.includes('bt_hid_get_smart_rc_grip_sensor_state')")

    def testWhySomethingDidNotHappenIsAnsweredAndLeadsToIt(self):
        self.say("remote connect")
        self.say("remote battery adc 15")
        self.browser.click("#tab-whynot")
        self.assertEqual(self.browser.count(".outcomes button"), 12)
        self.browser.click("[data-outcome=low-battery-notice]")
        self.browser.wait_text(".answer", "this did not hold: the remote has a solar cell")
        self.browser.click(".answer .to-entry")
        self.browser.wait("return document.querySelector('#why .chain .chosen').innerText.includes('bt_hid_battery_status_received_cb')")

    def testAnEditedNameIsTheAdaptersName(self):
        self.say(f"set {NAME} Kitchen")
        self.browser.wait_text("#adapter", "“Kitchen”")
        self.browser.click("#tab-settings")
        self.browser.replace(f"[data-key='{NAME}'] input", "Living Room")
        self.browser.press("Enter")
        self.browser.wait_text("#adapter", "“Living Room”")
        self.find('bt_adapter_set_name("Living Room")')

    def testASiblingHangs(self):
        self.browser.click("#tab-siblings")
        self.browser.click("[data-sibling=connectionmanager] input[value=hang]")
        self.browser.wait_text("#outcome", "sibling connectionmanager hang — done")
        self.browser.wait("return document.querySelector('[data-sibling=connectionmanager]').dataset.behaviour.startsWith('hang')")
        self.assertTrue(self.browser.run("return document.querySelector('[data-sibling=connectionmanager] input[value=hang]').checked"))

    def testAFunctionFails(self):
        self.browser.click("#tab-failures")
        self.browser.replace("#fail-function", "bt_hid_send_device_command")
        self.browser.click("#fail-now")
        self.browser.wait_for("[data-key=bt_hid_send_device_command]")
        self.say("remote connect")
        self.find("bt_hid_send_device_command")
        self.browser.wait_for(".row.failed")

    def testEachChoiceOfAFailingFunctionIsTaken(self):
        self.browser.click("#tab-failures")
        self.assertGreater(self.browser.count("#panel-failures datalist:first-of-type option"), 100)
        self.browser.replace("#line", "fail bt_adapter_enable ALR")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("#line"), "fail bt_adapter_enable ALREADY_DONE ")

    def testTimePassesToTheNextTimer(self):
        self.say("remote connect")
        self.browser.wait_text("#clock-next", "timer")
        self.browser.click("[data-line='next timer']")
        self.browser.wait_text("#outcome", "next timer — done")
        self.find("fires")

    def testEachPowerStateShows(self):
        for state in ("picture-off", "standby", "suspend", "ambient"):
            self.browser.click(f".segments [data-line='power {state}']")
            self.browser.wait("return document.querySelector('#stage').dataset.power === arguments[0]", state)
            self.browser.wait_text("#outcome", "done")

    def testWhatEachThingOffersIsUnderstood(self):
        """No button says a line that the program does not know."""
        for thing in ("remote", "wheel", "speaker", "phone", "keyboard", "stand"):
            self.browser.click(f"#card-{thing}")
            lines = self.browser.run(
                "return [...document.querySelectorAll('#panel-device [data-line]')].map((each) => each.dataset.line)")
            for line in lines:
                self.say(line)
        self.browser.click("#card-set")
        lines = self.browser.run(
            "return [...document.querySelectorAll('#panel-device [data-line], #clock [data-line]')].map((each) => each.dataset.line)")
        for line in lines:
            if line != "bus restart":
                self.say(line)

    def testAMistakeIsAnsweredWithASuggestion(self):
        self.say("remot connect", "remote")
        self.assertIn("wrong", self.browser.attribute("#outcome", "class"))

    def testTheSetIsUnpluggedAndPluggedIn(self):
        self.browser.click("#plug")
        self.browser.wait_text("#link", "set unplugged")
        self.browser.wait_text("#plug", "Plug in")
        self.browser.click("#plug")
        self.browser.wait_text("#link", "service runs")

    def testWhatAnotherPageDoesShows(self):
        with WebSocket(self.port) as other:
            other.say("speaker connect")
            self.browser.wait_for("#at-set #card-speaker")
            self.browser.wait_text("#outcome", "speaker connect — done")

    def testAnotherOriginIsRefused(self):
        with self.assertRaises(Refused) as refused:
            WebSocket(self.port, origin="http://elsewhere.example")
        self.assertEqual(refused.exception.status, 403)

    def testAThousandLinesAtOnceAreCarriedOut(self):
        with WebSocket(self.port) as other:
            for number in range(1, 1001):
                other.say(f"light {number}")
            while other.until("done")[0]["line"] != "light 1000":
                pass
        self.say("wait 1s")


if __name__ == "__main__":
    unittest.main()
