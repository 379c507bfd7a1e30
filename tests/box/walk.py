"""What docs/linux.md tells its reader, done: from an unpacked Debian 12 to a speaker that comes back by itself, and what to
do when something does not work.

A command of the document stands here as it stands there; `said` gives it, with what the reader puts in for the example's
address. tests/box/document_test.py holds the two against each other.
"""

import base64
import gzip
import io
import json
import re
import subprocess
import tempfile
import wave

import first_page
from machines import MADE, TREE, Failed

EXAMPLE = 'AA:BB:CC:DD:EE:02'
SINK = '0000110b-0000-1000-8000-00805f9b34fb'
LENT = '/run/bench/host' # where the box sees the tree of the machine that builds

# What shows something to who types it, on each box.
LOOKS = ('vyrel-ctl devices', 'vyrel-ctl remotes', 'vyrel-ctl features', 'systemctl status vyrel-lite',
         'systemctl status vyrel-companion', 'systemctl status bluetooth',
         'journalctl -u vyrel-lite -u vyrel-companion -u bluetooth -b', 'journalctl --user -u wireplumber',
         'journalctl -t VYREL_PLATFORM', 'sudo dmesg | grep -i bluetooth')

# The document's commands that nobody types in this box, and why.
ELSEWHERE = {
    'tools/setup.sh': 'the host builds: an emulated processor takes hours for it',
    'cmake --preset release && cmake --build --preset release': 'the host builds',
    'sudo cmake --install build/release': 'the host installs, for a box that has no compiler',
    'apt install polkitd': 'part of the first command of all',
    'sudo systemctl enable --now systemd-journal-remote.socket': 'a second box, certificates and a network',
    'sudo systemctl enable --now systemd-journal-upload': 'as above',
    'journalctl -D /var/log/journal/remote SYSLOG_IDENTIFIER=VYREL_KPI -o json': 'as above',
    'mkdir box fleet': 'the programs of systemd-journal-remote are on no stock box',
    'journalctl -t VYREL_KPI -o export | /lib/systemd/systemd-journal-remote --output=box/system.journal -': 'as above',
    '/lib/systemd/systemd-journal-remote --listen-http=127.0.0.1:19597 --output=fleet --split-mode=host &': 'as above',
    '/lib/systemd/systemd-journal-upload --url=http://127.0.0.1:19597 --directory=box --save-state=state --follow=no':
        'as above',
    'journalctl -D fleet SYSLOG_IDENTIFIER=VYREL_KPI -o json': 'as above',
}


def check(what, condition, seen=''):
    if not condition:
        raise Failed(f'{what}: {seen}' if seen != '' else what)


def equal(what, seen, expected):
    check(what, seen == expected, f'{seen!r}, not {expected!r}')


def said(command, address=None):
    """A command of the document, for this speaker."""
    for example in (EXAMPLE, 'AA:BB:CC:DD:EE:01', 'ADDRESS'):
        command = command.replace(example, address or example)
    return command


def status(box, *path):
    """What "vyrel-ctl --json status" says."""
    found = json.loads(box.type('vyrel-ctl --json status').out)
    for name in path:
        found = found[name]
    return found


# From an unpacked Debian 12

def test_the_reader_has_what_the_first_command_installs(scene):
    box = scene.box
    packages = said('sudo apt install bluez polkitd pipewire-audio libpulse0 libglib2.0-0 libsqlite3-0 rfkill').split()[3:]
    # It was typed when the disk was made, where there was a network.
    equal('all of them', box.type(f"dpkg-query -W -f='${{db:Status-Status}}\\n' {' '.join(packages)} | sort -u").out,
          'installed\n')
    box.type('systemctl is-system-running --wait', seconds=120)
    equal('and nothing has failed', box.type('systemctl --failed --no-legend').out, '')


