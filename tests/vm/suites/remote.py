"""The reference remote, and the wheel: what they report, what they are told, and what becomes of the link."""

from box import TimeOut, check, equal, pass_time, stays, wait

FLAG, LEVEL = 'db/vyrel/smartrc_adc_flag', 'memory/sp-kpi/batlev'
FEATURES = ['[com.quorix/featureconf]', 'setting.menuitem.remote_grib_support=true', '[value]', '1200=77']
FIRMWARE = 0x10000001 # a solar one
INFO_QUERY = 'send device info query'
TWO_MICROPHONES = 0xb0000001
MODE = 'db/menu/support/use_mode'
TYPE = 0x11
COMMAND, RC_COMMAND, DUID = 0x30, 0x31, 0x32
CONNECTION_UPDATE = 0x2013


def battery(adc, level):
    return f'{adc << 3 | level:02x}00'


def obeyed(box, kind, beginning):
    return [data for number, data in box.peer.obeyed() if number == kind and data.startswith(beginning)]


def usage(box, code):
    return [event for event in box.usage() if code in str(event)]


def test_it_connects(box):
    box.reset('remote', features=FEATURES, settings=[(MODE, 1)])
    box.service_up()
    box.peer.remote(TYPE, FIRMWARE)
    box.strength(-48)
    box.find_and_pair()
    wait(lambda: box.peer.obeyed(), 'it is told something', 20)
    # A slow machine does not ask it within a second what it is.
    check('shop mode first', box.peer.obeyed()[0] in ([COMMAND, f'{TYPE:02x}06'], [COMMAND, '0006']), box.peer.obeyed())
    wait(lambda: usage(box, 'EV006'), 'a usage event')
    event = str(usage(box, 'EV006'))
    for part in ('25_remocon', 'BTCONNECT', 'rssi=-48', f'scmac={box.peer_address}'):
        check(part, part in event, event)
    equal('no keyboard', box.count('HidConStateChanged'), 0)
    box.wait_setting('db/vyrel/last_smartrc_address', box.peer_address)


def test_its_battery_is_told_where_it_decides_something(box):
    box.peer.listened_to()
    box.forget_calls()
    for adc, level, call in ((16, 2, None), (15, 2, '48'), (15, 2, None), (3, 1, '10'), (2, 1, None), (27, 3, None),
                             (28, 4, None), (14, 2, '45')):
        before = len(box.calls)
        box.peer.report(0x20, battery(adc, level))
        box.wait_setting(LEVEL, str(level))
        if call:
            box.got('SmartRcBatteryLevel', call)
        pass_time(0.3)
        equal(f'calls at {adc}', len(box.calls) - before, 1 if call else 0)
    equal('both warnings are armed again but for the first', box.setting(FLAG), '1')


def test_a_level_that_is_low_is_told_as_it_is(box):
    box.forget_calls()
    box.peer.report(0x20, battery(31, 5))
    box.got('SmartRcBatteryNotify', '5', box.peer_address, FIRMWARE)
    open('/tmp/app_ready', 'w').close()
    box.peer.report(0x20, battery(31, 0))
    box.got('SmartRcBatteryNotify', '0', box.peer_address, FIRMWARE)


def test_charging_is_told_in_two_of_its_states(box):
    box.forget_calls()
    for status in (5, 6, 7):
        box.peer.report(0x21, f'{status:02x}0000')
        pass_time(0.3)
    box.got('SmartRcBatteryChargingStatus', 7)
    equal('not its beginning', box.names(), ['SmartRcBatteryChargingStatus(6,)', 'SmartRcBatteryChargingStatus(7,)'])


def test_a_grip_is_told(box):
    box.forget_calls()
    box.peer.report(0x23, '0100')
    box.wait_setting('memory/vyrel/count_display_grip_sensor_popup', '0')
    box.peer.report(0x22, '2a00')
    box.got('GripSensorDetected')


def test_the_wizard_switches_the_grip_sensor_off_and_on(box):
    box.settings(('memory/wizard/wizard_mode', 'PNP_SETUP'))
    wait(lambda: obeyed(box, COMMAND, f'{TYPE:02x}31'), 'off')
    box.peer.report(0x23, '0000')
    pass_time(0.3)
    box.settings(('memory/wizard/wizard_mode', 'OFF'))
    wait(lambda: obeyed(box, COMMAND, f'{TYPE:02x}30'), 'on')


def test_shop_mode_follows_its_setting(box):
    box.settings((MODE, 0))
    wait(lambda: obeyed(box, COMMAND, f'{TYPE:02x}07'), 'off')


def test_it_may_be_held_awake(box):
    box.peer.sleeps_through(30)
    wait(lambda: box.peer.link_runs()[1] == 30, 'it sleeps, as it likes to')
    before = len(box.commands(CONNECTION_UPDATE))
    box.settings(('memory/factoryapp/factory_mode', 1))
    wait(lambda: len(box.commands(CONNECTION_UPDATE)) > before, 'the controller is told')
    wait(lambda: box.peer.link_runs()[1] == 0, 'it may sleep through no event any more')


def test_it_gets_the_infrared_key_code(box):
    wait(lambda: obeyed(box, RC_COMMAND, '02244d'), 'ten seconds after it came', 15)


