"""The speaker that played last: what the box does about it when it starts."""

import time

import sound
from box import check, equal, stays, wait

ROUTE, SPEAKER = 'db/vyrel/lastSoundRoute', 3
MANAGER_CONNECTS = 'LastConnectedBtSpk'


def test_one_that_is_back_in_time_is_left_alone(box):
    box.reset('speaker')
    box.service_up()
    box.sound_comes()
    box.peer.endpoint(sound.SINK)
    box.bond()
    box.connect()
    box.got('AudioConnectionStateChanged', box.peer_address, 2, 0, 1)
    box.stop_service()
    box.part()
    box.settings((ROUTE, SPEAKER))
    box.forget_calls()
    box.service()
    equal('the speaker connects', box.peer.do('Connect', box.address), None)
    box.got('AudioConnectionStateChanged', box.peer_address, 2, 0, 1)
    stays(lambda: box.count(MANAGER_CONNECTS) == 0, 'nothing is sent', 11)
    equal('it is still the last', box.setting(ROUTE), str(SPEAKER))


def test_one_that_was_on_before_the_box_is_asked_for_once_and_comes(box):
    box.stop_service()
    box.part()
    box.forget_calls()
    begun = time.monotonic()
    box.service()
    stays(lambda: box.count(MANAGER_CONNECTS) == 0, 'it gets its ten seconds', begun + 9.8 - time.monotonic())
    box.got(MANAGER_CONNECTS, seconds=6)
    equal('it is no longer the last', box.setting(ROUTE), '0')
    # What a connection manager does when it is told so.
    box.connect()
    box.got('AudioConnectionStateChanged', box.peer_address, 2, 0, 1)
    stays(lambda: box.count(MANAGER_CONNECTS) == 1, 'once', 1)
    wait(lambda: box.peer.transport(), 'the speaker is ready to play')


def test_the_wait_goes_on_without_daemon_and_adapter(box):
    box.stop_service()
    box.part()
    box.settings((ROUTE, SPEAKER))
    box.forget_calls()
    begun = time.monotonic()
    box.service()
    box.bluetoothd_is_upgraded()
    box.radio_is_pulled()
    box.sound_comes_again(sound.SOURCE)
    if (left := begun + 9.8 - time.monotonic()) > 0:
        stays(lambda: box.count(MANAGER_CONNECTS) == 0, 'it gets its ten seconds', left)
    box.got(MANAGER_CONNECTS, seconds=6)
    equal('once', box.count(MANAGER_CONNECTS), 1)
    # The daemon has forgotten on which of its two radios it knows the speaker, so the speaker connects.
    box.speaker_comes()
    equal('nothing more is sent', box.count(MANAGER_CONNECTS), 0)


def test_one_that_is_connected_at_the_start_is_looked_after(box):
    box.stop_service()
    check('the link does not depend on the service', box.device()['Connected'])
    box.forget_calls()
    box.service_up()
    box.got('CheckConnectedDevice')
