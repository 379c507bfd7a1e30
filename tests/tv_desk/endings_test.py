"""How the television ends when it is stopped, or cannot be told: with a clear line and status, and nothing left."""

import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from Desktop import processes_in

TV = os.environ["TV"]
TV_WITHOUT_PROCESSES = os.environ["TV_WITHOUT_PROCESSES"]
CHECKOUT = os.environ["CHECKOUT"]
EVENING = [TV, "run", os.path.join(CHECKOUT, "scenarios", "an-evening.tv")]
START = [TV, "run", "--stay", os.path.join(CHECKOUT, "scenarios", "a-start.tv")]
DEADLINE = 30
STOPPED = "vyrel-tv: stopped by {}; nothing is left of it\n"


class Endings(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="endings-")
        self.temporary = os.path.join(self.folder, "tmp")
        os.mkdir(self.temporary)
        self.output = os.path.join(self.folder, "output")
        self.tv = None

    def tearDown(self):
        if self.tv is not None and self.tv.poll() is None:
            os.killpg(self.tv.pid, signal.SIGKILL)
            self.tv.wait()
        shutil.rmtree(self.folder)

    def begin(self, *command, stdout=None, before=None, **environment):
        with open(self.output, "w", encoding="utf-8") as output:
            self.tv = subprocess.Popen(
                command,
                stdin=subprocess.DEVNULL,
                stdout=stdout or output,
                stderr=output,
                start_new_session=True,
                preexec_fn=before,
                env={**os.environ, "TMPDIR": self.temporary, **environment},
            )

    def text(self):
        with open(self.output, encoding="utf-8") as output:
            return output.read()

    def wait_for(self, text):
        self.wait_until(lambda: text in self.text(), f"never said: {text}")

    def wait_until(self, condition, otherwise):
        end = time.monotonic() + DEADLINE
        while not condition():
            self.assertLess(time.monotonic(), end, f"{otherwise}\n{self.text()}")
            time.sleep(0.01)

    def ends(self, status, line=""):
        """Also waits for the processes that the kernel ends with their parent."""
        self.assertEqual(self.tv.wait(DEADLINE), status, self.text())
        self.assertIn(line, self.text())
        self.assertNotIn("terminate called", self.text())
        self.assertEqual(os.listdir(self.temporary), [])
        self.wait_until(lambda: not self.processes(), f"still there: {self.processes()}")

    @staticmethod
    def name(process):
        with open(f"/proc/{process}/comm", encoding="utf-8") as name:
            return name.read().strip()

    def pending_signals(self):
        """Those of the whole process, a bit for each."""
        with open(f"/proc/{self.tv.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1], 16) for line in status if line.startswith("ShdPnd:"))

    def has_begun(self):
        """From here on there is something to clear away."""
        return self.tv.poll() is not None or os.listdir(self.temporary)

    def processes(self):
        return processes_in(self.temporary)

    def stays(self):
        self.begin(*START)
        self.wait_for("Ctrl-C ends it")
        self.assertNotEqual(os.listdir(self.temporary), [])
        self.assertNotEqual(self.processes(), [])

    def testOneThatStaysHearsOtherPrograms(self):
        self.stays()
        address = re.search("DBUS_SYSTEM_BUS_ADDRESS='(.*)'", self.text()).group(1)
        key = ["--object-path", "/com/tarnwick/dbus/ping", "--signal", "keyrouter.dbus.Signal.KEY_COMBINATION", "51"]
        subprocess.run(["gdbus", "emit", "--system", *key], check=True, timeout=DEADLINE,
                       env={**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": address})
        self.wait_for("switch off")
        os.killpg(self.tv.pid, signal.SIGINT)
        self.ends(0, "steps: ")

    def testCtrlCEndsOneThatStaysInOrder(self):
        self.stays()
        os.killpg(self.tv.pid, signal.SIGINT)
        self.ends(0, "steps: ")

    def testSigtermToTheOneProcessThatIsKnownEndsOneThatStaysInOrder(self):
        self.stays()
        self.tv.send_signal(signal.SIGTERM)
        self.ends(0, "steps: ")

    def testATerminalThatGoesAwayEndsOneThatStaysInOrder(self):
        self.stays()
        os.killpg(self.tv.pid, signal.SIGHUP)
        self.ends(0, "steps: ")

    def testASecondSignalEndsOneThatHangs(self):
        self.stays()
        service = [process for process in self.processes() if self.name(process) == "vyrel-tv-set"]
        os.kill(int(service[0]), signal.SIGSTOP)
        self.tv.send_signal(signal.SIGTERM)
        self.wait_until(lambda: not self.pending_signals(), "does not take the signal in")
        self.tv.send_signal(signal.SIGINT)
        self.ends(-signal.SIGINT, STOPPED.format("SIGINT"))

    def testCtrlCAtAnyMomentEndsTheEvening(self):
        for delay in (0, 0.005, 0.01, 0.02, 0.05, 0.1):
            with self.subTest(delay=delay):
                self.begin(*EVENING)
                self.wait_until(self.has_begun, "never began")
                time.sleep(delay)
                os.killpg(self.tv.pid, signal.SIGINT)
                wasOver = self.tv.wait(DEADLINE) == 0
                self.ends(0 if wasOver else -signal.SIGINT, "" if wasOver else STOPPED.format("SIGINT"))

    def testSigtermAndATerminalThatGoesAwayEndTheEvening(self):
        for stop in (signal.SIGTERM, signal.SIGHUP):
            with self.subTest(stop=stop):
                unread, full = os.pipe()  # the evening waits for somebody who reads
                fcntl.fcntl(full, fcntl.F_SETPIPE_SZ, 4096)
                self.begin(*EVENING, stdout=full)
                self.wait_until(self.has_begun, "never began")
                self.tv.send_signal(stop)
                self.ends(-stop, STOPPED.format(stop.name))
                os.close(unread)
                os.close(full)

    def testWithoutAMessageBusItSaysSo(self):
        self.begin(*EVENING, PATH="/nonexistent")
        self.ends(3, "vyrel-tv: dbus-daemon did not start; is it installed?\n")

    def testWhatFailsBecauseOfCtrlCIsNoFailure(self):
        def is_interrupted_already():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT])
            os.kill(os.getpid(), signal.SIGINT)

        self.begin(*EVENING, before=is_interrupted_already, PATH="/nonexistent")  # the bus daemon may get it, too
        self.ends(-signal.SIGINT, STOPPED.format("SIGINT"))

    def testWithoutAPlaceForItsFoldersItSaysSo(self):
        self.begin(*EVENING, TMPDIR="/nonexistent")
        self.ends(3, "vyrel-tv: no temporary folder in /nonexistent: No such file or directory\n")

    def testWithoutAFurtherProcessItSaysSo(self):
        for forks in range(2):
            with self.subTest(forks=forks):
                self.begin(TV_WITHOUT_PROCESSES, *EVENING[1:], FORKS_LEFT=str(forks))
                self.ends(3, "vyrel-tv: no process can be started: Resource temporarily unavailable\n")

    def testAFullDiskForWhatItTellsIsAFailure(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run(
                EVENING, stdout=full, stderr=subprocess.PIPE, text=True, timeout=DEADLINE, check=False
            )
        self.assertEqual(result.returncode, 3)
        self.assertIn("vyrel-tv: cannot write what happens", result.stderr)

    def testAReaderThatHasSeenEnoughIsAFailureToo(self):
        self.begin("bash", "-c", '"$@" | head -n 3; exit ${PIPESTATUS[0]}', "bash", *EVENING)
        self.ends(3, "vyrel-tv: cannot write what happens\n")

    def testACheckoutThatCannotBeWrittenIsToldOf(self):
        checkout = os.path.join(self.folder, "checkout")
        os.makedirs(os.path.join(checkout, "tools"))
        shutil.copy("/bin/true", os.path.join(checkout, "tools", "setup.sh"))
        with open(os.path.join(checkout, "build"), "w", encoding="ascii"):
            pass  # a file in the way: root may write everywhere
        for command, status in (("run", 3), ("tv", 3), ("test", 3), ("bench", 2)):
            with self.subTest(command):
                shutil.copy(os.path.join(CHECKOUT, command), checkout)
                self.begin(os.path.join(checkout, command))
                self.ends(status, f"{command}: cannot build in {checkout}/build: copy the checkout to where you may")
                self.assertEqual(len(self.text().splitlines()), 1)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
