"""Resets: which bonds go, which stay, and what the next start does."""

import sound
from box import check, equal, wait

RESET = 'db/vyrel/reset'


def test_a_bluetooth_reset_forgets_a_speaker(box):
    box.reset('speaker')
    box.service_up()
    box.sound_comes()
    box.peer.endpoint(sound.SINK)
    box.bond()
    box.settings((RESET, 1))
    box.key_combination(51)
    box.got('AdapterDisabled')
    box.key_combination(52)
    box.got('DeleteDatabase')
    wait(lambda: not box.device().get('Bonded'), 'the bond is gone')
    box.got('BondDestroied', box.peer_address)
    equal('it is done', box.setting(RESET), '0')


def test_a_daemon_that_is_restarted_meanwhile_forgets_it_too(box):
    box.strangers()
    box.bond()
    box.settings((RESET, 1))
    box.key_combination(51)
    box.got('AdapterDisabled')
    wait(lambda: not box.bus.adapter()['Powered'], 'the adapter is off')
    box.key_combination(52)
    wait(lambda: box.bus.adapter().get('Powered'), 'the adapter is on')
    box.bluetoothd_is_upgraded()
    box.got('DeleteDatabase')
    wait(lambda: not box.device().get('Bonded'), 'the bond is gone')
    equal('it is done', box.setting(RESET), '0')
    equal('once', box.count('DeleteDatabase'), 1)


def test_a_bluetooth_reset_keeps_the_remote(box):
    box.reset('remote')
    box.service_up()
    box.peer.remote(0x11, 0x10000001)
    box.find_and_pair()
    wait(lambda: box.peer.obeyed(), 'it is told something', 20)
    box.settings((RESET, 1))
    box.forget_calls()
    box.key_combination(51)
    box.got('AdapterDisabled')
    box.key_combination(52)
    box.got('DeleteDatabase')
    check('the bond is still there', box.device().get('Bonded'))
    equal('nobody hears otherwise', box.count('BondDestroied'), 0)
    before = len(box.peer.obeyed())
    wait(lambda: len(box.peer.obeyed()) > before, 'it comes back', 30)


def test_a_factory_reset_forgets_all(box):
    box.settings(('db/vyrel/lastSoundRoute', 5), ('db/vyrel/last_btspk_name', 'Old'), ('db/vyrel/RC_PairCount', 7))
    box.wait_silent()
    box.forget_calls()
    box.power('RequestPowerOff', 14)
    # The command begins with what it is, which it was not asked in time when the machine is slow.
    wait(lambda: any(data.endswith('05') for number, data in box.peer.obeyed() if number == 0x30),
         'the remote is told first')
    wait(lambda: box.logind.asked == ['Reboot'], 'the machine starts anew', 20)
    wait(lambda: not box.device().get('Bonded'), 'the bond is gone')
    equal('what the next start has to do', box.setting(RESET), '1')
    equal('and another service', box.setting('db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag'), '1')


def test_the_next_start_clears_what_was_known_of_devices(box):
    box.settings(('db/low-power-support/bt-disable', False)) # what the key 52 left
    box.next_boot()
    box.got('DeleteDatabase')
    equal('done', box.setting(RESET), '0')
    equal('the route', box.setting('db/vyrel/lastSoundRoute'), '0')
    equal('the name', box.setting('db/vyrel/last_btspk_name'), '')
    equal('what is counted stays', box.setting('db/vyrel/RC_PairCount'), '7')


def test_one_whose_adapter_is_pulled_meanwhile_ends_as_well(box):
    box.forget_calls()
    box.power('RequestPowerOff', 14)
    box.radio_goes()
    wait(lambda: box.logind.asked == ['Reboot'], 'the machine starts anew', 20)
    equal('what the next start has to do', box.setting(RESET), '1')
    box.radio_comes()
    box.next_boot()
    box.got('DeleteDatabase')
    equal('done', box.setting(RESET), '0')
