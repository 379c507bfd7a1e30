"""The service that others find when they search the box."""

from box import UUID, check, wait


def found(box):
    """What the other machine finds by its own search, of the box's public services."""
    return box.peer.shell(f'sdptool browse {box.address}').lower()


def test_the_other_finds_the_service(box):
    box.reset('phone')
    box.service_up()
    wait(lambda: UUID in found(box), 'the search finds it')


def test_it_is_found_once_however_often_it_is_offered(box):
    box.key_combination(51)
    box.got('AdapterDisabled')
    box.key_combination(52)
    wait(box.is_set_up, 'the adapter is on again')
    wait(lambda: UUID in found(box), 'the search finds it')
    check('once', found(box).count(UUID) == 1, found(box))


def test_it_is_found_again_after_the_daemon_was_restarted(box):
    box.restart_bluetoothd()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    wait(lambda: UUID in found(box), 'the search finds it')


def test_it_is_found_again_after_the_adapter_was_away(box):
    box.radio_goes()
    wait(lambda: not box.bus.adapter(), 'the daemon has no adapter')
    box.radio_comes()
    wait(box.is_set_up, 'the adapter is set up again', 20)
    wait(lambda: UUID in found(box), 'the search finds it')


def test_it_goes_with_the_service_that_offers_it(box):
    box.stop_service()
    wait(lambda: UUID not in found(box), 'the search finds it no more')
