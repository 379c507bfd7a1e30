"""The page in a real browser, with a pretended television behind it: what people do with it, and what they then see."""

import os
import select
import subprocess
import sys
import unittest

from browser import Browser
from fake_front import FakeFront
from pretend import Pretend

NAME = "db/menu/network/devicename/tv_name"
DRAWN = "return new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))"


class PageInABrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.front = FakeFront()
        self.addCleanup(self.front.end)
        self.television = self.enterContext(Pretend(self.front))
        self.browser.screen(1440, 900)
        self.opens()

    def tearDown(self):
        """The page has nothing to complain about; one that has lost its program may."""
        address = self.front.address
        self.browser.open("about:blank")
        complaints = [each for each in self.browser.complaints() if address.split("//")[1] in each]
        self.assertEqual(complaints, getattr(self, "expected_complaints", []))

    def opens(self):
        self.browser.open(self.front.address)
        self.browser.wait_for(".card[data-thing=remote]")
        self.browser.wait_text("#link", "service runs")

    def goes(self):
        """\return the port where it was"""
        self.television.__exit__()
        self.front.end()
        return self.front.port

    def comes_back(self, port):
        self.front = FakeFront(port)
        self.addCleanup(self.front.end)
        self.assertIsNone(self.front.error)
        self.television = self.enterContext(Pretend(self.front))

    def say(self, line):
        """Returns when the page shows all that came of it."""
        self.browser.run("document.querySelector('#outcome').textContent = ''")
        self.browser.paste("#line", line)
        self.browser.press("Enter")
        self.television.wait_line(line)
        self.browser.wait_text("#outcome", line)
        self.browser.run(DRAWN)

    def happens(self, line):
        """As if it had been said at the prompt. Returns when the page shows all that came of it."""
        self.browser.run("document.querySelector('#live').textContent = ''")
        self.television.carry_out(line)
        self.front.tell({"done": {"line": line, "error": None}})
        self.browser.wait_text("#live", f"{line}: ")
        self.browser.run(DRAWN)

    def wait_row(self, text):
        self.browser.wait("return [...document.querySelectorAll('.row')].some((row) => row.innerText.includes(arguments[0]))", text,
                          otherwise=f"no row says {text}")

    def explain(self, text):
        """With a click on the row that says so."""
        self.browser.wait("""
            const row = [...document.querySelectorAll('.row')].find((each) => each.innerText.includes(arguments[0]));
            row?.click();
            return Boolean(row);
        """, text, otherwise=f"no row says {text}")
        self.browser.wait_for("#why .chain")

    def in_zone(self, thing, zone):
        self.browser.wait("return document.querySelector(arguments[0]) !== null", f"#{zone} #card-{thing}",
                          otherwise=f"{thing} never came to {zone}")

    # Things one can pick up.

    def testAThingConnectsByItsButton(self):
        self.browser.click("#card-speaker")
        self.browser.click("#connect-speaker")
        self.television.wait_line("speaker connect")
        self.in_zone("speaker", "at-set")
        self.browser.wait_text("#connect-speaker", "Disconnect")

    def testAThingThatIsCarriedToTheSetConnects(self):
        self.in_zone("remote", "table")
        self.browser.drag("#card-remote", "#card-set")
        self.television.wait_line("remote connect")
        self.in_zone("remote", "at-set")

    def testAThingThatIsCarriedAwayDisconnects(self):
        self.happens("remote connect")
        self.in_zone("remote", "at-set")
        self.browser.drag("#card-remote", "#table")
        self.television.wait_line("remote disconnect")
        self.in_zone("remote", "table")

    def testAThingThatIsPutBackWhereItWasDoesNothing(self):
        self.browser.drag("#card-remote", "#table")
        self.browser.drag("#card-stand", "#card-set")
        self.say("wait 10s")
        self.assertEqual(self.television.lines, ["wait 10s"])

    def testThingsAreReachedAndConnectedByKeys(self):
        self.browser.run("document.querySelector('#card-set').focus()")
        for _ in range(8):
            if self.browser.run("return document.activeElement.id") == "card-phone":
                break
            self.browser.press("Right")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "card-phone")
        self.browser.press("c")
        self.television.wait_line("phone connect")
        self.in_zone("phone", "at-set")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "card-phone", "the focus stays on what moved")
        self.browser.press("c")
        self.television.wait_line("phone disconnect")

    def testALinkIsLostByAKey(self):
        self.happens("remote connect")
        self.in_zone("remote", "at-set")
        self.browser.run("document.querySelector('#card-remote').focus()")
        self.browser.press("l")
        self.television.wait_line("remote lose")

    def testABatteryIsDrainedByItsSlider(self):
        self.browser.click("#card-remote")
        self.browser.run("document.querySelector('[data-device=remote] input[type=range]').focus()")
        self.browser.press("Left")
        self.television.wait_line("remote battery adc 19")
        self.browser.wait_text("#card-remote", "away")
        self.happens("remote connect")
        self.browser.wait_text("#card-remote", "battery 19")

    def testARemoteIsGripped(self):
        self.browser.click("#card-remote")
        self.browser.click("[data-line='remote grip']")
        self.television.wait_line("remote grip 1")

    def testTheSetGoesThroughItsPowerStates(self):
        for state in ("standby", "suspend", "picture-off", "ambient", "normal"):
            self.browser.click(f".segments [data-line='power {state}']")
            self.television.wait_line(f"power {state}")
            self.browser.wait("return document.querySelector('#stage').dataset.power === arguments[0]", state)
            self.assertEqual(self.browser.attribute(f"[data-line='power {state}']", "aria-pressed"), "true")
        self.browser.click("#plug")
        self.television.wait_line("unplug")
        self.browser.wait_text("#plug", "Plug in")
        self.browser.wait_text("#link", "set unplugged")

    # Siblings, functions, settings, features, time.

    def testASiblingIsSwitched(self):
        self.browser.click("#tab-siblings")
        self.browser.wait_for("[data-sibling=connectionmanager]")
        self.browser.click("[data-sibling=connectionmanager] input[value=hang]")
        self.television.wait_line("sibling connectionmanager hang")
        self.browser.wait("return document.querySelector('[data-sibling=connectionmanager]').dataset.behaviour === 'hang'")
        self.browser.wait_text("#tab-siblings .badge", "1")

    def testAFunctionFailsAndRecovers(self):
        self.browser.click("#tab-failures")
        self.browser.replace("#fail-function", "bt_adapter_enable")
        self.browser.replace("#fail-code", "ALREADY_DONE")
        self.browser.replace("#fail-times", "3")
        self.browser.click("#fail-now")
        self.television.wait_line("fail bt_adapter_enable ALREADY_DONE 3")
        self.browser.wait_text("[data-key=bt_adapter_enable]", "3 ×")
        self.browser.click("[data-key=bt_adapter_enable] button")
        self.television.wait_line("recover bt_adapter_enable")
        self.browser.wait("return document.querySelector('[data-key=bt_adapter_enable]') === null")

    def testFunctionsThatFailAreSearched(self):
        self.browser.click("#tab-failures")
        for function in ("bt_adapter_enable", "bt_adapter_set_name"):
            self.happens(f"fail {function} ALREADY_DONE")
            self.browser.wait_for(f"[data-key={function}]")
        self.browser.type("#panel-failures .search", "set_name")
        self.browser.wait("return document.querySelector('[data-key=bt_adapter_enable]') === null")
        self.assertEqual(self.browser.count("[data-key=bt_adapter_set_name]"), 1)

    def testASettingIsEdited(self):
        self.browser.click("#tab-settings")
        cell = f"#panel-settings [data-key='{NAME}'] input"
        self.browser.replace(cell, 'Café "Küche"')
        self.browser.press("Enter")
        self.television.wait_line(f'set {NAME} "Café \\"Küche\\""')

    def testASettingThatIsANumberStaysOne(self):
        self.browser.click("#tab-settings")
        self.browser.replace("[data-key='db/vyrel/lastSoundRoute'] input", "0")
        self.browser.press("Enter")
        self.television.wait_line("set db/vyrel/lastSoundRoute 0")

    def testASettingIsPutBackByEscape(self):
        self.browser.click("#tab-settings")
        self.browser.replace("[data-key='db/vyrel/lastSoundRoute'] input", "7")
        self.browser.press("Escape", "Tab")
        self.say("wait 10s")
        self.assertEqual(self.television.lines, ["wait 10s"])
        self.assertEqual(self.browser.value("[data-key='db/vyrel/lastSoundRoute'] input"), "3")

    def testWhatIsTypedIsNotTakenAwayByWhatHappens(self):
        self.browser.click("#tab-settings")
        cell = f"[data-key='{NAME}'] input"
        self.browser.replace(cell, "Half a na")
        self.happens(f'set {NAME} "Other"')
        self.browser.wait_text("#adapter", "Other")
        self.assertEqual(self.browser.value(cell), "Half a na")

    def testSettingsAreSearched(self):
        self.browser.click("#tab-settings")
        self.browser.type("#panel-settings .search", "wizard")
        self.browser.wait("return document.querySelectorAll('#panel-settings tbody tr').length === 1")
        self.browser.wait_text("#panel-settings .count", "1 of 6")

    def testTimePasses(self):
        self.browser.wait_text("#clock-next", "timer 4 in 10 s")
        self.browser.click("[data-line='wait 1h']")
        self.television.wait_line("wait 1h")
        self.browser.wait_text("#clock-time", "01:00:00.000")
        self.browser.click("[data-line='wait 1min']")
        self.browser.wait_text("#clock-time", "01:01:00.000")

    def testTimePassesToTheNextTimerByAKey(self):
        self.browser.run("document.body.focus()")
        self.browser.press("t")
        self.television.wait_line("next timer")
        self.browser.wait_text("#clock-time", "00:00:10.000")
        self.browser.wait_text("#clock-next", "timer 5 in 1 h")
        self.wait_row("timer 4 fires")

    # The command line.

    def testALineIsSaidAndItsEndTold(self):
        self.say("remote connect")
        self.browser.wait_text("#outcome", "remote connect — done")
        self.browser.wait_text("#live", "remote connect: ")

    def testALineThatNobodyUnderstandsIsAnsweredWithASuggestion(self):
        self.say("remot conect")
        self.browser.wait_text("#outcome", "did you mean “remote connect”?")
        self.assertIn("wrong", self.browser.attribute("#outcome", "class"))

    def testALineIsCompleted(self):
        self.browser.type("#line", "rem")
        self.browser.wait_for("#completions li")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("#line"), "remote ")
        self.browser.type("#line", "b")
        self.browser.press("Tab")
        self.browser.type("#line", "a")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("#line"), "remote battery adc ")
        self.browser.wait_text("#line-hint", "LEVEL")

    def testArgumentsAreCompleted(self):
        for begun, whole in (
            ("fail bt_adapter_e", "fail bt_adapter_enable "), ("set memory/", "set memory/wizard/wizard_mode "),
            ("sibling hfp", "sibling hfpAgent "), ("power off r", "power off reset"),
        ):
            self.browser.replace("#line", begun)
            self.browser.wait_for("#completions li")
            self.browser.press("Tab")
            self.assertEqual(self.browser.value("#line"), whole)

    def testALineIsFoundInTheHistory(self):
        self.say("remote connect")
        self.say("wait 1h")
        self.browser.press("Up", "Up")
        self.assertEqual(self.browser.value("#line"), "remote connect")
        self.browser.press("Down", "Enter")
        self.television.wait_lines(["remote connect", "wait 1h", "wait 1h"])

    # What happened.

    def testTheLanesShowWhatTheServiceDoes(self):
        self.say("remote connect")
        self.wait_row("shop mode off")
        self.wait_row("bt_hid_send_device_command")
        self.assertEqual(self.browser.run("return [...document.querySelectorAll('.lane-head > span')].map((each) => each.innerText).join()"),
                         "set,service,connection manager,connection shift,touch-IR monitor,update manager,hands-free agent,"
                         "key router,settings,log,timers")
        self.assertGreater(self.browser.count(".arrow"), 5)
        self.assertEqual(*self.browser.run("return ['.dot', '.row'].map((each) => document.querySelectorAll(each).length)"))

    def testWhatIsSaidAtThePromptShows(self):
        self.happens("power standby")
        self.wait_row("power standby")
        self.wait_row("let nobody find you")
        self.browser.wait("return document.querySelector('#stage').dataset.power === 'standby'")

    def testAClickShowsTheCausesAndLightsUpThePath(self):
        self.happens("remote connect")
        self.explain("shop mode off")
        steps = self.browser.run("return [...document.querySelectorAll('.chain .step-words')].map((each) => each.innerText)")
        self.assertEqual(steps, [
            "You gave the line", "So the set told the service: the remote is connected",
            "While the service handled that, the service told the remote: shop mode off",
        ])
        self.browser.run(DRAWN)
        self.assertEqual(self.browser.count(".row.lit"), 3)
        self.assertEqual(self.browser.count(".arrow.lit"), 2)
        self.assertGreater(self.browser.count(".row.dark"), 3)
        self.browser.wait_text("#why", "0x11")

    def testWhatCameOfItShowsTooAndIsGoneTo(self):
        self.happens("remote connect")
        self.explain("the remote is connected")
        self.browser.wait_text("#why", "What came of it: ")
        self.browser.click("#why .effects li:nth-child(3) .jump")
        self.browser.wait_text("#why .chain .chosen", "smartrc_adc_flag")
        self.browser.wait_text(".row[aria-selected=true]", "smartrc_adc_flag")

    def testWhatIsLeftOutIsShownWhenOneGoesThere(self):
        self.happens("remote connect")
        self.explain("the remote is connected")
        self.browser.run("[...document.querySelectorAll('#why .jump')].find((each) => each.innerText.includes('IN >>')).click()")
        self.browser.wait_text(".row[aria-selected=true]", "IN >>")
        self.assertTrue(self.browser.run("return document.querySelector('#everything').checked"))

    def testCausesAreFollowedByKeys(self):
        self.happens("remote connect")
        self.wait_row("shop mode off")
        self.browser.replace("#find", "shop mode off")
        self.browser.wait("return document.querySelectorAll('.row').length === 1")
        self.browser.press("Enter")
        self.browser.run("document.querySelector('#lanes-list').focus()")
        self.browser.press("Enter")
        self.browser.wait_text("#why .chain .chosen", "shop mode off")
        self.browser.press("Left")
        self.browser.wait_text("#why .chain .chosen", "the remote is connected")
        self.browser.press("Left")
        self.browser.wait_text("#why .chain .chosen", "You gave the line")
        self.browser.press("Right")
        self.browser.wait_text("#why .chain .chosen", "the remote connects")
        self.browser.press("Down")
        self.browser.wait_text("#why .chain .chosen", "the remote is connected")
        active = self.browser.attribute("#lanes-list", "aria-activedescendant")
        self.assertIn("the remote is connected", self.browser.text(f"#{active}"))
        self.browser.press("Escape")
        self.browser.wait("return document.querySelector('#why').hidden")
        self.browser.wait("return document.querySelectorAll('.row.lit, .row.dark').length === 0")

    def testACauseThatIsHiddenIsReachedOverIt(self):
        """The arrow then comes from the nearest cause that is shown."""
        self.happens("remote connect")
        self.browser.replace("#find", "smartrc_adc_flag")
        self.browser.wait("return document.querySelectorAll('.row').length === 2")
        self.assertEqual((self.browser.count(".arrow"), self.browser.count(".arrow.skips")), (1, 0))
        self.browser.press("Escape")
        self.wait_row("setting db/vyrel/smartrc_adc_flag = 0")
        self.browser.click(".choice-of-lanes summary")
        self.browser.click(".lane-choices input[value=service]")
        self.browser.wait("return [...document.querySelectorAll('.row')].every((row) => !row.classList.contains('lane-1'))")
        self.browser.wait("return document.querySelectorAll('.arrow.skips').length === 1")
        self.assertNotIn("service", self.browser.text(".lane-head"))

    def testEntriesAreFoundAndCounted(self):
        self.happens("remote connect")
        self.happens("speaker connect")
        self.browser.type("#find", "25_remocon")
        self.browser.wait("return document.querySelectorAll('.row').length === 1")
        self.assertEqual(self.browser.text("#found"), f"1 of {self.television.number} entries")
        self.browser.press("Escape")
        self.browser.wait("return document.querySelectorAll('.row').length > 3")

    def testWhatIsExplainedStaysInSightWhenTheSearchEnds(self):
        self.entries(300)
        self.browser.type("#find", "call_150()")
        self.browser.wait("return document.querySelectorAll('.row').length === 1")
        self.explain("call_150()")
        self.browser.run("document.querySelector('#find').focus()")
        self.browser.press("Escape")
        self.browser.wait("""
            const row = document.querySelector('.row[aria-selected=true]')?.getBoundingClientRect();
            const list = document.querySelector('#lanes-list').getBoundingClientRect();
            return document.querySelectorAll('.row').length > 3 && row && row.top >= list.top && row.bottom <= list.bottom;
        """, otherwise="the row that is explained is out of sight")

    def testQuestionsAndTheLogAreShownOnDemand(self):
        self.happens("remote connect")
        self.wait_row("shop mode off")
        for text in ("get_bonded_device_info", "grip sensor is asked"):
            self.browser.run("document.querySelector('#everything').checked && document.querySelector('#everything').click()")
            self.browser.replace("#find", text)
            self.browser.wait_text("#nothing", "Nothing of what happened is like this.")
            self.browser.click("#everything")
            self.browser.wait("return document.querySelectorAll('.row').length === 1")

    def entries(self, count, first=1):
        self.front.tell(*({"id": number, "cause": number - 1 if number % 10 else 0, "at": number * 1000,
                               "lane": "service" if number % 2 else "log", "kind": "call", "words": f"do {number}", "subject": "adapter",
                          "text": f"call_{number}() = 0", "result": "0"}
                              for number in range(first, first + count)))

    def testTwentyThousandEntriesScroll(self):
        self.entries(20000)
        self.browser.wait_text("#found", "20,000 entries")
        self.wait_row("call_20000()")
        self.assertLess(self.browser.count(".row"), 60)
        self.browser.run("document.querySelector('#lanes-list').scrollTop = 10000 * 27")
        self.wait_row("call_10003()")
        self.assertLess(self.browser.count(".row"), 60)
        took = self.browser.run("""
            const list = document.querySelector('#lanes-list');
            return new Promise((done) => {
                const begin = performance.now();
                let frames = 0;
                const step = () => {
                    list.scrollTop += 300;
                    ++frames < 60 ? requestAnimationFrame(step) : done(performance.now() - begin);
                };
                requestAnimationFrame(step);
            });
        """)
        self.assertLess(took, 30000, "sixty pictures of a list that scrolls")

    def testTheOldestEntriesGoAndTheirEffectsSayIt(self):
        self.entries(21001)
        self.wait_row("call_21001()")
        self.browser.run("document.querySelector('#lanes-list').scrollTop = 0")
        first = int(self.browser.wait("""
            const first = document.querySelector('.row').dataset.id;
            return first > 400 && first < 2000 ? first : null;
        """, otherwise="the oldest entries are still there, or not shown"))
        self.assertNotEqual(first % 10, 0, "the first of a chain has no cause that could be gone")
        self.explain(f"call_{first}()")
        self.browser.wait_text("#why", "What led to this is older than what is kept here.")

    def testItFollowsUntilOneScrollsUp(self):
        self.entries(100)
        self.wait_row("call_100()")
        self.browser.wait_text("#follow", "Following")
        self.browser.run("document.querySelector('#lanes-list').scrollTop = 300")
        self.browser.wait_text("#follow", "Follow")
        self.browser.wait("return document.querySelector('#follow').getAttribute('aria-pressed') === 'false'")
        self.entries(50, 101)
        self.browser.wait_text("#follow", "Follow (50 new)")
        self.assertEqual(self.browser.run("return document.querySelector('#lanes-list').scrollTop"), 300)
        self.browser.click("#follow")
        self.wait_row("call_150()")

    def testItPausesByAKey(self):
        self.entries(100)
        self.wait_row("call_100()")
        self.browser.press("f")
        self.entries(50, 101)
        self.browser.wait_text("#follow", "Follow (50 new)")

    def testTextFromOutsideStaysText(self):
        self.happens("remote connect")
        evil = "<img src=x onerror=document.title='gone'>"
        self.television.entry("set", "note", evil, words=f"{evil} in words", subject="<b>set</b>")
        self.television.state["remote"]["address"] = evil
        self.television.tell_state()
        self.wait_row(evil)
        self.explain(evil)
        self.browser.wait_text("#panel-device", evil)
        self.assertEqual(self.browser.count("main img"), 0)
        self.assertEqual(self.browser.run("return document.title"), "Television on the desk")

    # More than one page, and a program that goes.

    def testTwoPagesSeeTheSame(self):
        first = self.browser.new_page()
        second = self.browser._ask("GET", self.browser.session + "/window")
        self.opens()
        self.browser.run("document.querySelector('#card-keyboard').click(); document.querySelector('#connect-keyboard').click()")
        self.television.wait_line("keyboard connect")
        self.in_zone("keyboard", "at-set")
        self.browser.go(first)
        self.in_zone("keyboard", "at-set")
        self.browser.go(second)
        self.browser._ask("DELETE", self.browser.session + "/window")
        self.browser.go(first)

    def testNothingIsSaidOfTheServiceBeforeItIsKnown(self):
        self.goes()
        self.front = FakeFront()
        self.addCleanup(self.front.end)
        self.browser.open(self.front.address)
        self.browser.wait("return !document.querySelector('#line').disabled", otherwise="the program was never reached")
        self.assertEqual(self.browser.text("#link"), "")
        self.television = self.enterContext(Pretend(self.front))
        self.browser.wait_text("#link", "service runs")

    def testAPageThatLosesItsProgramSaysSoAndComesBack(self):
        self.happens("remote connect")
        self.wait_row("shop mode off")
        port = self.goes()
        self.browser.wait_text("#lost", "The connection to vyrel-tv is lost")
        self.browser.wait_text("#lost", "What you see is as it was at 00:00:00.012")
        self.assertTrue(self.browser.run("return document.querySelector('#plug').disabled && document.querySelector('#line').disabled"))
        self.explain("shop mode off")
        self.comes_back(port)
        self.browser.wait("""
            const lost = document.querySelector('#lost');
            lost.querySelector('button')?.click();
            return lost.hidden;
        """)
        self.browser.wait_text("#found", "0 entries")
        self.assertFalse(self.browser.run("return document.querySelector('#plug').disabled"))
        self.browser.complaints()  # of a connection that was refused

    def testWhoIsImpatientConnectsOnce(self):
        port = self.goes()
        self.browser.wait_for("#lost button")
        self.comes_back(port)
        begun = self.browser.run("""
            let begun = 0;
            window.WebSocket = class extends WebSocket {
                constructor(...given) {
                    super(...given);
                    ++begun;
                }
            };
            for (let clicks = 0; clicks < 3; ++clicks) {
                document.querySelector('#lost button').click();
            }
            return begun;
        """)
        self.assertLessEqual(begun, 1)
        self.browser.wait("return document.querySelector('#lost').hidden")
        self.browser.wait_text("#link", "service runs")
        self.browser.complaints()  # of a connection that was refused

    # For everybody.

    def testHelpIsOpenedAndClosedByKeys(self):
        self.browser.press("?")
        self.browser.wait("return document.querySelector('#help').open")
        self.browser.wait_text("#help", "why it happened, and what came of it")
        self.assertEqual(self.browser.run("return document.activeElement.innerText"), "Close")
        self.browser.press("Escape")
        self.browser.wait("return !document.querySelector('#help').open")

    def testAllThatActsIsReachedByTheTabKey(self):
        seen = []
        self.browser.run("document.activeElement.blur()")
        for _ in range(60):
            self.browser.press("Tab")
            here = self.browser.run("""
                const e = document.activeElement, s = getComputedStyle(e);
                return [e.id || e.className || e.tagName, e.matches(':focus-visible'), s.outlineStyle !== 'none'];
            """)
            if here[0] == "BODY" or (seen and here[0] == seen[0]):
                break
            self.assertTrue(here[1], here)
            seen.append(here[0])
        for part in ("help-open", "plug", "line", "find", "follow", "lanes-list"):
            self.assertIn(part, seen)
        self.assertTrue(any(each.startswith("card-") for each in seen), seen)
        self.assertTrue(any(each.startswith("tab-") for each in seen), seen)
        order = [seen.index(part) for part in ("help-open", "plug", "line", "find", "lanes-list")]
        self.assertEqual(order, sorted(order))

    def testWhatHasAFunctionHasAName(self):
        self.happens("remote connect")
        for tab in ("device", "siblings", "failures", "settings", "features", "whynot"):
            self.browser.click(f"#tab-{tab}")
            nameless = self.browser.run("""
                return [...document.querySelectorAll('button, input, [role=listbox], [role=tablist], [role=group]')].filter((element) =>
                    element.checkVisibility() && !(element.getAttribute('aria-label') || element.innerText?.trim() || element.labels?.length ||
                        element.getAttribute('aria-labelledby'))).map((element) => element.outerHTML.slice(0, 120));
            """)
            self.assertEqual(nameless, [])

    def testANarrowScreenIsNotScrolledSideways(self):
        for width in (390, 320):
            self.browser.screen(width, 844)
            self.opens()
            self.happens("remote connect")
            self.wait_row("shop mode off")
            for tab in ("device", "siblings", "failures", "settings", "features", "whynot"):
                self.browser.run("document.querySelector(arguments[0]).click()", f"#tab-{tab}")
                wide = self.browser.run("""
                    const edge = document.documentElement.clientWidth;
                    return [...document.querySelectorAll('main *, header *')].filter((element) => {
                        const box = element.getBoundingClientRect();
                        const inScroller = element.closest('.tabs, .table-scroll, .lane-choices, .scroll, svg');
                        return box.width > 0 && box.right > edge + 1 && !inScroller;
                    }).map((element) => element.className || element.tagName);
                """)
                self.assertEqual(wide, [], (width, tab))
            self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), width)

    def testOnANarrowScreenTheReasonsLieOverTheLanes(self):
        self.browser.screen(390, 844)
        self.opens()
        self.happens("remote connect")
        self.wait_row("shop mode off")
        self.browser.run("document.querySelector('#lanes').scrollIntoView()")
        self.explain("shop mode off")
        self.browser.run(DRAWN)
        self.browser.wait("""
            const box = (selector) => document.querySelector(selector).getBoundingClientRect();
            return box('#why').width === 390 && box('.row[aria-selected=true]').bottom <= box('#why').top;
        """, otherwise="what is explained lies under its reasons")

    def testAWideScreenShowsAllAtOnce(self):
        for line in ("remote connect", "sibling hfpAgent hang", "fail bt_adapter_enable ALREADY_DONE"):
            self.happens(line)
        self.assertEqual(self.browser.run("return [document.documentElement.scrollWidth, document.documentElement.scrollHeight]"), [1440, 900])
        self.assertGreater(self.browser.run("return document.querySelector('#lanes-list').clientHeight"), 240)
        self.assertTrue(self.browser.run("const tabs = document.querySelector('.tabs'); return tabs.scrollWidth <= tabs.clientWidth"),
                        "a tab, or the number on it, is out of sight")

    def testBothColourSchemesCanBeRead(self):
        self.happens("remote connect")
        self.wait_row("shop mode off")
        for dark in (False, True):
            self.browser.screen(1440, 900, dark)
            poor = self.browser.run("""
                const lum = (c) => { const [r, g, b] = c.map((v) => { v /= 255; return v <= .03928 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4; });
                    return .2126 * r + .7152 * g + .0722 * b; };
                const parse = (text) => (text.match(/[\\d.]+/g) ?? []).map(Number);
                const ground = (element) => { for (let at = element; at; at = at.parentElement) {
                    const c = parse(getComputedStyle(at).backgroundColor); if (c.length === 3 || c[3] === 1) { return c.slice(0, 3); } } return [255, 255, 255]; };
                return [...document.querySelectorAll('h1, h2, h3, p, button, label, .row-time, .row-words, .row-text, .card-status, .lane-head > span')].filter((element) => {
                    if (!element.checkVisibility() || !element.innerText?.trim() || element.closest('.set')) { return false; }
                    const a = lum(parse(getComputedStyle(element).color).slice(0, 3)), b = lum(ground(element));
                    return (Math.max(a, b) + .05) / (Math.min(a, b) + .05) < 4.5;
                }).map((element) => [element.innerText, getComputedStyle(element).color, String(ground(element))]);
            """)
            self.assertEqual(poor, [], "dark" if dark else "light")


