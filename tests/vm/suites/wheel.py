"""The wheel, on a product that is made for it."""

from box import check, equal, pass_time, wait

FLAG, LEVEL = 'db/vyrel/halvowheel_adc_flag', 'memory/org.vantor.vyrel/halvo_wheel_battery_level'
MODE = 'db/menu/support/use_mode'
TYPE = 0x21
COMMAND = 0x30


def on_its_way(box, mode, command):
    """The setting is another, the wheel was sent the command and did not acknowledge it; how many it obeyed so far. After
    the third time it is not sent again: the wheel's daemon, 5.66, dies of one that comes as the link ends."""
    before, sent = len(box.peer.obeyed()), len(box.peer.received())
    box.peer.acknowledge(False)
    box.settings((MODE, mode))
    wait(lambda: sum(data.startswith(command) for _, data in box.peer.received()[sent:]) == 3, 'it is sent the command')
    return before


def works(box, level):
    box.wait_looked_at()
    box.peer.listened_to()
    box.peer.report(0x20, f'{20 << 3 | level:02x}00')
    box.wait_setting(LEVEL, str(level))


def test_it_connects(box):
    box.reset('wheel', settings=[(MODE, 1)],
              features=['[com.quorix/featureconf]', 'product.is_game_screen_monitor=true'])
    box.service_up()
    box.peer.remote(TYPE, 1)
    box.find_and_pair()
    wait(lambda: box.peer.obeyed(), 'it is told something', 20)
    # The device type is asked of the smart remote, which is not there.
    equal('shop mode', box.peer.obeyed()[0], [COMMAND, '0006'])
    box.wait_setting('db/vyrel/last_halvo_wheel_address', box.peer_address)
    equal('no keyboard', box.count('HidConStateChanged'), 0)


def test_its_battery_is_told(box):
    box.peer.listened_to()
    box.forget_calls()
    for adc, level, call in ((16, 2, None), (15, 2, '48'), (3, 1, '10'), (3, 1, None), (28, 4, None)):
        before = len(box.calls)
        box.peer.report(0x20, f'{adc << 3 | level:02x}00')
        box.wait_setting(LEVEL, str(level))
        if call:
            box.got('HalvoWheelBatteryLevel', call)
        pass_time(0.3)
        equal(f'calls at {adc}', len(box.calls) - before, 1 if call else 0)
    equal('both warnings are armed again', box.setting(FLAG), '0')
    box.peer.report(0x20, 'fd00')
    box.got('HalvoWheelBatteryNotify', '5', box.peer_address)


def test_its_charging_is_told(box):
    box.peer.report(0x21, '060000')
    box.got('HalvoWheelBatteryChargingStatus', 6)


def test_the_daemon_is_restarted_with_a_command_on_its_way(box):
    before = on_its_way(box, 0, '0007')
    box.restart_bluetoothd()
    box.peer.acknowledge(True)
    wait(lambda: [COMMAND, '0007'] in box.peer.obeyed()[before:], 'it obeys when it is back', 30)
    works(box, 5)


def test_the_adapter_is_pulled_with_a_command_on_its_way(box):
    before = on_its_way(box, 1, '0006')
    box.radio_goes()
    box.peer.acknowledge(True)
    box.radio_comes()
    wait(lambda: [COMMAND, '0006'] in box.peer.obeyed()[before:], 'it obeys when it is back', 30)
    works(box, 4)


def test_a_lost_link_says_why(box):
    box.peer.advertise(False)
    box.lose_link(0x08)
    box.wait_setting('memory/org.vantor.vyrel/hsm_wheel_disconnected_reason', 'Timeout')
    equal('who', box.setting('memory/org.vantor.vyrel/hsm_wheel_disconnected_address'), box.peer_address)