def test_the_session_stays_without_a_seat(scene):
    box = scene.box
    box.type(said('sudo loginctl enable-linger $USER'))
    box.type(said('sudo mkdir -p /etc/wireplumber/bluetooth.lua.d'))
    box.type(said('echo \'bluez_monitor.properties["with-logind"] = false\' | '
                  'sudo tee /etc/wireplumber/bluetooth.lua.d/80-no-seat.lua'))
    # Not the document's: an emulated speaker does not look at all endpoints of all codecs in the time that is given.
    box.root("echo 'bluez_monitor.properties[\"bluez5.codecs\"] = \"[ sbc ]\"' >/etc/wireplumber/bluetooth.lua.d/90-slow.lua")
    box.type(said('systemctl --user daemon-reload && systemctl --user restart pipewire pipewire-pulse wireplumber'))
    equal('it lingers', box.type('loginctl show-user keeper -p Linger').out, 'Linger=yes\n')


def test_it_is_installed(scene):
    box = scene.box
    with tempfile.TemporaryDirectory(dir=MADE) as built:
        command = said('DESTDIR=/tmp/box cmake --install build/release') + ' && ' + \
            said('(cd /tmp/box && find . ! -type d -o -empty) | tar -C /tmp/box --owner=0 --group=0 -czf box.tar.gz -T -')
        subprocess.run(command.replace('/tmp/box', f'{built}/box').replace('box.tar.gz', f'{built}/box.tar.gz'), shell=True,
                       check=True, cwd=TREE, stdout=subprocess.DEVNULL)
        box.root(f'install -o keeper {LENT}{built}/box.tar.gz /home/keeper') # carried over
    box.type(said('sudo tar -C / -xzf box.tar.gz'), seconds=120)
    box.type(said('sudo systemd-sysusers && sudo systemd-tmpfiles --create && sudo udevadm control --reload && '
                  'sudo udevadm trigger'), seconds=120)
    box.type(said('sudo systemctl daemon-reload && sudo systemctl reload dbus && sudo systemctl restart systemd-logind'),
             seconds=120)
    equal('both users', box.type('getent passwd vyrel vyrel-companion | cut -d: -f1,7').out,
          'vyrel:/usr/sbin/nologin\nvyrel-companion:/usr/sbin/nologin\n')


def test_both_programs_run(scene):
    box = scene.box
    done = box.type('vyrel-ctl status', status=5)
    check('before them there is none', 'the service does not run' in done.error + done.out, done)
    box.type(said('sudo systemctl enable --now vyrel-lite vyrel-companion'), seconds=120)
    box.type(said('sudo usermod -aG vyrel,systemd-journal $USER'))
    done = box.wait_for(said('vyrel-ctl status'), 'here', seconds=60)
    check('the adapter is on', re.search(r'(?i)adapter\s.*on', done.out), done)
    equal('systemd sees both', box.type('systemctl is-active vyrel-lite vyrel-companion').out, 'active\nactive\n')
    equal('nothing has failed', box.type('systemctl --failed --no-legend').out, '')


# A speaker

def test_it_is_paired(scene):
    box, peer = scene.box, scene.peer
    scene.speaker = peer.become('classic speaker', seconds=120)
    peer.endpoint(SINK)
    peer.agent('NoInputNoOutput')
    done = box.type(said('bluetoothctl --timeout 20 scan on'), seconds=90)
    check('it is found', scene.speaker in done.out, done)
    box.type(said('bluetoothctl pair AA:BB:CC:DD:EE:02', scene.speaker), seconds=90)
    box.type(said('sudo -u vyrel-companion vyrel-companion trust AA:BB:CC:DD:EE:02', scene.speaker))
    connect(scene)
    check('paired, connected', connected(scene), box.type('vyrel-ctl devices'))
    known = box.type(said('sudo -u vyrel-companion vyrel-companion known')).out
    check('known', scene.speaker in known, known)


def connected(scene):
    """Whether the speaker is there, paired."""
    row = re.search(rf'{scene.speaker} .* (yes|no) +(yes|no) +(yes|no)', scene.box.type(said('vyrel-ctl devices')).out)
    return row and row[1] == row[3] == 'yes'


