"""./bench: what the service weighs, as ratios to floors that are measured in the same run, in turns.

Exit status: 0 every gate holds, 1 a gate is over its limit, 2 something could not be measured.
"""

import argparse
import signal
import sys

import instructions
import timing
from idle import IdleBoxes, IdlePairs
from processes import CannotMeasure, say
from table import render

OVER = 1
NOT_MEASURED = 2


def measure_gates():
    with IdlePairs(pairs=3) as idle, IdleBoxes(pairs=1) as boxes:
        say('== counting instructions')
        rows = [instructions.to_ready(rounds=3), *instructions.of_sending(rounds=3)]
        say('== idling')
        idle.open_window()
        boxes.open_window()
        return rows + idle.close_window(15) + boxes.close_window(15)


def measure_all():
    with IdlePairs(pairs=5) as idle, IdleBoxes(pairs=3) as boxes:
        say('== counting instructions')
        counted = [instructions.to_ready(rounds=5), *instructions.of_sending(rounds=5)]
        idle.open_window()
        boxes.open_window()
        say('== timing')
        timed = [timing.start_to_name(), timing.sync_call(), *timing.settings_rows(), timing.box_start_to_name()]
        say('== idling')
        return timed + counted + idle.close_window(60) + boxes.close_window(60)


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
