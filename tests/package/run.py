#!/usr/bin/env python3
"""Tests of the Debian packages: how they are built, and what they do to a machine that was made from Debian's packages
alone: installed, used, upgraded, removed, purged.

    run.py [--keep] [--built]

--keep leaves the machine's folder for a look, --built takes the packages of the run before. Exit status: 0 all passed,
1 something did not, 2 the command line is wrong, 3 the machine cannot be made.
"""

import argparse
import concurrent.futures
import filecmp
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent.parent
MADE = TREE / 'build' / 'package'
sys.path[:0] = [str(HERE), str(HERE.parent / 'install')]

import first_page  # noqa: E402: its folder is on the path only now
from machine import Machine, cannot  # noqa: E402: its folder is on the path only now

VERSION, NEXT = '0.1.0', '0.1.1'
NAME = f'vyrel-lite_{VERSION}_amd64.deb'
LIBRARY, DEVELOPMENT = f'libvyrel-settings0_{VERSION}_amd64.deb', f'libvyrel-settings-dev_{VERSION}_amd64.deb'
PACKAGES = (NAME, LIBRARY, DEVELOPMENT)
SERVICE, MANAGER = 'org.vantor.vyrel.lite', 'com.quorix.tv.bt.connectionmanager'
CONFIGURATION = '/etc/vyrel-lite/companion.conf'
KEY = 'db/menu/network/devicename/tv_name'


# How they are built.

# In lists of processes and a /dev/shm of its own: of a build that is interrupted nothing goes on, nor stays of the clock
# that it was given. A signal to its process group would miss the compilers, each of which has a group of its own.
APART = ['unshare', '--mount', '--pid', '--fork', '--kill-child', '--mount-proc', 'sh', '-c',
         'mount -t tmpfs tmpfs /dev/shm && exec "$@"', 'apart']


def copy_of_what_is_tracked(folder):
    tree = MADE / folder / 'tree'
    shutil.rmtree(MADE / folder, ignore_errors=True)
    tree.mkdir(parents=True)
    tracked = subprocess.run(['git', '-C', TREE, 'ls-files', '-z'], check=True, capture_output=True).stdout
    subprocess.run(['xargs', '-0', 'cp', '--parents', '-t', tree], input=tracked, cwd=TREE, check=True)
    return tree


def build(folder, day):
    """Builds the packages from what is tracked, in a folder with a name of its own, on a day of its own."""
    tree = copy_of_what_is_tracked(folder)
    with open(MADE / folder / 'build.log', 'wb') as log:
        status = subprocess.run([*APART, 'faketime', '-f', day, 'dpkg-buildpackage', '-us', '-uc', '-b'], cwd=tree,
                                stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, check=False).returncode
    if status != 0:
        cannot(f'the packages do not build: build/package/{folder}/build.log')


def test_two_builds_elsewhere_and_on_another_day_are_the_same_bytes(_):
    build('one', '+0d')
    build('another-folder', '+40d')
    for package in PACKAGES:
        assert filecmp.cmp(MADE / 'one' / package, MADE / 'another-folder' / package, shallow=False), package


def test_nothing_is_found_against_them(_):
    # It leaves files in the folder for temporary ones.
    with tempfile.TemporaryDirectory(dir=MADE) as folder:
        done = subprocess.run(['lintian', '--allow-root', '--display-info', '--pedantic', '--fail-on', 'pedantic',
                               f'vyrel-lite_{VERSION}_amd64.changes'], cwd=MADE / 'one', capture_output=True, text=True,
                              check=False, env={**os.environ, 'TMPDIR': folder})
    assert (done.returncode, done.stdout) == (0, ''), done.stdout + done.stderr


# What the first page of the documents tells its readers.

def test_who_ships_it_on_a_set_builds_and_installs_it_as_told(_):
    tree = copy_of_what_is_tracked('reader')
    # In a /tmp of its own, since that is where the page installs to.
    told = '\n'.join(['set -e', 'mount -t tmpfs tmpfs /tmp', *first_page.commands(first_page.SHIP),
                      'find /tmp/set -type f -printf "%P\\n"'])
    done = subprocess.run([*APART, 'sh', '-c', told], cwd=tree, capture_output=True, text=True, check=False)
    shutil.rmtree(MADE / 'reader')
    assert done.returncode == 0, done.stdout[-2000:] + done.stderr[-2000:]
    for path in ('usr/bin/vyrel-lite', 'usr/bin/vyrel-settings', 'usr/share/dbus-1/system.d/org.vantor.vyrel.lite.conf'):
        assert path in done.stdout.splitlines(), path


