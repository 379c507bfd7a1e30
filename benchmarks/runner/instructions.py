"""Rows counted by callgrind: instructions, which no other load on the machine changes."""

import re
import signal

from processes import OWN_NAME_FLOOR, PROGRAMS, SERVICE, SERVICE_NAME, Bus, CannotMeasure, one_cpu, wait_until_idle
from table import ratio_row

MILLION = 1e6
THOUSAND = 1e3
PEER = 'com.quorix.tv.bt.connectionmanager'
SHIFT_PEER = 'com.quorix.tv.bt.connectionshift'
# The phases of bench_events in their order, and what happens in each.
EVENTS = {'BatteryReport': 'battery report', 'Standby': 'change to standby', 'A2dpConnection': 'A2DP connection'}


def _total(path):
    match = re.search(r'^totals: (\d+)$', path.read_text(encoding='utf-8'), flags=re.M) if path.exists() else None
    if match is None:
        raise CannotMeasure(f'callgrind left no total in {path.name}')
    return int(match.group(1))


def _callgrind(output):
    return ['valgrind', '--tool=callgrind', f'--callgrind-out-file={output}']


def _to_ready(program):
    """Instructions of all threads from exec until the name is owned and everything sleeps.

    The signal is one that neither program handles, so it ends both where they stand and nothing of their stopping is
    counted; callgrind writes its totals all the same.
    """
    with Bus() as bus:
        output = bus.folder / 'callgrind'
        child = bus.start(*_callgrind(output), program)
        bus.wait_for(SERVICE_NAME)
        wait_until_idle(child)
        child.send_signal(signal.SIGUSR1)
        child.wait(timeout=60)
        return _total(output)


def to_ready(rounds):
    pairs = [(_to_ready(OWN_NAME_FLOOR), _to_ready(SERVICE)) for _ in range(rounds)]
    return ratio_row('instructions to ready', pairs, 1.12, MILLION, 'M', gate=True)


def _per_call(bus, which, count=300):
    """Instructions of the calling thread, from entering the sending function to leaving it.

    Start and end of the program are not in it, nor is the thread that writes to the socket.
    """
    output = bus.folder / which
    output.unlink(missing_ok=True)
    bus.run(*_callgrind(output), f'--toggle-collect=*Calls::{which}(*', PROGRAMS / 'bench_calls', 'send', which, count)
    return _total(output) / count


def of_sending(rounds):
    rows = []
    for kind, name in (('Call', 'SendDbusMethod'), ('Signal', 'SendDbusSignal')):
        # Which of two threads lets go of a message last, and so frees it, would else be a matter of luck.
        with Bus(one_cpu(), in_turns=True) as bus:
            start_peers(bus, PEER)
            pairs = [tuple(_per_call(bus, side + kind) for side in ('Floor', 'Client')) for _ in range(rounds)]
        rows.append(ratio_row(f'instructions of {name}', pairs, 1.05, THOUSAND, 'k', gate=True))
    return rows


def start_peers(bus, *names):
    for name in names:
        bus.start(PROGRAMS / 'bench_peer', name)
        bus.wait_for(name)


def _per_event(bus, program, side, count=50):
    """Instructions of the main thread in each kind of event, in the order of EVENTS.

    Callgrind writes a file when it leaves a phase, and begins anew.
    """
    output = bus.folder / f'{program}.{side}'
    bus.run(*_callgrind(output), '--toggle-collect=*Counted(*', *(f'--dump-after=*Phase{phase}(*' for phase in EVENTS),
            PROGRAMS / program, side, count)
    return [_total(output.with_name(f'{output.name}.{number}')) / count for number in range(1, len(EVENTS) + 1)]


def event_rows(pairs, name, limit):
    return [ratio_row(f'{name} {event}', kind, limit, THOUSAND, 'k', gate=True)
            for event, kind in zip(EVENTS.values(), zip(*pairs))]


def of_events(rounds, recorded_rounds):
    """Of the service against its floor, and with the recorder against itself without.

    Both answers to the A2DP connection are waited for within the event, so that row ends with the second one.
    """
    against_floor, recorded = [], []
    for turn in range(rounds):
        with Bus(one_cpu(), in_turns=True) as bus:
            bus.keeps_recordings()
            start_peers(bus, PEER, SHIFT_PEER)
            floor = _per_event(bus, 'bench_events', 'Floor')
            service = _per_event(bus, 'bench_events', 'Service')
            against_floor.append(list(zip(floor, service)))
            if turn < recorded_rounds:
                recorded.append(list(zip(service, _per_event(bus, 'bench_events_recorded', 'Service'))))
    return event_rows(against_floor, 'instructions of', 1.10) + event_rows(recorded, 'recorded:', 1.45)
