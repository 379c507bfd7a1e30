"""Rows taken with a clock. They are reported, not gates: another load on the machine moves them."""

from processes import (BOX_FLOOR, BOX_SERVICE, OWN_NAME_FLOOR, PROGRAMS, SERVICE, SERVICE_NAME, Bus, CannotMeasure,
                       memory_folder, one_cpu)
from table import Row, ratio_row

ROUNDS = 21
MILLISECOND = 1e6
MICROSECOND = 1e3
PEER = 'com.quorix.tv.bt.connectionmanager'
DCONF_SERVICE = '/usr/libexec/dconf-service'
DCONF_NAME = 'ca.desrt.dconf'


def _pairs(output):
    return [tuple(int(field) for field in line.split('\t')) for line in output.splitlines()]


def start_to_name(starts=9):
    with Bus() as bus:
        output = bus.run(PROGRAMS / 'bench_start', 'time', SERVICE_NAME, ROUNDS, starts, OWN_NAME_FLOOR, SERVICE)
    return ratio_row('start to bus name', _pairs(output), 1.10, MILLISECOND, 'ms')


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
    return ratio_row('SendDbusMethodSync, one core', _pairs(output), 1.03, MICROSECOND, 'us')


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


def dconf_rows(rounds=11, writes=200):
    """Both keep their files in memory: what a disk takes would hide what they take themselves."""
    with Bus() as bus:
        bus.is_a_box()
        bus.is_a_session()
        bus.start(DCONF_SERVICE)
        bus.wait_for(DCONF_NAME)
        output = bus.run(PROGRAMS / 'bench_dconf', rounds, writes, memory_folder(), timeout=300)
    times = [tuple(int(field) for field in line.split('\t')) for line in output.splitlines()]
    return [ratio_row('settings: write beside dconf', [(dconf, store) for dconf, store, _, _ in times], 0.10,
                      MICROSECOND, 'us'),
            ratio_row('settings: notice beside dconf', [(dconf, store) for _, _, dconf, store in times], 0.10,
                      MICROSECOND, 'us')]