def test_who_runs_it_on_a_box_installs_it_as_told(machine):
    machine.copy(MADE / 'one' / NAME, '/tmp')
    machine.start_bus()
    install, look = (command.removeprefix('sudo ') for command in first_page.commands(first_page.BOX))
    # What is recommended beside it is more than this test is about.
    machine.run('sh', '-c', "echo 'APT::Install-Recommends false;' >/tmp/apt.conf")
    machine.run('sh', '-c', f'cd /tmp && echo y | APT_CONFIG=/tmp/apt.conf {install}')
    assert 'not running' in machine.says('sh', '-c', look, okay=(5,), error=True) # no init has started it
    machine.run('rm', '/tmp/apt.conf', f'/tmp/{NAME}')
    machine.run('apt-get', 'purge', '-y', '-qq', 'vyrel-lite')
    machine.stop_bus()


# A machine without a bus or an init.

def test_a_machine_without_a_bus_takes_it(machine):
    machine.copy(MADE / 'one' / NAME, '/tmp')
    machine.run('apt-get', 'install', '-y', '-qq', '--no-install-recommends', f'/tmp/{NAME}')
    assert machine.says('dpkg-query', '-W', '-f', '${db:Status-Status}', 'vyrel-lite') == 'installed'
    for name in ('vyrel', 'vyrel-companion'):
        machine.run('getent', 'passwd', name)
    assert 'vyrel-companion' in machine.says('getent', 'group', 'vyrel')
    assert machine.says('stat', '-c', '%a %U %G', '/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data') == '750 vyrel vyrel'


def test_it_goes_without_a_trace(machine):
    machine.run('apt-get', 'purge', '-y', '-qq', 'vyrel-lite')
    machine.compare_with_the_begin()


# The bus of a stock machine.

def start(machine):
    """As the unit says: its user, its folders."""
    machine.run('systemd-tmpfiles', '--create', 'vyrel-lite.conf', okay=(0, 73))
    machine.begin('service', 'vyrel', 'vyrel-lite')
    machine.wait_for_owner(SERVICE)


def test_on_a_stock_bus_it_runs(machine):
    machine.start_bus()
    machine.run('dpkg', '-i', f'/tmp/{NAME}')
    start(machine)
    machine.wait_for_owner('org.vantor.platform')
    assert 'running' in machine.says('vyrel-ctl', 'status', okay=(0, 5))


def test_nobody_else_may_have_its_names(machine):
    for name in (SERVICE, 'org.vantor.platform', MANAGER):
        for user in ('nobody', 'vyrel-companion' if name != MANAGER else 'vyrel'):
            said = machine.says('dbus-send', '--system', '--print-reply', '--dest=org.freedesktop.DBus', '/',
                                'org.freedesktop.DBus.RequestName', f'string:{name}', 'uint32:0', user=user, okay=(1,),
                                error=True)
            assert 'AccessDenied' in said, (name, user, said)


POWER = ('dbus-send', '--system', '--print-reply', '--dest=org.vantor.platform', '/org/vantor/platform')


def test_power_and_pairing_are_for_the_group(machine):
    ask = (*POWER, 'org.vantor.platform.Pairing1.AnswerConsent', 'string:AA:BB:CC:DD:EE:01', 'boolean:false')
    said = machine.says(*ask, user='nobody', okay=(1,), error=True)
    assert 'AccessDenied' in said, said
    said = machine.says(*ask, user='vyrel-companion', okay=(0, 1), error=True)
    assert 'AccessDenied' not in said, said # nobody waits there, which is another error
    look = (*POWER, 'org.freedesktop.DBus.Properties.Get', 'string:org.vantor.platform.Power1', 'string:State')
    assert 'variant' in machine.says(*look, user='nobody')