def test_it_is_asked_what_it_is(box):
    box.settings(('memory/volt/firstscreen_state', 1))
    wait(lambda: obeyed(box, RC_COMMAND, '03010000'), 'with the first picture')


def test_only_one_with_two_microphones_gets_the_unique_id(box):
    box.settings(('db/comss/duid', 'ABCDEFGHIJKLMNOPQRSTUVWX'))
    stays(lambda: not obeyed(box, DUID, ''), 'it gets none', 1.5)


def test_a_lost_link_says_why(box):
    box.peer.advertise(False)
    box.lose_link(0x08)
    box.wait_setting('memory/org.vantor.vyrel/hsm_remocon_disconnect_reason', 'Timeout')
    equal('who', box.setting('memory/org.vantor.vyrel/hsm_remocon_disconnected_address'), box.peer_address)
    wait(lambda: len(usage(box, 'EV006')) == 2, 'a usage event of the loss')
    check('with its kind', 'scdisconrsn=1' in str(usage(box, 'EV006')[-1]), usage(box, 'EV006')[-1])


def test_it_comes_back_by_itself(box):
    box.peer.advertise(True)
    before = len(box.peer.obeyed())
    wait(lambda: len(box.peer.obeyed()) > before, 'it is told the mode again', 25)
    box.wait_setting('memory/org.vantor.vyrel/hsm_remocon_disconnect_reason', '')


def on_its_way(box, mode, command):
    """The setting is another, the remote was sent the command and did not acknowledge it; how many it obeyed so far. After
    the third time it is not sent again: the remote's daemon, 5.66, dies of one that comes as the link ends."""
    box.wait_silent() # nothing is left of what the remote is told when it comes back
    before, sent = len(box.peer.obeyed()), len(box.peer.received())
    box.peer.acknowledge(False)
    box.settings((MODE, mode))
    wait(lambda: sum(data[2:].startswith(command) for _, data in box.peer.received()[sent:]) == 3, 'it is sent it')
    return before


def obeys(box, before, command):
    wait(lambda: [data for number, data in box.peer.obeyed()[before:] if number == COMMAND and data[2:] == command],
         'it obeys when it is back', 30)


def test_the_daemon_is_restarted_with_a_command_on_its_way(box):
    before = on_its_way(box, 1, '06')
    box.restart_bluetoothd()
    box.peer.acknowledge(True)
    obeys(box, before, '06')


def test_the_adapter_is_pulled_with_a_command_on_its_way(box):
    before = on_its_way(box, 0, '07')
    box.radio_goes()
    box.peer.acknowledge(True)
    box.wait_setting('memory/org.vantor.vyrel/hsm_remocon_disconnected_address', box.peer_address)
    check('why', box.setting('memory/org.vantor.vyrel/hsm_remocon_disconnect_reason') in ('Unknown', 'Reset'))
    box.peer.is_now(TYPE, TWO_MICROPHONES) # for the next case
    box.radio_comes()
    obeys(box, before, '07')


def test_one_with_two_microphones_gets_the_unique_id(box):
    # On a slow machine it takes some seconds until it is known what it is, and till then it is sent none.
    for last in b'xyz':
        text = 'abcdefghijklmnopqrstuvw' + chr(last)
        box.settings(('db/comss/duid', text))
        try:
            wait(lambda: len(obeyed(box, DUID, '')) == 2, 'two parts', 1)
            break
        except TimeOut:
            check('none', not obeyed(box, DUID, ''), obeyed(box, DUID, ''))
    equal('byte by byte', obeyed(box, DUID, ''),
          ['0210' + text[:16].encode().hex(), '1208' + text[16:].encode().hex() + '00' * 8])
    first, second = (int(data[-2:], 16) for number, data in box.peer.received() if number == DUID)
    equal('and in turn', second, (first + 1) % 256)


def test_the_first_command_after_a_wake_reaches_it(box):
    box.wait_looked_at()
    before, tried = len(obeyed(box, RC_COMMAND, '03010000')), box.service_log().count(INFO_QUERY)
    box.settings(('memory/volt/firstscreen_state', 0))
    box.logind.tells('PrepareForSleep', True)
    # Meanwhile the remote gave up the link; the box's controller does not know yet.
    box.peer.lose_links()
    box.logind.tells('PrepareForSleep', False)
    box.settings(('memory/volt/firstscreen_state', 1))
    wait(lambda: box.service_log().count(INFO_QUERY) > tried, 'it is written, and goes nowhere')
    box.lose_link(0x08)
    wait(lambda: len(obeyed(box, RC_COMMAND, '03010000')) > before, 'it is back, and obeys', 30)


def has_its_key_code(box):
    """It is sent the infrared key code ten seconds after it came; a command of that moment waits behind that."""
    log = box.service_log()
    return log.rfind('Add IR Key code timer') < max(log.rfind('SendIrKeyCodeCommand'),
                                                    log.rfind('Remove IR Key code timer'))


def test_it_is_told_to_forget_before_a_reset(box):
    wait(lambda: has_its_key_code(box), 'the infrared key code was sent', 15)
    box.wait_silent()
    box.forget_calls()
    box.power('RequestPowerOff', 13)
    wait(lambda: obeyed(box, COMMAND, f'{TYPE:02x}05'), 'the reset command reaches it')
    wait(lambda: box.logind.asked == ['Reboot'], 'the machine starts anew', 20)
