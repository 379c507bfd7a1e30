"""What the service and its connection manager may on a real box, and what others may not; how their units end and come
back; and a box that has nothing of what they use. Goes on with the box of the walk, which is off."""

import json
import re

from walk import check, equal

CAPABILITIES = 1 << 12 | 1 << 13 # CAP_NET_ADMIN, CAP_NET_RAW
NAMES = {'org.vantor.vyrel.lite': 'vyrel', 'org.vantor.platform': 'vyrel',
         'com.quorix.tv.bt.connectionmanager': 'vyrel-companion'}


def show(box, unit, name):
    return box.type(f'systemctl show --property {name} --value {unit}').out.strip()


def is_up(box):
    box.wait_for('systemctl is-active vyrel-lite vyrel-companion', 'active\nactive\n', seconds=90)
    box.wait_for('vyrel-ctl status', 'connection manager  here', seconds=60)


def test_it_starts_with_the_box(scene):
    box = scene.box
    box.boot()
    is_up(box)
    equal('nothing has failed', box.type('systemctl --failed --no-legend').out, '')


def test_each_runs_as_its_user_with_its_rights(scene):
    box = scene.box
    for unit, user, rights in (('vyrel-lite', 'vyrel', CAPABILITIES), ('vyrel-companion', 'vyrel-companion', 0)):
        pid = show(box, unit, 'MainPID')
        equal(unit, box.type(f'ps -o user:20= -o group= -p {pid}').out.split(), [user, 'vyrel'])
        status = box.root(f'cat /proc/{pid}/status').out
        equal(f'{unit} can', int(re.search(r'CapEff:\s*(\w+)', status)[1], 16), rights)
        equal(f'{unit} gets no more', re.search(r'NoNewPrivs:\s*(\d)', status)[1], '1')
    missing = box.root('journalctl -b -t VYREL_PLATFORM').out
    check('nothing is said to be missing', 'is missing' not in missing and 'may not' not in missing, missing[-2000:])


def test_its_devices_are_its_group_s(scene):
    box = scene.box
    equal('rfkill and the kernel\'s log', box.type("stat -c '%G %a' /dev/rfkill /dev/kmsg").out, 'vyrel 664\nvyrel 664\n')
    equal('counters and settings', box.type("sudo stat -c '%U %G %a' /var/lib/vyrel-lite /run/vyrel-lite "
                                            '/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data').out,
          'vyrel vyrel 2770\nvyrel vyrel 2770\nvyrel vyrel 750\n')


def test_nobody_else_gets_its_names(scene):
    box = scene.box
    ask = ('busctl call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus RequestName su {} 4')
    for name, owner in NAMES.items():
        for user in {'keeper', 'nobody', 'vyrel', 'vyrel-companion'} - {owner}:
            done = box.type(f'sudo -u {user} {ask.format(name)}', status=None)
            check(f'{user} does not get {name}', 'denied' in done.error and done.status, done)
        has, number = box.root(f'busctl status {name}').out, box.type(f'id -u {owner}').out.strip()
        check(f'{owner} has {name}', re.search(rf'^E?UID={number}\b', has, re.MULTILINE), has)


def test_strangers_may_look_and_not_touch(scene):
    box = scene.box
    box.type('sudo -u nobody vyrel-ctl status')
    for command in ('power standby', 'power off', 'pairing accept 00:11:22:33:44:55'):
        done = box.type(f'sudo -u nobody vyrel-ctl {command}', status=6)
        check(command, 'may not' in done.error, done)


def test_logind_is_held(scene):
    box = scene.box
    holds = box.type('systemd-inhibit --list --no-legend --no-pager', status=None).out
    held = [line for line in holds.splitlines() if ' vyrel ' in line]
    check('both ways out are delayed', any('shutdown' in line and 'sleep' in line and 'delay' in line for line in held) or
          len([line for line in held if 'delay' in line]) >= 2, holds)
    delay = box.root('busctl get-property org.freedesktop.login1 /org/freedesktop/login1 org.freedesktop.login1.Manager '
                     'InhibitDelayMaxUSec').out
    equal('for half a minute', delay, 't 30000000\n')


def test_usage_events_have_fields(scene):
    lines = [json.loads(line) for line in
             scene.box.root('journalctl -t VYREL_KPI -o json --no-pager').out.splitlines() if line]
    check('each has its category, name and code', lines and
          all({'KPI_CATEGORY', 'KPI_NAME', 'KPI_CODE'} <= set(line) for line in lines), lines[:2])
    equal('and comes from the service', {line['_SYSTEMD_UNIT'] for line in lines}, {'vyrel-lite.service'})


def test_each_ends_well_and_comes_back(scene):
    box = scene.box
    for unit, code in (('vyrel-lite', '1'), ('vyrel-companion', '0')):
        box.type(f'sudo systemctl stop {unit}')
        equal(f'{unit} ended', [show(box, unit, name) for name in ('ActiveState', 'Result', 'ExecMainStatus')],
              ['inactive', 'success', code])
        box.type(f'sudo systemctl start {unit}', seconds=90)
        box.type(f'sudo systemctl restart {unit}', seconds=90)
    is_up(box)
    for unit in ('vyrel-lite', 'vyrel-companion'):
        before = show(box, unit, 'MainPID')
        box.type(f'sudo systemctl kill --signal KILL {unit}')
        box.wait(f'{unit} is there again', lambda: show(box, unit, 'ActiveState') == 'active' and
                 show(box, unit, 'MainPID') not in (before, '0'), 60)
    is_up(box)


def test_the_units_are_sheltered(scene):
    said = scene.box.root('systemd-analyze security --no-pager vyrel-lite vyrel-companion 2>&1 | cat', seconds=120, status=None).out
    for unit, most in (('vyrel-lite', 2.0), ('vyrel-companion', 1.0)):
        alone = scene.box.root(f'systemd-analyze security --no-pager {unit}', seconds=120).out
        figure = float(re.search(r'level for \S+: ([\d.]+)', alone)[1])
        print(f'        {unit}: {figure}', flush=True)
        check(f'{unit} is exposed at most {most}', figure <= most, f'{figure}\n{said}')


def test_daemons_come_and_go(scene):
    box = scene.box
    box.type('systemctl --user stop pipewire.socket pipewire-pulse.socket pipewire pipewire-pulse wireplumber')
    box.type('sudo systemctl stop bluetooth')
    box.wait_for('vyrel-ctl status', 'none', seconds=30)
    box.type('sudo systemctl start bluetooth', seconds=60)
    box.wait_for('vyrel-ctl status', 'on, visible', seconds=60)
    box.type('systemctl --user start pipewire pipewire-pulse wireplumber')
    is_up(box)


def test_it_starts_where_there_is_nothing(scene):
    box = scene.box
    box.root('systemctl mask bluetooth polkit; rm -f /etc/systemd/system/dbus-org.bluez.service; '
             'systemctl --global mask pipewire.socket pipewire-pulse.socket pipewire pipewire-pulse wireplumber; poweroff',
             status=None)
    box.off(seconds=120)
    box.boot(radio=False)
    is_up(box)
    shown = box.type('vyrel-ctl status', status=5).out
    check('no adapter', re.search(r'Adapter\n +the Bluetooth daemon does not run', shown), shown)
    for unit in ('vyrel-lite', 'vyrel-companion'):
        equal(f'{unit} did not end meanwhile', show(box, unit, 'NRestarts'), '0')