def connect(scene):
    """Machines that have to share a processor with others may miss the seconds that the daemons give each other. BlueZ 5.66
    then says "br-connection-busy" for ever, so the reader does what the document has for that."""
    box, command = scene.box, said('bluetoothctl connect AA:BB:CC:DD:EE:02', scene.speaker)
    for _ in range(3):
        done = box.type(command, seconds=90, status=None)
        if done.status == 0:
            return
        box.type(said('sudo systemctl restart bluetooth'), seconds=90)
        box.wait_for('vyrel-ctl status', 'on, visible')
        box.wait_for('journalctl -n 200 -u bluetooth', 'A2DPSource/sbc')
    raise Failed(str(done))


def make_tone(box):
    """Two seconds of silence are sound enough: they are sent."""
    sound = io.BytesIO()
    with wave.open(sound, 'wb') as file:
        file.setparams((2, 2, 48000, 0, 'NONE', ''))
        file.writeframes(bytes(2 * 48000 * 4))
    box.type('base64 -d | gunzip >/tmp/tone.wav', input=base64.b64encode(gzip.compress(sound.getvalue())).decode())


def play(scene):
    """The document's "Play something": two seconds of it, heard by the speaker."""
    box, peer = scene.box, scene.peer
    hearing = peer.begin('heard_sound', 60)
    box.type('pw-play /tmp/tone.wav', seconds=90)
    check('the speaker hears it', peer.end(hearing, 120) > 100)


def test_it_plays(scene):
    box = scene.box
    make_tone(box)
    box.wait_for('wpctl status', 'A classic speaker', seconds=60)
    play(scene)


def test_after_the_next_start_it_comes_back(scene):
    box, peer = scene.box, scene.peer
    box.type(said('sudo reboot'), status=None)
    box.off()
    peer.lose_links(0x13) # it hears that the box has gone, and waits
    box.boot()
    # It has ten seconds to come by itself, and emulated ones do; else it is called.
    box.wait_for(said('journalctl -b -u vyrel-companion'), f'{scene.speaker} is connected, a speaker', seconds=180)
    box.wait('the speaker is there', lambda: connected(scene), 60)
    check('the last wake names it', re.search(r'start +\d+ ms +- +[\d.]+ m?s', box.type(said('vyrel-ctl status')).out),
          box.type('vyrel-ctl status'))
    equal('and nobody has failed meanwhile', box.type('systemctl --failed --no-legend').out, '')


def test_it_plays_as_before(scene):
    box = scene.box
    make_tone(box)
    box.wait_for('wpctl status', 'A classic speaker', seconds=60)
    play(scene)


# Without the companion

def test_the_companion_runs_at_a_terminal(scene):
    box = scene.box
    box.type(said('sudo systemctl stop vyrel-companion'))
    equal('it has ended well', box.type('systemctl show -p Result --value vyrel-companion').out, 'success\n')
    command = said('sudo -u vyrel-companion vyrel-companion')
    # Its unit makes it a member of the group; sudo takes the groups of its user.
    done = box.type(f'timeout --signal INT 10 {command}', status=None)
    check('it was the connection manager until it was told', 'cannot' not in done.error + done.out and
          'may not' not in done.error + done.out, done)
    equal('and ended as it should', done.status, 124)


def test_a_pairing_is_answered_by_hand(scene):
    box, peer = scene.box, scene.peer
    box.type(f'bluetoothctl remove {scene.speaker}')
    address = peer.become('phone', seconds=120)
    peer.agent('DisplayYesNo')
    mine = box.type('bluetoothctl list').out.split()[1]
    peer.pair_begin(mine)
    box.wait_for(said('vyrel-ctl pairing list'), address, seconds=40)
    box.type(said('vyrel-ctl pairing accept AA:BB:CC:DD:EE:01 --trust', address))
    # By the bond that the phone keeps: its kernel's own answer was not seen within a minute and a half.
    peer.wait_device(mine, 'Bonded', True, 60, seconds=90)
    found = box.type(said('vyrel-ctl devices --all')).out
    check('and trusted', re.search(rf'{address} .* yes +yes', found), found)
    box.type(f'bluetoothctl remove {address}')
    box.type('sudo systemctl start vyrel-companion')


# What a person looks at