class Keeper(unittest.TestCase):
    """Nothing is left of a browser, whatever ends the test."""

    def kept(self):
        here = os.path.dirname(os.path.abspath(__file__))
        script = "import sys; sys.path.insert(0, sys.argv[1]); from browser import Browser; b = Browser(); " \
                 "print(b.folder, b.keeper.pid, flush=True); sys.stdin.read()"
        test = subprocess.Popen([sys.executable, "-B", "-c", script, here], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(test.stdout.close)
        self.addCleanup(test.stdin.close)
        self.addCleanup(test.wait)
        self.addCleanup(test.kill)
        folder, keeper = test.stdout.readline().decode().split()
        return test, folder, int(keeper)

    def testABrowserWhoseTestIsKilledLeavesNothing(self):
        test, folder, keeper = self.kept()
        with open(f"/proc/{keeper}/task/{keeper}/children", encoding="ascii") as children:
            self.assertTrue(children.read().split())
        end = os.pidfd_open(keeper)
        test.kill()
        test.wait()
        self.assertTrue(select.select([end], [], [], 60)[0], "the keeper lives on")
        os.close(end)
        self.assertFalse(os.path.exists(folder))
        left = [pid for pid in os.listdir("/proc") if pid.isdigit() and folder in command_of(pid)]
        self.assertEqual(left, [])


def command_of(pid):
    try:
        with open(f"/proc/{pid}/cmdline", encoding="utf-8", errors="replace") as command:
            return command.read()
    except OSError:
        return ""


if __name__ == "__main__":
    unittest.main()
