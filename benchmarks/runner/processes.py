"""The processes of a measurement: private buses, programs on them, and what /proc says about those."""

import ctypes
import fcntl
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

PROGRAMS = pathlib.Path(__file__).resolve().parents[2] / 'build' / 'release' / 'benchmarks'
SERVICE = PROGRAMS / 'vyrel-lite-skeleton'
OWN_NAME_FLOOR = PROGRAMS / 'bench_floor_own_name'
BOX_SERVICE = PROGRAMS / 'vyrel-lite-box'
BOX_FLOOR = PROGRAMS / 'bench_floor_box'
RECORDED_BOX = PROGRAMS / 'vyrel-lite-box-recorded'
SERVICE_NAME = 'org.vantor.vyrel.lite'

BUS_CONFIGURATION = '''<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={folder}/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow receive_sender="*"/>
  </policy>
  <limit name="max_replies_per_connection">100000</limit>
</busconfig>
'''


class CannotMeasure(Exception):
    """Something is missing or went wrong, so that a row would say nothing."""


def _before_exec(cpu, in_turns):
    """What a child does to itself: it goes when this process goes, and shares the processor as its bus says."""
    libc = ctypes.CDLL(None)
    pr_set_pdeathsig = 1

    def prepare():
        libc.prctl(pr_set_pdeathsig, signal.SIGKILL)
        if cpu is not None:
            os.sched_setaffinity(0, {cpu})
        if in_turns:
            os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))

    return prepare


class Bus:
    """A message bus of its own for a `with` block. Ends, by their ids, everything that was started on it.

    With a `cpu`, daemon and programs stay on that core. With `in_turns` besides, none of their threads interrupts
    another by waking up, so that who does what after a message does not change from run to run.
    """

    def __init__(self, cpu=None, in_turns=False):
        self._before_exec = _before_exec(cpu, in_turns)
        self._children = []
        self._root = None
        self._box = {}
        self._recording = None
        self._folder = tempfile.TemporaryDirectory(prefix='vyrel-bench-')
        self.folder = pathlib.Path(self._folder.name)

    def __enter__(self):
        configuration = self.folder / 'bus.conf'
        configuration.write_text(BUS_CONFIGURATION.format(folder=self.folder), encoding='utf-8')
        with open(self.folder / 'bus.log', 'wb') as log:
            daemon = subprocess.Popen(['dbus-daemon', '--nofork', '--nopidfile', '--nosyslog', '--print-address=1',
                                       f'--config-file={configuration}'],
                                      stdout=subprocess.PIPE, stderr=log, preexec_fn=self._before_exec)
        self._children.append(daemon)
        if not daemon.stdout.readline():
            log_text = (self.folder / 'bus.log').read_text(encoding='utf-8')
            self.__exit__()
            raise CannotMeasure(f'dbus-daemon did not start: {log_text.strip()}')
        return self

    def __exit__(self, *_):
        for child in reversed(self._children):
            child.kill()
            child.wait()
        self._children.clear()
        if self._recording is not None:
            _wait_for_recorder(self._recording)
        self._folder.cleanup()
        if self._root is not None:
            self._root.cleanup()

    def _environment(self):
        # As little as possible of the caller's: the length of the environment alone changes what is counted.
        return {'PATH': os.environ.get('PATH', '/usr/bin:/bin'), 'LC_ALL': 'C',
                'DBUS_SYSTEM_BUS_ADDRESS': f'unix:path={self.folder}/bus', **self._box}

    def is_a_box(self):
        """From now on programs find a box with nothing in it: neither settings nor a sound server of this machine.

        It lies in memory: how long a disk takes for what has to be durable is the disk's matter.
        """
        self._root = tempfile.TemporaryDirectory(prefix='vyrel-bench-', dir=memory_folder())
        self._box = {name: self._root.name for name in ('VYREL_BENCH_ROOT', 'HOME', 'XDG_RUNTIME_DIR')}

    def keeps_recordings(self):
        """From now on programs with a recorder record; others do not know what this says."""
        self._recording = self.folder / 'recording'
        self._box['VYREL_RECORDING'] = str(self._recording)

    def is_a_session(self):
        """From now on programs find this bus as the session's as well; a box keeps their files."""
        self._box['DBUS_SESSION_BUS_ADDRESS'] = f'unix:path={self.folder}/bus'

    def start(self, *command):
        """Start a program that stays. What it says goes to this bus's folder."""
        with open(self.folder / 'output', 'ab') as output:
            child = subprocess.Popen([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=output,
                                     stderr=output, env=self._environment(), preexec_fn=self._before_exec)
        self._children.append(child)
        return child

    def run(self, *command, timeout=120):
        """Run a program to its end and give its standard output. A failure cannot be measured."""
        command = [str(part) for part in command]
        child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 text=True, env=self._environment(), preexec_fn=self._before_exec)
        self._children.append(child)
        try:
            output, errors = child.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            raise CannotMeasure(f'{" ".join(command)}: not done after {timeout} s') from None
        self._children.remove(child)
        if child.returncode != 0:
            raise CannotMeasure(f'{" ".join(command)}: exit status {child.returncode}\n{errors.strip()}')
        return output

    def wait_for(self, name):
        self.run(PROGRAMS / 'bench_start', 'await', name, 30)