def test_each_look_shows_something(scene):
    box = scene.box
    for command in LOOKS:
        done = box.type(said(command))
        check(f'{command} says something', done.out.strip() and 'No entries' not in done.out, done)
    check('rfkill', box.type(said('sudo rfkill list')).out.strip())
    wakes = box.type(said('journalctl -t VYREL_PLATFORM -o json '
                          '--output-fields=WAKE_CAUSE,WAKE_ADAPTER_MS,WAKE_REMOTE_MS,WAKE_SPEAKER_MS')).out
    check('the last wakes', 'WAKE_SPEAKER_MS' in wakes, wakes[-300:])
    events = [json.loads(line) for line in box.type(said(
        'journalctl -t VYREL_KPI -o json --output-fields=KPI_CATEGORY,KPI_NAME,KPI_CODE,KPI_ITEM_SERVICE_ID')).out.split('\n')
        if line]
    check('the speaker is an event of usage', any(event.get('KPI_CODE') == 'EV003' for event in events), events)


def test_who_looks_for_a_fault_sees_something_from_the_first_page_on(scene):
    for command in first_page.commands(first_page.FAULT):
        done = scene.box.type(command)
        check(f'{command} says something', (done.out + done.error).strip() and 'No entries' not in done.out, done)


def test_what_is_told_can_be_watched(scene):
    box = scene.box
    done = box.type(f'timeout --signal INT 8 {said("sudo vyrel-ctl watch")}', status=None)
    check('it watches', 'watching' in done.error, done)
    state = box.type(said('busctl get-property org.vantor.platform /org/vantor/platform org.vantor.platform.Power1 State'))
    check('a state', re.fullmatch(r'i \d+\n', state.out), state)
    done = box.type(f'timeout --signal INT 8 {said("sudo busctl monitor org.vantor.platform")}', status=None)
    check('the bus is watched', 'Monitoring' in done.error + done.out, done)


def test_what_mends_does_no_harm(scene):
    box = scene.box
    box.type(said('sudo systemd-tmpfiles --create'))
    box.type(said('sudo systemd-sysusers'))
    box.type(said('sudo systemctl restart bluetooth'), seconds=90)
    box.wait('the adapter is set up again', lambda: '"powered": true' in box.type('vyrel-ctl --json status').out.lower()
             or 'on, visible' in box.type('vyrel-ctl status').out, 60)
    box.type(said('sudo systemctl disable vyrel-companion'))
    equal('disabled', box.type('systemctl is-enabled vyrel-companion', status=None).out, 'disabled\n')
    box.type('sudo systemctl enable vyrel-companion')


def test_standby_is_asked_for(scene):
    box = scene.box
    box.type(said('vyrel-ctl power standby'))
    box.wait_for('vyrel-ctl power', 'standby', seconds=30)
    box.type('vyrel-ctl power normal')
    box.wait_for('vyrel-ctl power', 'normal', seconds=30)


def test_logind_is_asked_to_suspend(scene):
    """All of it but the sleep itself, of which an emulated machine does not wake."""
    box = scene.box
    box.root('mkdir -p /etc/systemd/system/systemd-suspend.service.d && printf "[Service]\\nExecStart=\\nExecStart=/bin/sleep 1\\n"'
             ' >/etc/systemd/system/systemd-suspend.service.d/bench.conf && systemctl daemon-reload')
    box.type(said('busctl call org.vantor.platform /org/vantor/platform org.vantor.platform.Power1 RequestPowerOff i 4'))
    box.wait_for('journalctl -b -u systemd-logind', 'The system will suspend now', seconds=120)
    box.wait_for('journalctl -b -u systemd-logind', "Operation 'sleep' finished", seconds=60)
    box.wait_for('vyrel-ctl status', 'resume', seconds=60)


def test_it_is_switched_off_and_started_anew(scene):
    box = scene.box
    box.type('vyrel-ctl power normal')
    box.type('vyrel-ctl power reboot')
    box.off(seconds=180)
    scene.peer.lose_links()
    box.boot()
    box.wait_for('vyrel-ctl status', 'normal', seconds=60)
    box.type('vyrel-ctl power off')
    box.off(seconds=180)
