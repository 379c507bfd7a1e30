"""Rows counted by callgrind: instructions, which no other load on the machine changes."""

import re
import signal

from processes import OWN_NAME_FLOOR, PROGRAMS, SERVICE, SERVICE_NAME, Bus, CannotMeasure, one_cpu, wait_until_idle
from table import ratio_row

MILLION = 1e6
THOUSAND = 1e3
PEER = 'com.quorix.tv.bt.connectionmanager'


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
    return ratio_row('instructions to ready', pairs, 1.25, MILLION, 'M', gate=True)


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
            bus.start(PROGRAMS / 'bench_peer', PEER)
            bus.wait_for(PEER)
            pairs = [tuple(_per_call(bus, side + kind) for side in ('Floor', 'Client')) for _ in range(rounds)]
        rows.append(ratio_row(f'instructions of {name}', pairs, 1.08, THOUSAND, 'k', gate=True))
    return rows
