"""The row of a long life: what a million events leave behind."""

from instructions import PEER, SHIFT_PEER, start_peers
from processes import PROGRAMS, Bus
from table import Row

EVENTS = 1_000_000
# Until then the C library and GLib make what they keep from then on.
WARM_UP = 100_000
# It would keep some freed blocks for each thread. Which ones is chance, and there are more and more sizes among them for
# hundreds of thousands of events; how much they may be in all has a limit.
NO_BLOCKS_OF_THREADS = 'GLIBC_TUNABLES=glibc.malloc.tcache_count=0'
SECONDS_AT_MOST = 1500


def memory_growth():
    with Bus() as bus:
        start_peers(bus, PEER, SHIFT_PEER)
        output = bus.run('env', NO_BLOCKS_OF_THREADS, PROGRAMS / 'bench_events', 'soak', WARM_UP, EVENTS,
                         timeout=SECONDS_AT_MOST)
    before, after = (int(kib) for kib in output.split())
    return Row('KiB of private memory in 1000000 events', [after - before], 0, floor=f'{before} KiB',
               service=f'{after} KiB', gate=True, plain=True)
