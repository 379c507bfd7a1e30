#!/usr/bin/env python3
"""The evening that ./run tells, under valgrind: no error, nothing lost, and nothing kept that grows with time.

It is told as it stands, and once more with the middle of the first day lived six times over; what the service still reaches
at its end, by the stacks that asked for it, must not have grown by a block a day. Usage: evening.py VYREL_TV SCENARIO
Exit status: 0 all is well, 1 it is not, 2 it could not be told.
"""

import collections
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

MORE_DAYS = 5 # more than the blocks that a table of GLib moves to another stack when it grows at another moment
# The day in between begins and ends with these stories; the set is on, and the remote connected, before and after.
FIRST_STORY = 'story Its battery falls below a half'
LAST_STORY = 'story It is switched off for the night'

VALGRIND = ['valgrind', '--vgdb=no', '--trace-children=yes', '--trace-children-skip=*/dbus-daemon,*/vyrel-settings',
            '--child-silent-after-fork=yes', '--leak-check=full', '--show-leak-kinds=all', '--num-callers=40',
            # GLib's own threads, which never end.
            f'--suppressions={pathlib.Path(__file__).resolve().parent / "evening.supp"}']
RECORD = re.compile(r'([\d,]+)(?: \([^)]*\))? bytes in ([\d,]+) blocks are (still reachable|definitely lost|'
                    r'indirectly lost|possibly lost) in loss record')
FRAME = re.compile(r'(?:at|by) 0x[0-9A-F]+: (.*)')


def lengthened(scenario):
    """The same, with its day told several times; what is expected of it is asked for the first time only."""
    begin, end = scenario.index(FIRST_STORY), scenario.index(LAST_STORY)
    day = scenario[begin:end]
    again = ''.join(line for line in day.splitlines(keepends=True) if not line.startswith('expect'))
    return scenario[:end] + again * MORE_DAYS + scenario[end:]


class Log:
    """What valgrind says of one process."""

    def __init__(self, path):
        lines = [re.sub(r'^==\d+== ?', '', line) for line in path.read_text(errors='replace').splitlines()]
        self.text = '\n'.join(lines)
        self.command = next((line.partition(': ')[2] for line in lines if line.startswith('Command: ')), '')
        found = re.search(r'ERROR SUMMARY: ([\d,]+) errors', self.text)
        self.errors = int(found[1].replace(',', '')) if found else None
        self.blocks = {kind: collections.Counter() for kind in ('still reachable', 'definitely lost', 'indirectly lost',
                                                                'possibly lost')}
        for number, line in enumerate(lines):
            if found := RECORD.search(line):
                stack = []
                for below in lines[number + 1:]:
                    frame = FRAME.search(below)
                    if not frame:
                        break
                    stack.append(frame[1])
                self.blocks[found[3]][tuple(stack)] += int(found[2].replace(',', ''))

    def life(self):
        """Which of the set's lives it is, by the last entry before it; None for the desk itself."""
        found = re.search(r'--set-process \d+ \S+ (\d+)', self.command)
        return int(found[1]) if found else None


class Telling:
    """The scenario being told under valgrind, in a folder of its own."""

    def __init__(self, vyrel_tv, scenario, folder):
        folder.mkdir()
        (folder / 'evening.tv').write_text(scenario)
        self.folder = folder
        with (folder / 'output').open('w') as output:
            # A session of its own, so that what is interrupted goes as a whole.
            self.process = subprocess.Popen(
                [*VALGRIND, f'--log-file={folder}/%p.log', vyrel_tv, 'run', folder / 'evening.tv'], stdout=output,
                stderr=subprocess.STDOUT, env={**os.environ, 'TMPDIR': str(folder)}, start_new_session=True)

    def end(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGTERM)
            self.process.wait()

    def logs(self):
        """Of all processes, once it is told: the desk's first, then the set's lives in order."""
        if self.process.wait() != 0:
            print(*(self.folder / 'output').read_text(errors='replace').splitlines()[-20:], sep='\n')
            raise RuntimeError(f'under valgrind the evening ended with status {self.process.returncode}')
        logs = sorted((Log(path) for path in self.folder.glob('*.log')),
                      key=lambda log: -1 if log.life() is None else log.life())
        # The desk has the next life begun before anybody plugs the set in, and ends it where nobody does.
        logs = logs[:3] + [log for log in logs[3:] if log.errors is not None]
        if [log.life() is None for log in logs] != [True, False, False]:
            raise RuntimeError('not the desk and two lives of the set: ' + ', '.join(log.command for log in logs))
        return logs


def faults(name, log):
    if log.errors is None:
        yield f'{name}: valgrind did not see its end'
    elif log.errors:
        yield f'{name}: {log.errors} errors\n{log.text}'
    for kind in ('definitely lost', 'indirectly lost', 'possibly lost'):
        for stack, blocks in log.blocks[kind].items():
            yield f'{name}: {blocks} blocks {kind}, from\n    ' + '\n    '.join(stack)


def growth(name, short, long):
    for stack, blocks in long.blocks['still reachable'].items():
        before = short.blocks['still reachable'][stack]
        if blocks - before >= MORE_DAYS:
            yield f'{name}: {blocks} blocks instead of {before} after {MORE_DAYS} more days, from\n    ' + '\n    '.join(stack)


def stop(*_):
    raise KeyboardInterrupt


def main():
    vyrel_tv, scenario = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).read_text()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)
    with tempfile.TemporaryDirectory(prefix='vyrel-memory-') as top:
        tellings = []
        try:
            for name, text in (('once', scenario), ('longer', lengthened(scenario))):
                tellings.append(Telling(vyrel_tv, text, pathlib.Path(top) / name))
            short, long = (telling.logs() for telling in tellings)
        except (OSError, RuntimeError, ValueError) as failure:
            print(f'evening.py: {failure}', file=sys.stderr)
            return 2
        finally:
            for telling in tellings:
                telling.end()
    names = ('the desk', 'the first life', 'the second life')
    found = [fault for logs in (short, long) for name, log in zip(names, logs) for fault in faults(name, log)]
    # The life that was longer. The desk may grow: it keeps all that it was told, for who looks back.
    found += growth(names[1], short[1], long[1])
    for fault in found:
        print(fault)
    for name, *pair in zip(names, short, long):
        print(name + ':', *(f'{sum(log.blocks["still reachable"].values())} blocks still reachable' for log in pair), sep=' ')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
