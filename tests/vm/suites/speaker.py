"""A speaker: sound, its calls and usage event, its volume, its loss."""

import sound
from box import check, equal, links, pass_time, wait

ROUTE = 'db/vyrel/lastSoundRoute'
A2DP = 2


def paired(box):
    """A bond with the speaker, as a connection manager makes one, which then trusts it."""
    box.sound_comes(sound.SOURCE)
    box.peer.endpoint(sound.SINK)
    box.bond()


def calls_of_audio(box):
    return [(call[0], *call[2]) for call in box.calls
            if call[0] in ('AudioConnectionStateChanged', 'UpdateConnectedDeviceList')]


def events(box, code):
    return [event for event in box.usage() if code in str(event)]


def test_a_speaker_connects(box):
    box.reset('speaker')
    box.service_up()
    paired(box)
    box.strength(-37)
    box.forget_calls()
    box.connect()
    box.got('UpdateConnectedDeviceList', True, box.peer_address)
    equal('both siblings are told, once', calls_of_audio(box), [
        ('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 1),
        ('UpdateConnectedDeviceList', True, box.peer_address)])
    kinds = {(call[0], call[1]) for call in box.calls}
    check('with these types', {('AudioConnectionStateChanged', '(siii)'), ('UpdateConnectedDeviceList', '(bs)')} <= kinds,
          kinds)
    wait(lambda: events(box, 'EV003'), 'a usage event')
    text = str(events(box, 'EV003'))
    for part in ('25_wireless', 'BT_DEV', 'type=0x02', 'name=A speaker', 'btrssi=-37', 'numdevices=1'):
        check(part, part in text, text)
    equal('one', len(events(box, 'EV003')), 1)


def test_sound_goes_through(box):
    number = box.peer.begin('heard_sound')
    box.sound.acquire()
    for _ in range(10):
        box.sound.send()
        pass_time(0.1)
    equal('as it was sent', box.peer.end(number, 'hearing'), len(sound.PACKET))


def test_its_volume_is_told(box):
    box.forget_calls()
    box.peer.volume(64)
    box.got('AvrcpInterimReceived', box.peer_address, 64)
    box.peer.volume(21)
    box.got('AvrcpInterimReceived', box.peer_address, 21)


def test_it_is_lost(box):
    box.sound.release()
    box.forget_calls()
    equal('it hangs up', box.peer.do('Disconnect', box.address), None)
    box.got('UpdateConnectedDeviceList', False, box.peer_address)
    equal('both siblings are told, once', calls_of_audio(box), [
        ('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 0),
        ('UpdateConnectedDeviceList', False, box.peer_address)])


def test_it_comes_by_itself(box):
    wait(lambda: not box.device()['Connected'], 'the link is down')
    box.forget_calls()
    equal('it connects', box.peer.do('Connect', box.address), None)
    box.got('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 1)
    equal('a bonded and trusted one is not asked for', box.count('AuthorizationRequest'), 0)
    wait(lambda: len(events(box, 'EV003')) == 2, 'a second usage event')


def test_a_restart_of_the_daemon_is_a_loss(box):
    box.forget_calls()
    box.restart_bluetoothd()
    box.got('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 0)
    box.got('AdapterDisabled')
    wait(box.is_set_up, 'the adapter is set up again', 20)
    box.sound_comes_again(sound.SOURCE)
    box.forget_calls()
    wait(lambda: not box.peer.device(box.address)['Connected'], 'the other knows of the loss', 20)
    equal('it connects again', box.peer.do('Connect', box.address), None)
    box.got('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 1)


def test_an_adapter_that_is_pulled_is_a_loss(box):
    box.forget_calls()
    box.radio_goes()
    box.got('AudioConnectionStateChanged', box.peer_address, A2DP, 0, 0)
    box.got('AdapterDisabled')
    equal('no bond is said to be gone', box.count('BondDestroied'), 0)
    box.radio_comes()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    check('the bond is still there', box.device().get('Bonded'))
    # The speaker may be back already: its daemon connects again by itself what it lost.
    wait(lambda: box.device()['Connected'] == bool(links()), 'and no link that is none')
    box.sound_comes_again(sound.SOURCE)
    box.speaker_comes()


def test_it_is_forgotten(box):
    box.forget_calls()
    box.forget_device()
    box.got('BondDestroied', box.peer_address)
    box.got('UpdateConnectedDeviceList', False, box.peer_address)
