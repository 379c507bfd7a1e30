#!/usr/bin/env python3
"""Tests against the real thing: the product in an emulated machine with a real kernel and bluetoothd, and another such
machine that plays the devices around it. The Bluetooth of the two is joined. Two such pairs share the suites, since a
pair waits for half of its time.

    run.py [--shell] [SUITE ...]

Exit status: 0 all that was asked for passed, 1 something did not, 2 the command line is wrong, 3 the machines cannot be
made or do not come up.
"""

import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent.parent
MADE = TREE / 'build' / 'vm'
QUIET = 360 # seconds in which all suites end on two cores that have nothing else to do
LIMIT = 600 # and after which something hangs, whatever else there is to do
PAIRS = 2
SECONDS = {'keyboard': 40, 'last': 60, 'pairing': 65, 'remote': 60, 'resets': 45, 'services': 15, 'speaker': 30, 'start': 50,
           'wheel': 35} # about, of the suites
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
SUITES = [path.stem for path in sorted(HERE.joinpath('suites').glob('*.py'))]
NEEDED = ('qemu-system-x86_64', 'busybox', 'cpio', 'depmod', 'btvirt', 'dbus-daemon')


def emulator(words, initrd, ports, folders, memory=512):
    """The command of a machine. Ports are serial ones, each a name and the socket behind it; folders are lent: name, path,
    options."""
    command = ['qemu-system-x86_64', '-M', 'q35', '-accel', 'tcg,thread=multi', '-cpu', 'max',
               '-smp', '1', '-m', str(memory),
               '-display', 'none', '-no-reboot', '-nodefaults', '-serial', 'stdio', '-monitor', 'none',
               '-kernel', str(MADE / 'kernel'), '-initrd', str(initrd), '-append', words,
               '-device', 'virtio-rng-pci', '-device', 'virtio-serial-pci']
    for name, socket in ports:
        command += ['-chardev', f'socket,id={name},{socket}', '-device', f'virtserialport,chardev={name},name={name}']
    for name, path, options in folders:
        command += ['-fsdev', f'local,id={name},path={path},security_model=none,multidevs=remap{options}',
                    '-device', f'virtio-9p-pci,fsdev={name},mount_tag={name}']
    return command


class Pair:
    """The box and its peer, some suites that they play, and what is said of these."""

    def __init__(self, folder, suites, shell):
        self.folder, self.suites, self.shell = folder, suites, shell
        self.results, self.processes, self.report, self.is_whole = folder / 'results', {}, Report(), False
        self.results.mkdir(parents=True)

    def start(self):
        box = self._start('box', None if self.shell else subprocess.DEVNULL)
        end = time.monotonic() + 10
        while not ((self.folder / 'air').exists() and (self.folder / 'wire').exists()):
            if box.poll() is not None or time.monotonic() > end:
                cannot(f'the emulator does not start: {self.error()}')
            time.sleep(0.05)
        self._start('peer')
        self.followers = [threading.Thread(target=self._follow, args=(role, ), daemon=True) for role in self.processes]
        for follower in self.followers:
            follower.start()

    def _start(self, role, stdin=subprocess.DEVNULL):
        end = 'server=on,wait=off' if role == 'box' else 'reconnect=1'
        words = (f'console=ttyS0 quiet loglevel=1 mitigations=off nokaslr panic=-1 random.trust_cpu=on '
                 f'vyrel.role={role} vyrel.tree={TREE} vyrel.suites={",".join(self.suites)} '
                 + ('vyrel.shell ' if self.shell else ''))
        command = emulator(words, MADE / 'initrd',
                           [(name, f'path={self.folder}/{name},{end}') for name in ('air', 'wire')],
                           [('root', '/', ',readonly=on'), ('results', self.results, '')])
        with open(self.folder / f'{role}.error', 'wb') as error:
            self.processes[role] = subprocess.Popen(
                command, stdin=stdin, stdout=subprocess.PIPE, stderr=error, preexec_fn=die_with_parent)
        return self.processes[role]

    def _follow(self, role):
        with open(self.results / f'{role}.console', 'w') as file:
            for raw in self.processes[role].stdout:
                line = raw.decode(errors='replace').rstrip()
                file.write(line + '\n')
                file.flush()
                if role == 'box' and line:
                    self.report.line(line)

    def works(self):
        return self.processes['box'].poll() is None

    def passed(self):
        """Once it does not work any more: whether all did."""
        self.followers[0].join(5)
        return self.report.code == ['box', '0'] and self.report.passed(self.suites)

    def error(self):
        return (self.folder / 'box.error').read_text(errors='replace').strip()

    def end(self):
        for process in self.processes.values():
            if process.poll() is None:
                process.kill()
            process.wait()


def die_with_parent():
    """Whatever ends this program, SIGKILL included, the machines end too."""
    import ctypes
    ctypes.CDLL(None).prctl(1, signal.SIGKILL, 0, 0, 0)


def say(line):
    """Whole, whoever else speaks."""
    sys.stdout.write(line + '\n')
    sys.stdout.flush()