def _wait_for_recorder(recording, deadline=30):
    """The recorder's own process is nobody's child. It holds a lock on its file until all that was taken is there."""
    end = time.monotonic() + deadline
    while recording.exists():
        with open(recording, 'rb') as file:
            try:
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
                return
            except BlockingIOError:
                if time.monotonic() > end:
                    raise CannotMeasure(f'the recorder of {recording} does not end') from None
        time.sleep(0.05)


def memory_folder():
    shared_memory = pathlib.Path('/dev/shm')
    if not shared_memory.is_dir():
        raise CannotMeasure('there is no RAM file system for settings')
    return shared_memory


def one_cpu():
    """The core on which pinned rows run: the last one that this process may use."""
    return max(os.sched_getaffinity(0))


def _threads(pid):
    for folder in pathlib.Path(f'/proc/{pid}/task').iterdir():
        text = (folder / 'status').read_text(encoding='utf-8')
        yield dict(line.split(':', 1) for line in text.splitlines() if ':' in line)


def count_threads(pid):
    return sum(1 for _ in _threads(pid))


def count_wake_ups(pid):
    """How often a thread of the process has given its core up of its own accord: one for every wake-up before."""
    return sum(int(thread['voluntary_ctxt_switches']) for thread in _threads(pid))


def memory_kib(pid, field):
    """A field of smaps_rollup in KiB."""
    for line in pathlib.Path(f'/proc/{pid}/smaps_rollup').read_text(encoding='utf-8').splitlines():
        name, _, value = line.partition(':')
        if name == field:
            return int(value.split()[0])
    raise CannotMeasure(f'smaps_rollup has no {field}')


def wait_until_idle(child, quiet=0.4, deadline=60):
    """Wait until all threads sleep and none of them has moved for `quiet` seconds."""
    end = time.monotonic() + deadline
    before, since = None, time.monotonic()
    while time.monotonic() < end:
        if child.poll() is not None:
            raise CannotMeasure(f'{child.args[-1]} ended with status {child.returncode}')
        threads = list(_threads(child.pid))
        moves = sorted((thread['Pid'], thread['voluntary_ctxt_switches']) for thread in threads)
        if moves != before or any(not thread['State'].strip().startswith('S') for thread in threads):
            before, since = moves, time.monotonic()
        elif time.monotonic() - since >= quiet:
            return
        time.sleep(0.05)
    raise CannotMeasure(f'{child.args[-1]} does not come to rest')


def say(text):
    print(text, file=sys.stderr, flush=True)
