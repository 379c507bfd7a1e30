"""Who may pair, and who may use what: the connection manager is asked, and nobody else answers."""

import sound
from box import DEVICE, MANAGER, check, equal, stays, wait
from bus import Refused

AUTHENTICATION_FAILED = 5
ENTER_PIN, CONFIRM = 0, 2
AUDIO = 18


def asked(box, method='AuthenticaionRequest', other='RequestConfirmation'):
    """Address, name and what follows, as the connection manager got them last. The person at the other device answers
    first: its daemon does not survive a refusal that comes before."""
    box.got(method)
    if method == 'AuthenticaionRequest' and other:
        wait(lambda: other in [call[0] for call in box.peer.agent_calls_so_far()], 'the other was asked too')
    return next(call[2] for call in reversed(box.calls) if call[0] == method)


def test_a_phone_is_accepted(box):
    box.reset('phone')
    box.service_up()
    box.peer.agent('DisplayYesNo')
    box.peer.pair_begin(box.address)
    address, name, passkey, kind, result = asked(box)
    equal('who, and what is wanted', (address, kind, result), (box.peer_address, CONFIRM, 0))
    equal('its name', name, 'A phone')
    box.answers('AnswerAuthentication', box.peer_address, True, '')
    equal('paired, says the other', box.peer.pair_outcome(), 0)
    wait(lambda: box.device().get('Bonded'), 'the bond is there')
    shown = [call for call in box.peer.agent_calls_so_far() if call[0] == 'RequestConfirmation']
    check('both showed the same number', [int(call[2]) for call in shown] == [int(passkey)], shown)
    equal('asked once', box.count('AuthenticaionRequest'), 1)


def test_a_phone_that_forgot_the_box_pairs_again(box):
    box.forget_calls()
    box.peer.forget(box.address)
    box.part()
    box.peer.pair_begin(box.address)
    asked(box)
    box.answers('AnswerAuthentication', box.peer_address, True, '')
    equal('paired again', box.peer.pair_outcome(), 0)
    wait(lambda: box.device().get('Bonded'), 'the bond is there')


def test_one_without_a_display_that_forgot_the_box_is_asked_for_again(box):
    box.forget_calls()
    box.peer.forget(box.address)
    box.part()
    box.peer.agent('NoInputNoOutput')
    box.peer.pair_begin(box.address, capability=3)
    equal('a consent is asked for', asked(box, 'SspConcentRequest'), (box.peer_address, 'A phone', 0))
    box.answers('AnswerConsent', box.peer_address, True)
    equal('paired again', box.peer.pair_outcome(), 0)


def test_one_without_a_display_is_refused(box):
    box.strangers()
    box.peer.pair_begin(box.address, capability=3)
    asked(box, 'SspConcentRequest')
    box.answers('AnswerConsent', box.peer_address, False)
    equal('not paired', box.peer.pair_outcome(), AUTHENTICATION_FAILED)
    check('no bond', not box.device().get('Bonded'))


def test_a_phone_is_refused(box):
    box.strangers()
    box.peer.agent('DisplayYesNo')
    box.peer.pair_begin(box.address)
    asked(box)
    box.answers('AnswerAuthentication', box.peer_address, False, '')
    equal('not paired', box.peer.pair_outcome(), AUTHENTICATION_FAILED)
    check('no bond', not box.device().get('Bonded'))
    wait(lambda: box.done and box.done[-1][1] == 'rejected', 'whoever shows it takes it off the screen')


def test_after_a_restart_of_the_daemon_it_is_still_asked(box):
    box.restart_bluetoothd()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    box.sound_comes(sound.SINK)
    box.strangers()
    box.peer.agent('DisplayYesNo')
    box.peer.pair_begin(box.address)
    asked(box)
    box.answers('AnswerAuthentication', box.peer_address, True, '')
    equal('paired', box.peer.pair_outcome(), 0)
