"""./bench: what the service weighs, as ratios to floors that are measured in the same run, in turns.

Exit status: 0 every gate holds, 1 a gate is over its limit, 2 something could not be measured.
"""

import argparse
import contextlib
import signal
import sys

import instructions
import recording
import soak
import timing
from idle import IdleBoxes, IdlePairs, IdleRecordedBoxes
from processes import CannotMeasure, say
from table import render

OVER = 1
NOT_MEASURED = 2


@contextlib.contextmanager
def idling(*pairs):
    """All pairs idle within; each can open a window and close it."""
    with contextlib.ExitStack() as stack:
        yield [stack.enter_context(some) for some in pairs]


def counted(rounds, event_rounds, recorded_rounds):
    say('== counting instructions')
    return [instructions.to_ready(rounds), *instructions.of_sending(rounds),
            *instructions.of_events(event_rounds, recorded_rounds)]


def open_windows(idle):
    for pairs in idle:
        pairs.open_window()


def close_windows(idle, seconds):
    return [row for pairs in idle for row in pairs.close_window(seconds)]


def measure_gates():
    with idling(IdlePairs(pairs=3), IdleBoxes(pairs=1), IdleRecordedBoxes(pairs=1)) as idle:
        rows = counted(rounds=3, event_rounds=3, recorded_rounds=1)
        say('== idling')
        open_windows(idle)
        return rows + close_windows(idle, 15)


def measure_all():
    with idling(IdlePairs(pairs=5), IdleBoxes(pairs=3), IdleRecordedBoxes(pairs=1)) as idle:
        rows = counted(rounds=5, event_rounds=5, recorded_rounds=3)
        open_windows(idle)
        say('== timing')
        timed = [timing.start_to_name(), timing.sync_call(), *timing.settings_rows(), *timing.dconf_rows(),
                 timing.box_start_to_name()]
        say('== living through a million events')
        rows.append(soak.memory_growth())
        rows += recording.evening()
        say('== idling')
        return timed + rows + close_windows(idle, 60)


def exit_status(rows):
    over = [row.name for row in rows if row.gate and row.is_over]
    if over:
        say(f'bench: over the limit: {", ".join(over)}')
    return OVER if over else 0


def main():
    parser = argparse.ArgumentParser(
        prog='./bench', description='Measure what the service weighs against its floors and print a table.',
        epilog='Exit status: 0 every gate holds, 1 a gate is over its limit, 2 something could not be measured.')
    parser.add_argument('--gates', action='store_true', help='only the rows that CI refuses to let grow')
    arguments = parser.parse_args()

    # So that everything that was started is ended on this way out too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(NOT_MEASURED))
    try:
        rows = measure_gates() if arguments.gates else measure_all()
    except CannotMeasure as reason:
        say(f'bench: {reason}')
        return NOT_MEASURED
    except KeyboardInterrupt:
        return NOT_MEASURED
    print(render(rows))
    return exit_status(rows)


if __name__ == '__main__':
    sys.exit(main())
