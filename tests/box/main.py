#!/usr/bin/env python3
"""The walk of docs/linux.md in an emulated box: a stock Debian 12 with its own systemd, udev, logind, polkit, bluetoothd and
PipeWire, and beside it a machine that plays the devices.

    main.py

Exit status: 0 all passed, 1 something did not, 2 the command line is wrong, 3 the machines cannot be made or do not come up.
"""

import argparse
import gzip
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import traceback

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / 'vm'), str(HERE.parent / 'install')]
import rights
import walk
from machines import MADE, TREE, Box, Failed, Peer
from run import NEEDED, SIGNALS, stop

SUITES = {suite.__name__: suite for suite in (walk, rights)}


def cannot(why):
    print(f'box: {why}', file=sys.stderr)
    sys.exit(3)


def parsed():
    parser = argparse.ArgumentParser(prog='./test --box', description='The walk of the document in an emulated box.')
    return parser.parse_args()


def make_initrd():
    """That of the other machines, with another first program laid over it."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(HERE / 'guest/init', folder)
        over = subprocess.run(['cpio', '-o', '-H', 'newc', '--quiet'], cwd=folder, input=b'init\n', check=True,
                              stdout=subprocess.PIPE).stdout
    MADE.joinpath('box-initrd').write_bytes(MADE.joinpath('initrd').read_bytes() + gzip.compress(over))


def cases(suite):
    return [(name.removeprefix('test_').replace('_', ' '), case) for name, case in vars(suite).items()
            if name.startswith('test_')]


def run_suite(name, suite, scene):
    """Its cases in order; since each goes on from where the one before it ended, the first that fails is the last."""
    print(f'-- {name}', flush=True)
    left = cases(suite)
    while left:
        what, case = left.pop(0)
        begun = time.monotonic()
        try:
            case(scene)
        except Exception as error: # whatever it is, it is told
            print(f'   FAIL {what} ({time.monotonic() - begun:.1f} s)')
            for frame in traceback.extract_tb(error.__traceback__):
                print(f'        {pathlib.Path(frame.filename).name}:{frame.lineno}: {frame.line}')
            print('        ' + f'{type(error).__name__}: {error}'.replace('\n', '\n        '), flush=True)
            print(f'        {len(left)} cases after this one are left out')
            scene.tell()
            scene.switch_off()
            return False
        print(f'   ok   {what} ({time.monotonic() - begun:.1f} s)', flush=True)
    return True


class Scene:
    """What a case works with."""

    def __init__(self, folder):
        self.peer = Peer(folder)
        try:
            self.box = Box(folder, self.peer, MADE / 'stock/root')
            self.peer.air_comes()
            self.box.boot()
        except BaseException:
            self.end()
            raise

    def tell(self):
        """The box's journal, into the logs, as far as it still says anything."""
        try:
            said = self.box.root('journalctl -b -o short-precise --no-pager', seconds=60).out
        except Failed as failed:
            said = f'{failed}'
        self.box.folder.joinpath('results/box.journal').write_text(said, encoding='utf-8')

    def switch_off(self):
        """As the next suite finds it, whatever state one that failed left it in."""
        try:
            self.box.root('poweroff', status=None)
        except Failed:
            pass # it may be off before it answers
        if not self.box.machine.gone(120):
            self.box.machine.end()

    def end(self):
        box = vars(self).get('box')
        for machine in (box and box.machine, self.peer.machine):
            if machine:
                machine.end()


def main():
    parsed()
    for number in SIGNALS:
        signal.signal(number, stop)
    if os.geteuid() != 0:
        cannot('only root can lend the machines the whole of this one to read: sudo ./test --box')
    missing = [program for program in NEEDED + ('mke2fs',) if not shutil.which(program)]
    if missing:
        cannot(f'not here: {", ".join(missing)}; tools/setup.sh box installs what is missing')
    begun = time.monotonic()
    folder = pathlib.Path(tempfile.mkdtemp(prefix='vyrel-box.'))
    folder.joinpath('results').mkdir()
    folder.chmod(0o755)
    scene = None
    whole = False
    try:
        make_initrd()
        try:
            scene = Scene(folder)
        except Failed as failed:
            cannot(f'the machines do not come up: {failed}')
        print(f'   the box is up after {time.monotonic() - begun:.0f} s', flush=True)
        whole = all([run_suite(name, suite, scene) for name, suite in SUITES.items()])
        print(f'   {"all passed" if whole else "not all passed"} in {time.monotonic() - begun:.0f} s')
        return 0 if whole else 1
    finally:
        if scene:
            scene.end()
        if not whole:
            logs = MADE / 'box-logs'
            shutil.rmtree(logs, ignore_errors=True)
            shutil.copytree(folder / 'results', logs)
            print(f'   logs: {logs.relative_to(TREE)}')
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == '__main__':
    sys.exit(main())