def test_settings_are_for_the_group(machine):
    machine.run('vyrel-settings', 'set', KEY, '--string', 'Kitchen', user='vyrel-companion')
    assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'
    machine.run('vyrel-settings', 'get', KEY, user='nobody', okay=(4,))
    machine.run('vyrel-settings', 'set', KEY, '--string', 'Mine', user='nobody', okay=(4,))
    assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'


def test_the_connection_manager_runs_beside_it(machine):
    machine.run('install', '-d', '-o', 'vyrel-companion', '-g', 'vyrel', '-m', '700', '/var/lib/vyrel-companion')
    machine.begin('companion', 'vyrel-companion', 'vyrel-companion')
    machine.wait_for_owner(MANAGER)


# Another version.

def next_version(machine):
    """The same, as a release later: another version, and another line in the configuration."""
    folder = MADE / 'next'
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run(['dpkg-deb', '-R', MADE / 'one' / NAME, folder], check=True)
    control = folder / 'DEBIAN' / 'control'
    control.write_text(control.read_text().replace(f'Version: {VERSION}', f'Version: {NEXT}'))
    file = folder / CONFIGURATION.lstrip('/')
    file.write_text(file.read_text() + '# as of the next release\n')
    package = MADE / f'vyrel-lite_{NEXT}_amd64.deb'
    subprocess.run(['dpkg-deb', '-b', '--root-owner-group', folder, package], check=True, stdout=subprocess.DEVNULL)
    shutil.rmtree(folder)
    machine.copy(package, '/tmp')
    return f'/tmp/{package.name}'


def test_it_is_upgraded_while_it_runs(machine):
    package = next_version(machine)
    machine.append(CONFIGURATION, '[pairing]\nrule=never\n')
    machine.run('dpkg', '-i', '--force-confold', package)
    assert machine.says('dpkg-query', '-W', '-f', '${Version}', 'vyrel-lite') == NEXT
    assert machine.lives('service'), 'the one that runs goes on until its manager starts it again'
    assert 'rule=never' in machine.read(CONFIGURATION), 'what the keeper wrote stays'
    assert 'next release' in machine.read(CONFIGURATION + '.dpkg-dist'), 'and lies beside what came'
    machine.end('service', 1)
    start(machine)
    assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'


def test_an_older_one_can_be_put_back(machine):
    machine.run('dpkg', '-i', '--force-confold', f'/tmp/{NAME}')
    assert machine.says('dpkg-query', '-W', '-f', '${Version}', 'vyrel-lite') == VERSION
    assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'


def test_two_installations_at_once_do_no_harm(machine):
    with concurrent.futures.ThreadPoolExecutor() as pool:
        both = [pool.submit(machine.run, 'dpkg', '-i', '--force-confold', f'/tmp/{NAME}', okay=(0, 2)) for _ in range(2)]
        statuses = [one.result().returncode for one in both]
    assert 0 in statuses, statuses
    assert machine.says('dpkg-query', '-W', '-f', '${db:Status-Status}', 'vyrel-lite') == 'installed'
    assert machine.lives('service')


def test_a_full_disk_leaves_the_one_before(machine):
    package = f'/tmp/vyrel-lite_{NEXT}_amd64.deb'
    with machine.full('/usr/bin'):
        said = machine.says('dpkg', '-i', '--force-confold', package, okay=(1,), error=True)
        assert 'No space left on device' in said, said
        assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'
    assert machine.says('dpkg-query', '-W', '-f', '${Version}', 'vyrel-lite') == VERSION
    machine.run('dpkg', '-i', '--force-confold', f'/tmp/{NAME}')
    assert machine.says('dpkg-query', '-W', '-f', '${db:Status-Status}', 'vyrel-lite') == 'installed'


def test_settings_of_a_later_release_are_refused_and_kept(machine):
    machine.end('service', 1)
    file = '/var/lib/vyrel-lite/settings.db'
    machine.run('sh', '-c', f'cd /var/lib/vyrel-lite && mkdir /root/kept && cp -a settings.db* /root/kept')
    machine.run('sqlite3', file, 'PRAGMA user_version = 99; PRAGMA wal_checkpoint(TRUNCATE);')
    before = machine.says('sha256sum', file)
    said = machine.says('vyrel-settings', 'set', KEY, '--string', 'New', okay=(4,), error=True)
    assert 'settings.db' in said, said
    start(machine)
    machine.end('service', 1)
    assert machine.says('sha256sum', file) == before
    machine.run('sh', '-c', 'cd /var/lib/vyrel-lite && rm settings.db* && cp -a /root/kept/. . && rm -r /root/kept')
    start(machine)
    assert machine.says('vyrel-settings', 'get', KEY) == 'Kitchen'


