"""The prompt on a terminal: completion, history, what comes beside what is typed, and how it ends."""

import os
import pty
import select
import signal
import subprocess
import time
import unittest

from Desktop import DEADLINE, TV, DeskTest


class Terminal:
    def __init__(self, test, **environment):
        self.test = test
        self.text = ""
        self.heard = 0
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen(
            [TV, "--prompt-only"], stdin=slave, stdout=slave, stderr=slave, start_new_session=True,
            env={**test.environment, "TERM": "xterm", **environment}, preexec_fn=self.take_terminal)
        os.close(slave)

    @staticmethod
    def take_terminal():
        import fcntl
        import termios
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    def types(self, text):
        os.write(self.master, text.encode())

    def read(self):
        try:
            data = os.read(self.master, 65536)
        except OSError:
            return False
        self.text += data.decode(errors="replace")
        return bool(data)

    def hears(self, text):
        end = time.monotonic() + DEADLINE
        while self.text.find(text, self.heard) < 0:
            self.test.assertLess(time.monotonic(), end, f"never said: {text}\n{self.text}")
            if select.select([self.master], [], [], 0.1)[0]:
                self.test.assertTrue(self.read(), f"ended before it said: {text}\n{self.text}")
        self.heard = self.text.find(text, self.heard) + len(text)

    def is_ready(self):
        """The start has been told, and the prompt waits."""
        self.hears("the service starts")
        self.types("wait 1s\r")
        self.types("get db/ready\r")
        self.hears("somebody reads db/ready: none")

    def ends(self):
        end = time.monotonic() + DEADLINE
        while self.process.poll() is None:
            self.test.assertLess(time.monotonic(), end, self.text)
            if select.select([self.master], [], [], 0.05)[0] and not self.read():
                break
        return self.process.wait(DEADLINE)

    def close(self):
        if self.master >= 0:
            os.close(self.master)
            self.master = -1
        if self.process.poll() is None:
            self.process.terminate()  # so that it clears away what it has made
        self.process.wait(DEADLINE)


class Prompt(DeskTest):
    def terminal(self, **environment):
        terminal = Terminal(self, **environment)
        self.addCleanup(terminal.close)
        return terminal

    def testALineIsCarriedOutAndShownInColours(self):
        terminal = self.terminal()
        terminal.is_ready()
        terminal.types("stand disconnect\r")
        terminal.types("get db/none\r")
        terminal.hears("somebody reads db/none: none")
        self.assertIn("\033[36m", terminal.text)
        terminal.types("quit\r")
        self.assertEqual(terminal.ends(), 0)

    def testColoursAreSparedThoseWhoAskForIt(self):
        terminal = self.terminal(NO_COLOR="1")
        terminal.is_ready()
        self.assertNotIn("\033[36m", terminal.text)
        terminal.types("quit\r")
        self.assertEqual(terminal.ends(), 0)

    def testATabCompletesWords(self):
        saved = self.path("saved.tv")
        terminal = self.terminal()
        terminal.is_ready()
        terminal.types("fail bt_adapter_ena\tALREADY_D\t 2\r")
        terminal.types(f"save {saved}\r")
        terminal.types("quit\r")
        self.assertEqual(terminal.ends(), 0)
        with open(saved, encoding="utf-8") as lines:
            self.assertIn("fail bt_adapter_enable ALREADY_DONE  2\n", lines.read())

    def testTheLastLineComesBackWithTheArrowUp(self):
        terminal = self.terminal()
        terminal.is_ready()
        terminal.types("get db/once\r")
        terminal.hears("somebody reads db/once: none")
        terminal.types("\033[A\r")
        terminal.hears("somebody reads db/once: none")

    def testTheEndOfTheInputEndsIt(self):
        terminal = self.terminal()
        terminal.is_ready()
        terminal.types("\x04")
        self.assertEqual(terminal.ends(), 0)

    def testCtrlCForgetsWhatWasTypedAndThenEnds(self):
        terminal = self.terminal()
        terminal.is_ready()
        terminal.types("half a line")
        terminal.hears("half a line")
        terminal.types("\x03")
        terminal.hears("\033[K")
        terminal.types("get db/afterwards\r")
        terminal.hears("somebody reads db/afterwards: none")
        terminal.types("\x03")
        self.assertEqual(terminal.ends(), -signal.SIGINT)

    def testATerminalThatGoesAwayEndsIt(self):
        terminal = self.terminal()
        terminal.is_ready()
        os.close(terminal.master)
        terminal.master = -1
        self.assertIn(terminal.process.wait(DEADLINE), (-signal.SIGHUP, 0, 3))

    def testAPasteOfAThousandLinesIsCarriedOut(self):
        terminal = self.terminal()
        terminal.is_ready()
        text = "".join(f"light {number}\r" for number in range(1000)) + "get db/afterwards\r"
        while text:
            ready = select.select([terminal.master], [terminal.master], [], DEADLINE)
            if ready[0]:
                terminal.read()
            if ready[1]:
                text = text[os.write(terminal.master, text[:256].encode()):]
        terminal.hears("somebody reads db/afterwards: none")


if __name__ == "__main__":
    unittest.main()
