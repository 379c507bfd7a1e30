#!/usr/bin/env python3
"""Tests against the real thing: the product in an emulated machine with a real kernel and bluetoothd, and another such
machine that plays the devices around it. The Bluetooth of the two is joined.

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


class Machines:
    def __init__(self, folder, arguments):
        self.folder, self.arguments, self.processes = folder, arguments, {}

    def start(self, role, stdin=subprocess.DEVNULL):
        results = self.folder / 'results'
        results.mkdir(exist_ok=True)
        end = 'server=on,wait=off' if role == 'box' else 'reconnect=1'
        words = (f'console=ttyS0 quiet loglevel=1 mitigations=off nokaslr panic=-1 random.trust_cpu=on '
                 f'vyrel.role={role} vyrel.tree={TREE} vyrel.suites={",".join(self.arguments.suites)} '
                 + ('vyrel.shell ' if self.arguments.shell else ''))
        command = emulator(words, MADE / 'initrd',
                           [(name, f'path={self.folder}/{name},{end}') for name in ('air', 'wire')],
                           [('root', '/', ',readonly=on'), ('results', results, '')])
        with open(self.folder / f'{role}.error', 'wb') as error:
            self.processes[role] = subprocess.Popen(
                command, stdin=stdin, stdout=subprocess.PIPE, stderr=error, preexec_fn=die_with_parent)
        return self.processes[role]

    def error(self, role):
        return (self.folder / f'{role}.error').read_text(errors='replace').strip()

    def end(self):
        for process in self.processes.values():
            if process.poll() is None:
                process.kill()
            process.wait()


def die_with_parent():
    """Whatever ends this program, SIGKILL included, the machines end too."""
    import ctypes
    ctypes.CDLL(None).prctl(1, signal.SIGKILL, 0, 0, 0)


class Report:
    """What the box says on its console, as it says it, and what is left to say in the end."""

    def __init__(self):
        self.rows, self.suite, self.passed, self.failed, self.code, self.begun = {}, None, 0, 0, None, time.monotonic()

    def line(self, line):
        word, _, rest = line.partition(' ')
        if word == '@suite':
            self.suite = rest
            self.rows[rest] = {'passed': 0, 'failed': [], 'seconds': None}
            print(f'-- {rest}', flush=True)
        elif word in ('@pass', '@fail'):
            suite, seconds, what = rest.split(' ', 2)
            print(f'   {"ok  " if word == "@pass" else "FAIL"} {what} ({seconds} s)', flush=True)
            if word == '@pass':
                self.rows[suite]['passed'] += 1
            else:
                self.rows[suite]['failed'].append(what)
        elif word == '@!':
            print(f'        {rest}', flush=True)
        elif word == '@up':
            print(f'   both machines are up after {time.monotonic() - self.begun:.0f} s', flush=True)
        elif word == '@end':
            suite, seconds = rest.split()
            self.rows[suite]['seconds'] = float(seconds)
        elif word == '@off':
            self.code = rest.split()
        elif word != '@+' and not line.startswith('['): # nor what the kernel says
            print(f'   {line}', flush=True)

    def table(self, wanted):
        """Whether all suites passed."""
        print(f'\n   {"suite":<14}{"passed":>8}{"failed":>8}{"seconds":>10}')
        whole = True
        for suite in wanted:
            row = self.rows.get(suite)
            if row is None or row['seconds'] is None:
                print(f'   {suite:<14}{"-":>8}{"-":>8}{"not ended" if row else "not run":>10}')
                whole = False
                continue
            print(f'   {suite:<14}{row["passed"]:>8}{len(row["failed"]):>8}{row["seconds"]:>10.1f}')
            whole = whole and not row['failed'] and row['passed']
        return whole


def follow(process, role, report, log):
    with open(log, 'w') as file:
        for raw in process.stdout:
            line = raw.decode(errors='replace').rstrip()
            file.write(line + '\n')
            file.flush()
            if role == 'box' and line:
                report.line(line)


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
    machines = Machines(folder, arguments)
    report = Report()
    whole = False
    try:
        whole = run(arguments, folder, machines, report)
        return 0 if whole else 1
    finally:
        machines.end()
        if not whole and folder.joinpath('results').exists():
            keep(folder / 'results')
        shutil.rmtree(folder, ignore_errors=True)


def keep(results):
    logs = MADE / 'logs'
    shutil.rmtree(logs, ignore_errors=True)
    shutil.copytree(results, logs)
    print(f'   logs of both machines: {logs.relative_to(TREE)}')


def run(arguments, folder, machines, report):
    print(f'== starting two machines', flush=True)
    box = machines.start('box', None if arguments.shell else subprocess.DEVNULL)
    end = time.monotonic() + 10
    while not ((folder / 'air').exists() and (folder / 'wire').exists()):
        if box.poll() is not None or time.monotonic() > end:
            cannot(f'the emulator does not start: {machines.error("box")}')
        time.sleep(0.05)
    peer = machines.start('peer')
    followers = [threading.Thread(target=follow, args=(process, role, report, folder / f'results/{role}.console'),
                                  daemon=True) for role, process in (('box', box), ('peer', peer))]
    for follower in followers:
        follower.start()
    end = time.monotonic() + LIMIT
    while box.poll() is None and (arguments.shell or time.monotonic() < end):
        time.sleep(0.1)
    ended = box.poll() is not None
    if ended:
        followers[0].join(5)
    whole = report.table(arguments.suites)
    if not ended:
        print(f'vm: not done after {LIMIT} s')
    whole = whole and ended and report.code == ['box', '0']
    seconds = time.monotonic() - report.begun
    print(f'   {"all passed" if whole else "not all passed"} in {seconds:.0f} s')
    if ended and seconds > QUIET:
        print(f'   that is more than the {QUIET} s that are meant: unless this machine had other work, they have become slow')
    if not report.rows:
        cannot(f'the machines do not come up; {machines.error("box")}')
    return whole


if __name__ == '__main__':
    sys.exit(main())
