"""Rows taken with a clock. They are reported, not gates: another load on the machine moves them."""

from processes import (BOX_FLOOR, BOX_SERVICE, OWN_NAME_FLOOR, PROGRAMS, SERVICE, SERVICE_NAME, Bus, CannotMeasure,
                       memory_folder, one_cpu)
from table import Row, ratio_row

ROUNDS = 21
MILLISECOND = 1e6
MICROSECOND = 1e3
PEER = 'com.quorix.tv.bt.connectionmanager'


def _pairs(output):
    return [tuple(int(field) for field in line.split('\t')) for line in output.splitlines()]


def start_to_name(starts=9):
    with Bus() as bus:
        output = bus.run(PROGRAMS / 'bench_start', 'time', SERVICE_NAME, ROUNDS, starts, OWN_NAME_FLOOR, SERVICE)
    return ratio_row('start to bus name', _pairs(output), 1.30, MILLISECOND, 'ms')


def box_start_to_name(starts=9):
    """The settings are made at the first start of all, which a median leaves out."""
    with Bus() as bus:
        bus.is_a_box()
        output = bus.run(PROGRAMS / 'bench_start', 'time', SERVICE_NAME, ROUNDS, starts, BOX_FLOOR, BOX_SERVICE)
    return ratio_row('box: start to bus name', _pairs(output), 1.50, MILLISECOND, 'ms')


def sync_call(calls=300):
    """Caller, peer and bus daemon on one core, so that every hand-over between them costs the same."""
    with Bus(one_cpu()) as bus:
        bus.start(PROGRAMS / 'bench_peer', PEER)
        bus.wait_for(PEER)
        output = bus.run(PROGRAMS / 'bench_calls', 'sync', ROUNDS, calls)
    return ratio_row('SendDbusMethodSync, one core', _pairs(output), 1.05, MICROSECOND, 'us')


def settings_rows():
    """The settings store measures itself; its rows come as name, median, spread and limit."""
    with Bus() as bus:
        output = bus.run(PROGRAMS / 'bench_settings', ROUNDS, PROGRAMS, memory_folder(), timeout=300)
    rows = []
    for line in output.splitlines():
        try:
            name, median, spread, limit = line.split('\t')
            least, most = (float(bound) for bound in spread.split('..'))
            rows.append(Row(name, [least, float(median), most], float(limit)))
        except ValueError:
            raise CannotMeasure(f'bench_settings gave a row that cannot be read: {line!r}') from None
    return rows