# What siblings link.

PROGRAM = r'''#include <vconf.h>
#include <stdio.h>
int main(void)
{
    char* text = vconf_get_str("db/menu/network/devicename/tv_name");
    printf("%s %d\n", text, vconf_set_int("db/sibling", 7));
    return 0;
}
'''


def test_a_sibling_links_the_settings(machine):
    for package in (LIBRARY, DEVELOPMENT):
        machine.copy(MADE / 'one' / package, '/tmp')
        machine.run('dpkg', '-i', f'/tmp/{package}')
    # The compiler is this machine's; header and library are those of the other.
    program, root = MADE / 'sibling', machine.root
    source = MADE / 'sibling.c'
    source.write_text(PROGRAM)
    libraries = next((root / 'usr/lib').glob('*/libvyrel-settings.so')).parent
    subprocess.run(['cc', source, '-o', program, f'-I{root}/usr/include/vyrel-lite', f'-L{libraries}', '-lvyrel-settings',
                    '-Wl,--unresolved-symbols=ignore-in-shared-libs'], check=True)
    machine.copy(program, '/tmp')
    assert machine.says('/tmp/sibling', user='vyrel-companion') == 'Kitchen 0'
    assert machine.says('vyrel-settings', 'get', 'db/sibling', '--int') == '7'
    machine.run('dpkg', '-P', 'libvyrel-settings-dev', 'libvyrel-settings0')


# Removed.

def test_it_is_removed_while_somebody_watches(machine):
    machine.begin('watch', 'vyrel-companion', 'vyrel-settings', 'watch', KEY)
    machine.wait_for_output('watch', 'watching')
    machine.end('service', 1)
    machine.end('companion', 0)
    machine.run('dpkg', '-r', 'vyrel-lite')
    assert machine.lives('watch')
    assert 'rule=never' in machine.read(CONFIGURATION), 'a configuration outlives a removal'
    assert machine.exists('/var/lib/vyrel-lite/settings.db'), 'and so do the settings'
    machine.end('watch', 0, signal.SIGINT)


def test_purged_it_leaves_no_trace_on_a_machine_that_runs(machine):
    machine.run('dpkg', '-P', 'vyrel-lite')
    machine.stop_bus()
    machine.compare_with_the_begin()


def main():
    parser = argparse.ArgumentParser(prog='./test --package', description='Tests of the Debian packages.')
    parser.add_argument('--keep', action='store_true', help="leaves the machine's folder for a look")
    parser.add_argument('--built', action='store_true', help='takes the packages of the run before')
    arguments = parser.parse_args()
    if os.geteuid() != 0:
        cannot('only root can make a machine in a folder: sudo ./test --package')
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    MADE.mkdir(parents=True, exist_ok=True)
    machine, passed, begun = Machine(MADE), 0, time.monotonic()
    cases = [(name, case) for name, case in globals().items() if name.startswith('test_')]
    if arguments.built:
        if not (MADE / 'one' / NAME).exists():
            cannot('there are no packages of a run before: leave out --built')
        cases = cases[1:]
    try:
        for name, case in cases:
            from_time, words = time.monotonic(), name.removeprefix('test_').replace('_', ' ')
            if case.__code__.co_varnames[0] == 'machine':
                machine.exists_or_is_made()
            try:
                case(machine)
            except (AssertionError, RuntimeError) as error:
                print(f'   FAIL {words} ({time.monotonic() - from_time:.1f} s)\n{error}')
                break
            print(f'   ok   {words} ({time.monotonic() - from_time:.1f} s)', flush=True)
            passed += 1
    finally:
        machine.leave(arguments.keep)
    print(f'   {passed} of {len(cases)} passed in {time.monotonic() - begun:.0f} s')
    return 0 if passed == len(cases) else 1


if __name__ == '__main__':
    sys.exit(main())
