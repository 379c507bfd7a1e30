"""Who may pair, and who may use what: the connection manager is asked, and nobody else answers."""

import time

import sound
from box import DEVICE, MANAGER, check, equal, stays, wait
from bus import Refused, TimeOut

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


def wants_to_play(box):
    """A phone begins to play; what the connection manager was asked. The daemons of both may begin to ask each other at
    the same moment, and then give up: people try again."""
    for _ in range(4):
        box.part()
        box.forget_calls()
        box.peer.ask_device('ConnectProfile', box.address, sound.SINK)
        trying = box.peer.begin('outcome', 'ConnectProfile', 45)
        wait(lambda: box.count('AuthorizationRequest') or box.peer.has_ended(trying), 'the phone gets somewhere', 45)
        if box.count('AuthorizationRequest'):
            return asked(box, 'AuthorizationRequest'), trying
        print(f'@+ not at once: {box.peer.end(trying)}')
    raise TimeOut('the phone never gets to the question')


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


def is_waited_for(box):
    """A question that nobody has answered yet."""
    box.strangers()
    box.peer.agent('DisplayYesNo')
    box.peer.pair_begin(box.address)
    asked(box)


def is_off_the_screen(box):
    wait(lambda: box.done and box.done[-1][1] == 'cancelled', 'the question is taken off the screen')
    check('not paired', box.peer.pair_outcome() != 0)


def test_the_adapter_is_pulled_before_the_answer(box):
    is_waited_for(box)
    box.radio_goes()
    is_off_the_screen(box)
    box.radio_comes()
    wait(box.is_set_up, 'the adapter is set up again', 20)


def test_the_daemon_is_restarted_before_the_answer_and_the_next_is_asked_too(box):
    is_waited_for(box)
    box.restart_bluetoothd()
    is_off_the_screen(box)
    wait(box.is_set_up, 'the adapter is set up again', 20)
    box.sound_comes(sound.SINK)
    box.strangers()
    box.peer.pair_begin(box.address)
    asked(box)
    box.answers('AnswerAuthentication', box.peer_address, True, '')
    equal('paired', box.peer.pair_outcome(), 0)


def test_a_service_is_allowed(box):
    box.peer.endpoint(sound.SOURCE)
    box.peer_knows_services()

    for _ in range(4):
        question, trying = wants_to_play(box)
        equal('who, and what for', question, (box.peer_address, 'A phone', AUDIO, 0))
        # The try before may end in between.
        told = [name for name in box.names() if not name.startswith('AudioConnectionStateChanged')]
        check('after a sign of life', told[0] == 'Hello()', told)
        box.answers('AnswerService', box.peer_address, AUDIO, True, False)
        if box.peer.end(trying) is None:
            break
    box.got('AudioConnectionStateChanged', box.peer_address, 16, 0, 1)
    check('it is not trusted for it', not box.device()['Trusted'])


def test_a_service_is_refused(box):
    _, trying = wants_to_play(box)
    box.answers('AnswerService', box.peer_address, AUDIO, False, False)
    check('not connected', box.peer.end(trying))
    heard = [name for name in box.names() if name.startswith('AudioConnectionStateChanged') and name.endswith(', 1)')]
    equal('nobody hears of a connection', heard, [])


def test_without_a_connection_manager_audio_is_refused_at_once(box):
    box.peer.do('Disconnect', box.address)
    box.siblings[MANAGER].go()
    box.forget_calls()
    box.peer.ask_device('ConnectProfile', box.address, sound.SINK)
    check('not connected', box.peer.outcome('ConnectProfile', 10))
    wait(lambda: box.done and box.done[-1][1] == 'rejected', 'refused, not forgotten')
    box.siblings[MANAGER].come()


def test_who_is_not_answered_is_refused_in_the_end(box):
    box.strangers()
    box.peer.pair_begin(box.address)
    box.got('AuthenticaionRequest')
    begun = time.monotonic()
    asked(box)
    stays(lambda: not box.done, 'it waits for an answer', begun + 24 - time.monotonic())
    wait(lambda: box.done and box.done[-1][1] == 'timeout', 'it is refused after 25 seconds', 2)
    check('not paired', box.peer.pair_outcome() != 0)
    check('no bond', not box.device().get('Bonded'))


def test_an_old_phone_takes_a_pin(box):
    box.strangers()
    box.peer.grow_old()
    box.peer.agent('KeyboardDisplay', RequestPinCode='4711')
    box.peer.shell(f'sdptool browse {box.address}')
    wait(box.device_path, 'the box knows of it')
    pairing = box.bus.ask(box.device_path(), DEVICE, 'Pair')
    equal('a PIN is asked for', asked(box, other=None)[3], ENTER_PIN)
    try:
        box.answers('AnswerAuthentication', box.peer_address, True, '')
        check('an empty PIN is refused', False)
    except Refused:
        pass
    box.answers('AnswerAuthentication', box.peer_address, True, '4711')
    pairing.result()
    check('the other was asked too', ['RequestPinCode'] == [call[0] for call in box.peer.agent_calls_so_far()])
    check('paired', box.peer.device(box.address)['Paired'])