class Report:
    """What a box says on its console, as it says it, and what is left to say in the end."""

    def __init__(self):
        self.rows, self.suite, self.code, self.begun = {}, '', None, time.monotonic()

    def line(self, line):
        word, _, rest = line.partition(' ')
        if word == '@suite':
            self.suite = rest
            self.rows[rest] = {'passed': 0, 'failed': [], 'seconds': None}
        elif word in ('@pass', '@fail'):
            suite, seconds, what = rest.split(' ', 2)
            say(f'   {"ok  " if word == "@pass" else "FAIL"} {suite}: {what} ({seconds} s)')
            if word == '@pass':
                self.rows[suite]['passed'] += 1
            else:
                self.rows[suite]['failed'].append(what)
        elif word == '@!':
            say(f'        {self.suite}: {rest}')
        elif word == '@up':
            say(f'   two machines are up after {time.monotonic() - self.begun:.0f} s')
        elif word == '@end':
            suite, seconds = rest.split()
            self.rows[suite]['seconds'] = float(seconds)
        elif word == '@off':
            self.code = rest.split()
        elif word != '@+' and not line.startswith('['): # nor what the kernel says
            say(f'   {line}')

    def passed(self, suites):
        rows = [self.rows.get(suite) for suite in suites]
        return all(row and row['seconds'] is not None and row['passed'] and not row['failed'] for row in rows)


def table(rows, wanted):
    print(f'\n   {"suite":<14}{"passed":>8}{"failed":>8}{"seconds":>10}')
    for suite in wanted:
        row = rows.get(suite)
        if row is None or row['seconds'] is None:
            print(f'   {suite:<14}{"-":>8}{"-":>8}{"not ended" if row else "not run":>10}')
        else:
            print(f'   {suite:<14}{row["passed"]:>8}{len(row["failed"]):>8}{row["seconds"]:>10.1f}')


def cannot(why):
    print(f'vm: {why}', file=sys.stderr)
    sys.exit(3)


def parsed():
    parser = argparse.ArgumentParser(prog='./test --vm', description='Tests in two emulated machines.')
    parser.add_argument('suites', nargs='*', metavar='SUITE', help=', '.join(SUITES))
    parser.add_argument('--shell', action='store_true', help='a shell in the first machine after the suites')
    arguments = parser.parse_args()
    for suite in arguments.suites:
        if suite not in SUITES:
            parser.error(f'there is no suite {suite}: {", ".join(SUITES)}')
    arguments.suites = arguments.suites or SUITES
    return arguments


def stop(number, frame):
    """What comes after the first signal, as with a second Ctrl-C, does not keep us from clearing up."""
    for each in SIGNALS:
        signal.signal(each, signal.SIG_IGN)
    raise SystemExit(128 + number)


def main():
    arguments = parsed()
    for number in SIGNALS:
        signal.signal(number, stop)
    if os.geteuid() != 0:
        cannot('only root can lend the machines the whole of this one to read: sudo ./test --vm')
    path = os.environ.get('PATH', '') + ':/usr/sbin:/sbin'
    missing = [program for program in NEEDED if not shutil.which(program, path=path)]
    if missing:
        cannot(f'not here: {", ".join(missing)}; tools/setup.sh vm installs what is missing')
    folder = pathlib.Path(tempfile.mkdtemp(prefix='vyrel-vm.'))
    count = 1 if arguments.shell else min(PAIRS, len(arguments.suites))
    pairs = []
    try:
        for number in range(count):
            pairs.append(Pair(folder / str(number + 1), shared(arguments.suites, count)[number], arguments.shell))
        return 0 if run(arguments, pairs) else 1
    finally:
        for pair in pairs:
            pair.end()
        keep([pair for pair in pairs if not pair.is_whole])
        shutil.rmtree(folder, ignore_errors=True)


def shared(suites, count):
    """The longest first, each to who has least to do."""
    parts = [[] for _ in range(count)]
    for suite in sorted(suites, key=lambda suite: -SECONDS.get(suite, 30)):
        min(parts, key=lambda part: sum(SECONDS.get(other, 30) for other in part)).append(suite)
    return parts


def keep(pairs):
    logs = MADE / 'logs'
    shutil.rmtree(logs, ignore_errors=True)
    for pair in pairs:
        shutil.copytree(pair.results, logs / pair.folder.name)
        print(f'   logs of {", ".join(pair.suites)}: {(logs / pair.folder.name).relative_to(TREE)}')


def run(arguments, pairs):
    """Whether all passed."""
    print(f'== starting {2 * len(pairs)} machines', flush=True)
    begun = time.monotonic()
    for pair in pairs:
        pair.start()
    while any(pair.works() for pair in pairs) and (arguments.shell or time.monotonic() - begun < LIMIT):
        time.sleep(0.1)
    ended = not any(pair.works() for pair in pairs)
    for pair in pairs:
        pair.is_whole = not pair.works() and pair.passed()
    rows = {suite: row for pair in pairs for suite, row in pair.report.rows.items()}
    table(rows, arguments.suites)
    if not ended:
        print(f'vm: not done after {LIMIT} s')
    whole = all(pair.is_whole for pair in pairs)
    seconds = time.monotonic() - begun
    print(f'   {"all passed" if whole else "not all passed"} in {seconds:.0f} s')
    if ended and seconds > QUIET:
        print(f'   that is more than the {QUIET} s that are meant: unless this machine had other work, they have become slow')
    if not rows:
        cannot(f'the machines do not come up; {pairs[0].error()}')
    return whole


if __name__ == '__main__':
    sys.exit(main())
