"""Rows of programs that have nothing to do: memory, threads and wake-ups."""

import contextlib
import time

from processes import (BOX_FLOOR, BOX_SERVICE, OWN_NAME_FLOOR, RECORDED_BOX, SERVICE, SERVICE_NAME, Bus, CannotMeasure,
                       count_threads, count_wake_ups, memory_kib)
from table import Row, ratio_row

# What is still to come after the start, in the floor as well: GLib lets a thread of its pool go that had nothing to do
# for 15 s, and the main loop may have gone to sleep for no longer than the 25 s that a call to the bus may take.
SETTLING_SECONDS = 27
KIB_PER_MIB = 1024


class IdlePairs:
    """Pairs of the floor and the service, each program on a bus of its own, for a `with` block.

    They idle while other rows are measured: nothing of those reaches them.
    """

    FLOOR = OWN_NAME_FLOOR
    SERVICE = SERVICE

    def __init__(self, pairs):
        self._count = pairs
        self._stack = contextlib.ExitStack()
        self._pairs = []
        self._window_start = None
        self._wake_ups_before = None

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            for _ in range(self._count):
                self._pairs.append(tuple(self._start(stack, program) for program in (self.FLOOR, self.SERVICE)))
            self._stack = stack.pop_all()
        self._settled_at = time.monotonic() + SETTLING_SECONDS
        return self

    def __exit__(self, *_):
        self._stack.close()

    def _prepare(self, bus):
        """What programs need on their bus."""

    def _start(self, stack, program):
        bus = stack.enter_context(Bus())
        self._prepare(bus)
        child = bus.start(program)
        bus.wait_for(SERVICE_NAME)
        return child

    def _of_services(self, figure):
        return [figure(service.pid) for _, service in self._pairs]

    def _memory_pairs(self, field):
        return [tuple(memory_kib(child.pid, field) for child in pair) for pair in self._pairs]

    def open_window(self):
        """Wait for the settling and begin to count wake-ups."""
        time.sleep(max(0.0, self._settled_at - time.monotonic()))
        self._wake_ups_before = self._of_services(count_wake_ups)
        self._window_start = time.monotonic()

    def close_window(self, seconds):
        """Wait for the window's end and give the rows."""
        time.sleep(max(0.0, self._window_start + seconds - time.monotonic()))
        elapsed = time.monotonic() - self._window_start
        for child in (child for pair in self._pairs for child in pair):
            if child.poll() is not None:
                raise CannotMeasure(f'{child.args[0]} ended with status {child.returncode} while it idled')
        wake_ups = [after - before for before, after in zip(self._wake_ups_before, self._of_services(count_wake_ups))]
        return self._rows(elapsed, wake_ups, self._of_services(count_threads))

    def _rows(self, elapsed, wake_ups, threads):
        return [
            ratio_row('idle anonymous memory', self._memory_pairs('Anonymous'), 1.10, 1, 'KiB', gate=True),
            ratio_row('idle RSS', self._memory_pairs('Rss'), 1.10, KIB_PER_MIB, 'MiB', gate=True),
            Row(f'wake-ups in {elapsed:.0f} s idle', wake_ups, 0, gate=True, plain=True),
            Row('threads, idle', threads, 3, gate=True, plain=True),
        ]


class IdleBoxes(IdlePairs):
    """The product for a Linux box on a bus without a Bluetooth daemon or any other: it waits for all of them."""

    FLOOR = BOX_FLOOR
    SERVICE = BOX_SERVICE

    def _prepare(self, bus):
        bus.is_a_box()

    def _rows(self, elapsed, wake_ups, threads):
        return [
            ratio_row('box: idle anonymous memory', self._memory_pairs('Anonymous'), 2.0, 1, 'KiB'),
            Row(f'box: wake-ups in {elapsed:.0f} s idle', wake_ups, 0, gate=True, plain=True),
            Row('box: threads, idle', threads, 4, plain=True),
        ]


class IdleRecordedBoxes(IdlePairs):
    """The product with the recorder beside the one without. The recorder's own process is not looked at here."""

    FLOOR = BOX_SERVICE
    SERVICE = RECORDED_BOX

    def _prepare(self, bus):
        bus.is_a_box()
        bus.keeps_recordings()

    def _rows(self, elapsed, wake_ups, threads):
        return [Row(f'recorded: wake-ups in {elapsed:.0f} s idle', wake_ups, 0, gate=True, plain=True),
                Row('recorded: threads, idle', threads, 4, plain=True)]
