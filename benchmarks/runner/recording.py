"""The row of a recorded evening, told on the television on the desk."""

import sys

from processes import PROGRAMS, CannotMeasure, say
from table import ratio_row

CHECKOUT = PROGRAMS.parents[2]
SCENARIO = CHECKOUT / 'scenarios' / 'an-evening.tv'
MILLION = 1e6
LIMIT = 1.05

sys.path.append(str(CHECKOUT / 'tests' / 'recorder'))

import cost  # noqa: E402: its folder is on the path only now


def _television():
    """One of any build: both sides of the row are the same program."""
    programs = [CHECKOUT / 'build' / build / 'tools' / 'tv' / 'front' / 'vyrel-tv' for build in ('run', 'debug')]
    return next((program for program in programs if program.exists()), None)


def evening():
    """No row where no television is built: what it needs besides is no business of the other rows."""
    program = _television()
    if program is None:
        say('bench: without a television on the desk, which ./tv builds, the recorded evening is left out')
        return []
    say('== telling an evening')
    without, recorded, size = cost.figures(program, SCENARIO)
    if size == 0:
        raise CannotMeasure(f'{program} recorded nothing')
    return [ratio_row('recorded: an evening', [(without, recorded)], LIMIT, MILLION, 'M', gate=True)]
