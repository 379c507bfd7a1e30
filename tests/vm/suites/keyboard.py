"""A keyboard, of either kind: it works, and the connection manager hears of it."""

import glob
import os

from box import TimeOut, check, equal, wait

PRESS, RELEASE = '010000040000000000', '010000000000000000' # the letter a; the first byte is the report's id
KEY_A = 30


def keys(fds):
    """The codes of keys that were pressed, of what there is to read."""
    codes = []
    for fd in fds:
        try:
            data = os.read(fd, 24 * 64)
        except BlockingIOError:
            continue
        for at in range(0, len(data), 24):
            event = data[at + 16:at + 24]
            kind, code, value = (int.from_bytes(event[a:b], 'little') for a, b in ((0, 2), (2, 4), (4, 8)))
            if (kind, value) == (1, 1):
                codes.append(code)
    return codes


def arrives(press):
    """Whether the machine gets the key, on those of its inputs that are there."""
    fds = [os.open(path, os.O_RDONLY | os.O_NONBLOCK) for path in glob.glob('/dev/input/event*')]
    try:
        press()
        wait(lambda: KEY_A in keys(fds), 'the key is pressed', 3)
        return True
    except TimeOut:
        return False
    finally:
        for fd in fds:
            os.close(fd)


def presses(press):
    """As often as a person would: the input comes a moment after the connection."""
    check('the key is pressed', any(arrives(press) for _ in range(5)))


def usage(box):
    return [event for event in box.usage() if 'EV003' in str(event)]


def test_a_classic_one_connects(box):
    box.reset('keyboard')
    box.service_up()
    box.peer.classic_keyboard()
    box.bond()
    waiting = box.peer.begin('accept_channels')
    box.connect()
    box.peer.end(waiting, 'accepting')
    box.got('HidConStateChanged', box.peer_address, 0, 1)
    wait(lambda: usage(box), 'a usage event')
    check('of an input device', 'type=0x08' in str(usage(box)), usage(box))
    check('of its strength', 'btrssi=-42' in str(usage(box)), usage(box))


def test_its_keys_work(box):
    presses(lambda: (box.peer.press(PRESS), box.peer.press(RELEASE)))
    equal('told once', box.count('HidConStateChanged'), 1)


def test_it_goes_and_comes_by_itself(box):
    box.peer.close_channels()
    wait(lambda: not glob.glob('/dev/hidraw*'), 'it is gone')
    box.forget_calls()
    box.peer.open_channels(box.address)
    box.got('HidConStateChanged', box.peer_address, 0, 1)
    equal('a bonded and trusted one is not asked for', box.count('AuthorizationRequest'), 0)


def test_it_comes_back_after_the_daemon_was_restarted(box):
    box.restart_bluetoothd()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    box.peer.close_channels()
    box.peer.part()
    box.forget_calls()
    box.peer.open_channels(box.address)
    box.got('HidConStateChanged', box.peer_address, 0, 1)


def test_it_comes_back_after_the_adapter_was_away(box):
    box.radio_goes()
    wait(lambda: not glob.glob('/dev/hidraw*'), 'it is gone')
    box.peer.close_channels()
    box.radio_comes()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    box.forget_calls()
    box.peer.open_channels(box.address)
    box.got('HidConStateChanged', box.peer_address, 0, 1)
    presses(lambda: (box.peer.press(PRESS), box.peer.press(RELEASE)))


def test_one_on_low_energy_connects(box):
    box.reset('le keyboard')
    box.service_up()
    box.peer.le_keyboard()
    box.find_and_pair()
    box.got('HidConStateChanged', box.peer_address, 0, 1, seconds=20)
    wait(lambda: usage(box), 'a usage event')
    equal('told once', box.count('HidConStateChanged'), 1)


def test_its_keys_work_too(box):
    box.peer.listened_to()
    presses(lambda: (box.peer.report(1, PRESS[2:]), box.peer.report(1, RELEASE[2:])))


def test_the_one_on_low_energy_comes_back_after_the_daemon_was_restarted(box):
    box.forget_calls()
    box.restart_bluetoothd()
    box.got('HidConStateChanged', box.peer_address, 0, 1, seconds=30)
    box.peer.listened_to()
    presses(lambda: (box.peer.report(1, PRESS[2:]), box.peer.report(1, RELEASE[2:])))


def test_and_after_the_adapter_was_away(box):
    box.forget_calls()
    box.radio_goes()
    wait(lambda: not glob.glob('/dev/hidraw*'), 'it is gone')
    box.radio_comes()
    box.got('HidConStateChanged', box.peer_address, 0, 1, seconds=30)
