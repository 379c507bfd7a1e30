"""The adapter's start, its switches, and what others see of it."""

from box import UUID, check, equal, pass_time, stays, wait
from bus import TimeOut, parts

MANUFACTURER, NAME, SERVICES = 0xff, 0x09, 0x07
# Company 0x0075; type and icon of the device stand in the ninth and tenth byte.
DATA = bytes.fromhex('75000009010000000106') + bytes(20)
FEATURES = '[com.quorix/featureconf]'
OFF = 'db/low-power-support/bt-disable'
NAME_KEY = 'db/menu/network/devicename/tv_name'


def seen(box):
    """The box's answer to the other's inquiry, in parts; nothing when it gives none."""
    found = box.peer.inquire().get(box.address)
    return found and parts(found['response'])


def wait_seen(box, what, condition, seconds=12):
    last = []

    def is_so():
        last[:] = [seen(box)]
        return condition(last[0])
    try:
        wait(is_so, what, seconds)
    except TimeOut as error:
        raise TimeOut(f'{error}; the answer was {last[0]}') from None


def complete(name, data=DATA):
    service = bytes.fromhex(UUID.replace('-', ''))[::-1]
    return lambda answer: (answer and answer.get(NAME) == name and answer.get(MANUFACTURER) == data and
                           service in answer.get(SERVICES, b''))


def begins_to_switch_on(box):
    box.forget_calls()
    box.key_combination(51)
    box.got('AdapterDisabled')
    wait(lambda: not box.bus.adapter()['Powered'], 'the adapter is off')
    box.key_combination(52)
    wait(lambda: box.bus.adapter().get('Powered'), 'the adapter is on')


def test_an_adapter_that_is_off_goes_the_whole_way(box):
    box.reset('phone', settings=[(NAME_KEY, 'Living Room'), ('db/vyrel/reset', 1)])
    check('it is off at first', not box.bus.adapter()['Powered'])
    check('and does not answer', not box.answers_pages())
    box.service_up()
    wait_seen(box, 'name, service and manufacturer data', complete(b'Living Room'))
    equal('it says its name', box.peer.remote_name(box.address), 'Living Room')
    check('and can be called', box.answers_pages())
    equal('it is not to be off', box.setting(OFF), 'false')
    equal('what was asked for is done', box.setting('db/vyrel/reset'), '0')
    for key, value in (('db/vyrel/micomReset', '0'), ('db/vyrel/soundsharedevice/ss_use', '1'),
                       ('memory/org.vantor.vyrel/ext_bt_spk_name', ' '), ('memory/org.vantor.vyrel/input_window_id', ' '),
                       ('db/menu/sound/speakersettings/soundmirroring', '0')):
        equal(key, box.setting(key), value)
    equal('the connection manager forgets once', box.count('DeleteDatabase'), 1)
    equal('and nobody hears anything else', box.names(), ['DeleteDatabase()'])


def test_the_advertisement_has_what_fits(box):
    heard = box.peer.heard(box.address)
    equal('type and icon with low energy', heard['ManufacturerData'], {'117': list(DATA[2:10])})


def test_a_rename_keeps_the_manufacturer_data(box):
    box.settings((NAME_KEY, 'Salon'))
    wait_seen(box, 'the new name beside the old data', complete(b'Salon'))
    equal('the new name', box.peer.remote_name(box.address), 'Salon')


def test_key_51_switches_off_and_52_on(box):
    box.forget_calls()
    box.key_combination(51)
    box.got('AdapterDisabled')
    wait(lambda: not box.bus.adapter()['Powered'], 'the adapter is off')
    equal('the key', box.setting(OFF), 'false')
    check('nobody is answered', not box.answers_pages())
    box.key_combination(52)
    wait_seen(box, 'all of it again', complete(b'Salon'))
    wait(lambda: box.setting(OFF) == 'true', 'the key')
    equal('told once', box.count('AdapterDisabled'), 1)


def test_the_daemon_is_restarted_while_it_switches_on(box):
    begins_to_switch_on(box)
    box.restart_bluetoothd()
    wait_seen(box, 'all of it again', complete(b'Salon'), 20)
    wait(lambda: box.setting(OFF) == 'true', 'the key')


def test_the_adapter_is_pulled_while_it_switches_on(box):
    begins_to_switch_on(box)
    box.radio_is_pulled()
    wait_seen(box, 'all of it again', complete(b'Salon'), 20)


def test_other_keys_do_nothing(box):
    box.forget_calls()
    box.key_combination(50)
    box.key_combination(53)
    stays(lambda: box.bus.adapter()['Powered'] and not box.calls, 'nothing happens', 1)


def test_a_full_power_off_leaves_it_unconnectable(box):
    box.forget_calls()
    box.power('RequestPowerOff', 0x40000000)
    box.got('CHIP')
    wait(lambda: box.logind.asked == ['PowerOff'], 'the machine is to go off', 20)
    check('it does not answer', not box.answers_pages())
    equal('nobody sees it', seen(box), None)


def test_an_adapter_that_is_on_is_taken_as_it_is(box):
    box.reset('phone', auto_enable=True, settings=[(NAME_KEY, 'Kitchen'), ('db/vyrel/reset', 1)],
              features=[FEATURES, 'devicename.device_type_index=258', 'devicename.icon_index=9'])
    box.service_up()
    wait_seen(box, 'name, service and data with the type\'s low byte',
              complete(b'Kitchen', DATA[:8] + bytes([2, 9]) + DATA[10:]))
    pass_time(1)
    equal('only what enabling it would have done too', box.names(), ['DeleteDatabase()'])
    equal('it is not to be off', box.setting(OFF), 'false')


def test_one_that_is_to_be_off_stays_off(box):
    box.reset('phone', settings=[(OFF, True)])
    box.service()
    stays(lambda: not box.bus.adapter()['Powered'], 'it is off', 2)
    equal('it is to be off', box.setting(OFF), 'true')
    equal('nobody hears anything', box.names(), [])


def test_one_that_is_on_and_is_to_be_off_goes_off(box):
    box.reset('phone', auto_enable=True, settings=[(OFF, True)])
    box.service()
    box.got('AdapterDisabled')
    wait(lambda: not box.bus.adapter()['Powered'], 'it is off')
    check('nobody is answered', not box.answers_pages())


def test_a_product_that_is_not_to_be_seen_is_not(box):
    box.reset('phone', settings=[(NAME_KEY, 'Hidden')], features=[FEATURES, 'bluetooth.discoverable=false'])
    box.service()
    wait(lambda: UUID in box.bus.adapter().get('UUIDs', []), 'it is set up')
    wait(lambda: box.peer.remote_name(box.address) == 'Hidden', 'it says its name')
    equal('nobody sees it', seen(box), None)
