"""How the demonstration ends when it is stopped, or cannot be told: with a clear line and status, and nothing left."""

import fcntl
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

DEMO = os.environ["DEMO"]
DEMO_WITHOUT_PROCESSES = os.environ["DEMO_WITHOUT_PROCESSES"]
CHECKOUT = os.environ["CHECKOUT"]
DEADLINE = 30
STOPPED = "vyrel-demo: stopped by {}; nothing is left of it\n"


class Endings(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="endings-")
        self.temporary = os.path.join(self.folder, "tmp")
        os.mkdir(self.temporary)
        self.output = os.path.join(self.folder, "output")
        self.demo = None

    def tearDown(self):
        if self.demo is not None and self.demo.poll() is None:
            os.killpg(self.demo.pid, signal.SIGKILL)
            self.demo.wait()
        shutil.rmtree(self.folder)

    def begin(self, *command, stdout=None, before=None, **environment):
        with open(self.output, "w", encoding="utf-8") as output:
            self.demo = subprocess.Popen(
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
        self.assertEqual(self.demo.wait(DEADLINE), status, self.text())
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
        with open(f"/proc/{self.demo.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1], 16) for line in status if line.startswith("ShdPnd:"))

    def has_begun(self):
        """From here on there is something to clear away."""
        return self.demo.poll() is not None or os.listdir(self.temporary)

    def processes(self):
        """Those that were started with this test's folder for temporary files."""
        mark = f"TMPDIR={self.temporary}\0".encode()
        found = []
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{process}/environ", "rb") as environment:
                    if mark in environment.read():
                        found.append(process)
            except OSError:
                pass  # it has gone meanwhile, or is not ours
        return found

    def stays(self):
        self.begin(DEMO, "--stay")
        self.wait_for("Ctrl-C ends it")
        self.assertNotEqual(os.listdir(self.temporary), [])
        self.assertNotEqual(self.processes(), [])

    def testCtrlCEndsOneThatStaysInOrder(self):
        self.stays()
        os.killpg(self.demo.pid, signal.SIGINT)
        self.ends(0, "steps: ")

    def testSigtermToTheOneProcessThatIsKnownEndsOneThatStaysInOrder(self):
        self.stays()
        self.demo.send_signal(signal.SIGTERM)
        self.ends(0, "steps: ")

    def testATerminalThatGoesAwayEndsOneThatStaysInOrder(self):
        self.stays()
        os.killpg(self.demo.pid, signal.SIGHUP)
        self.ends(0, "steps: ")

    def testASecondSignalEndsOneThatHangs(self):
        self.stays()
        service = [process for process in self.processes() if self.name(process) == "vyrel-demo"]
        service.remove(str(self.demo.pid))
        os.kill(int(service[0]), signal.SIGSTOP)
        self.demo.send_signal(signal.SIGTERM)
        self.wait_until(lambda: not self.pending_signals(), "does not take the signal in")
        self.demo.send_signal(signal.SIGINT)
        self.ends(-signal.SIGINT, STOPPED.format("SIGINT"))

    def testCtrlCAtAnyMomentEndsTheEvening(self):
        for delay in (0, 0.005, 0.01, 0.02, 0.05, 0.1):
            with self.subTest(delay=delay):
                self.begin(DEMO)
                self.wait_until(self.has_begun, "never began")
                time.sleep(delay)
                os.killpg(self.demo.pid, signal.SIGINT)
                wasOver = self.demo.wait(DEADLINE) == 0
                self.ends(0 if wasOver else -signal.SIGINT, "" if wasOver else STOPPED.format("SIGINT"))

    def testSigtermAndATerminalThatGoesAwayEndTheEvening(self):
        for stop in (signal.SIGTERM, signal.SIGHUP):
            with self.subTest(stop=stop):
                unread, full = os.pipe()  # the evening waits for somebody who reads
                fcntl.fcntl(full, fcntl.F_SETPIPE_SZ, 4096)
                self.begin(DEMO, stdout=full)
                self.wait_until(self.has_begun, "never began")
                self.demo.send_signal(stop)
                self.ends(-stop, STOPPED.format(stop.name))
                os.close(unread)
                os.close(full)

    def testWithoutAMessageBusItSaysSo(self):
        self.begin(DEMO, PATH="/nonexistent")
        self.ends(3, "vyrel-demo: dbus-daemon did not start; is it installed?\n")

    def testWhatFailsBecauseOfCtrlCIsNoFailure(self):
        def is_interrupted_already():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT])
            os.kill(os.getpid(), signal.SIGINT)

        self.begin(DEMO, before=is_interrupted_already, PATH="/nonexistent")  # the bus daemon may get it, too
        self.ends(-signal.SIGINT, STOPPED.format("SIGINT"))

    def testWithoutAPlaceForItsFoldersItSaysSo(self):
        self.begin(DEMO, TMPDIR="/nonexistent")
        self.ends(3, "vyrel-demo: no temporary folder in /nonexistent: No such file or directory\n")

    def testWithoutAFurtherProcessItSaysSo(self):
        for forks in range(3):
            with self.subTest(forks=forks):
                self.begin(DEMO_WITHOUT_PROCESSES, FORKS_LEFT=str(forks))
                self.ends(3, "vyrel-demo: no process can be started: Resource temporarily unavailable\n")

    def testAFullDiskForWhatItTellsIsAFailure(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run(
                [DEMO], stdout=full, stderr=subprocess.PIPE, text=True, timeout=DEADLINE, check=False
            )
        self.assertEqual(result.returncode, 3)
        self.assertIn("vyrel-demo: cannot write what happens", result.stderr)

    def testAReaderThatHasSeenEnoughIsAFailureToo(self):
        self.begin("bash", "-c", '"$0" | head -n 3; exit ${PIPESTATUS[0]}', DEMO)
        self.ends(3, "vyrel-demo: cannot write what happens\n")

    def testACheckoutThatCannotBeWrittenIsToldOf(self):
        checkout = os.path.join(self.folder, "checkout")
        os.makedirs(os.path.join(checkout, "tools"))
        shutil.copy("/bin/true", os.path.join(checkout, "tools", "setup.sh"))
        with open(os.path.join(checkout, "build"), "w", encoding="ascii"):
            pass  # a file in the way: root may write everywhere
        for command, status in (("run", 3), ("test", 3), ("bench", 2)):
            with self.subTest(command):
                shutil.copy(os.path.join(CHECKOUT, command), checkout)
                self.begin(os.path.join(checkout, command))
                self.ends(status, f"{command}: cannot build in {checkout}/build: copy the checkout to where you may")
                self.assertEqual(len(self.text().splitlines()), 1)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
