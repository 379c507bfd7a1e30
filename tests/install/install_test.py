"""What "cmake --install" puts on a box, installed into a folder and looked at there."""

import grp
import os
import pathlib
import pwd
import re
import signal
import subprocess
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree

BUILD = os.environ['BUILD']
CMAKE = os.environ['CMAKE']
LIBRARIES = os.environ['LIBRARIES']
PROGRAMS = ('vyrel-lite', 'vyrel-settings', 'vyrel-ctl', 'vyrel-companion')
UNITS = ('vyrel-lite.service', 'vyrel-companion.service')
PAGES = ('vyrel-ctl.1', 'vyrel-settings.1', 'vyrel-settings-keys.7', 'vyrel-companion.8', 'vyrel-lite.8')
POLICIES = ('org.vantor.platform.conf', 'org.vantor.vyrel.lite.conf', 'com.quorix.tv.bt.connectionmanager.conf')
DEADLINE = 60  # seconds

BUS = '''<busconfig>
  <type>system</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow send_type="signal"/>
    <allow receive_sender="*"/>
  </policy>
  {includes}
</busconfig>
'''


def nobody():
    """Who has no right to anything of this machine."""
    if os.geteuid() != 0:
        return {}
    return {'user': pwd.getpwnam('nobody').pw_uid, 'group': pwd.getpwnam('nobody').pw_gid, 'extra_groups': []}


class Install(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix='vyrel-install')
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.folder.chmod(0o755)
        self.root = self.folder / 'box'
        subprocess.run([CMAKE, '--install', BUILD], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, 'DESTDIR': str(self.root)})

    def path(self, name):
        return self.root / name.lstrip('/')

    def text(self, name):
        return self.path(name).read_text(encoding='utf-8')

    def unit(self, name):
        """The settings of a unit, by name; those that stand more than once are joined."""
        settings = {}
        for line in self.text(f'/usr/lib/systemd/system/{name}').splitlines():
            if '=' in line and not line.startswith('#'):
                key, value = line.split('=', 1)
                settings[key] = f'{settings[key]} {value}' if key in settings else value
        return settings

    def startBus(self, includes=''):
        """A bus of its own, also for nobody. Its address."""
        socket = self.folder / 'bus'
        configuration = self.folder / 'bus.conf'
        configuration.write_text(BUS.format(socket=socket, includes=includes), encoding='utf-8')
        bus = subprocess.Popen(['dbus-daemon', '--nofork', '--nopidfile', '--nosyslog', '--print-address',
                                f'--config-file={configuration}'],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.end, bus)
        address = bus.stdout.readline().strip()
        if not address:
            self.fail(bus.stderr.read())
        return address

    @staticmethod
    def end(process):
        process.kill()
        process.communicate()

    def start(self, program, address):
        """An installed program that runs on a bus as somebody who can do no harm."""
        for folder in ('/var/lib/vyrel-lite', '/run/vyrel-lite'):
            if os.geteuid() != 0 and os.access(folder, os.W_OK):
                self.fail(f'{folder} of this machine is in reach: run this test as another user')
        process = subprocess.Popen([self.path(f'/usr/bin/{program}')], cwd='/', stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   env={'DBUS_SYSTEM_BUS_ADDRESS': address, 'PATH': os.environ['PATH']}, **nobody())
        self.addCleanup(self.end, process)
        return process

    def waitForOwner(self, process, address, name):
        """Waits until the program owns its name."""
        until = time.monotonic() + DEADLINE
        while time.monotonic() < until:
            self.assertIsNone(process.poll(), 'it has ended')
            answer = subprocess.run(['dbus-send', f'--bus={address}', '--print-reply', '--dest=org.freedesktop.DBus',
                                     '/', 'org.freedesktop.DBus.NameHasOwner', f'string:{name}'],
                                    capture_output=True, text=True, check=True)
            if 'boolean true' in answer.stdout:
                return
            time.sleep(0.05)
        self.fail(f'{name} is not owned in time')

    def testEveryPartIsThere(self):
        expected = {
            *(f'/usr/bin/{program}' for program in PROGRAMS),
            *(f'/usr/lib/systemd/system/{unit}' for unit in UNITS),
            *(f'/usr/share/dbus-1/system.d/{policy}' for policy in POLICIES),
            '/usr/lib/sysusers.d/vyrel-lite.conf',
            '/usr/lib/tmpfiles.d/vyrel-lite.conf',
            '/usr/lib/systemd/logind.conf.d/50-vyrel-lite.conf',
            '/usr/lib/udev/rules.d/70-vyrel-lite.rules',
            '/usr/share/polkit-1/rules.d/50-vyrel-lite.rules',
            '/usr/lib/vyrel-lite/hooks/README',
            '/etc/vyrel-lite/companion.conf',
            *(f'/usr/share/bash-completion/completions/{program}' for program in PROGRAMS if program != 'vyrel-lite'),
            *(f'/usr/share/man/man{page[-1]}/{page}' for page in PAGES),
            '/usr/include/vyrel-lite/vconf.h',
            *(f'{LIBRARIES}/{name}' for name in ('libvyrel-settings.so', 'libvyrel-settings.so.0',
                                                 'libvyrel-settings.so.0.1.0', 'pkgconfig/vyrel-settings.pc')),
        }
        documents = '/usr/share/doc/vyrel-lite/'
        there = {'/' + str(file.relative_to(self.root)) for file in self.root.rglob('*') if file.is_file()}
        self.assertEqual({file for file in there if not file.startswith(documents)}, expected)
        self.assertLessEqual({documents + name for name in ('linux.md', 'remote-protocol.md', 'LICENSE')}, there)

    def testFoldersForTheKeeperOfTheBoxAreThere(self):
        for folder in ('/etc/vyrel-lite/features.d', '/etc/vyrel-lite/hooks', '/usr/share/vyrel-lite'):
            self.assertEqual(self.path(folder).stat().st_mode & 0o7777, 0o755, folder)

    def testOnlyProgramsCanBeRun(self):
        runnable = [file for file in self.root.rglob('*') if file.is_file() and os.access(file, os.X_OK)]
        self.assertEqual({file.name for file in runnable}, set(PROGRAMS))
        for file in self.root.rglob('*'):
            self.assertEqual(file.stat().st_mode & 0o022, 0, f'others may write to {file}')

    def testUnitsStartWhatIsInstalled(self):
        for unit in UNITS:
            settings = self.unit(unit)
            self.assertEqual(settings['ExecStart'], '/usr/bin/' + unit.removesuffix('.service'))
            self.assertEqual(settings['Restart'], 'always')
            self.assertEqual(settings['NoNewPrivileges'], 'yes')

    def testNoUnitRequiresMoreThanTheBus(self):
        for unit in UNITS:
            settings = self.unit(unit)
            self.assertEqual(settings['Requires'], 'dbus.socket', unit)
            self.assertFalse({'Wants', 'BindsTo', 'Requisite', 'PartOf'} & set(settings), unit)
            self.assertIn('dbus.socket', settings['After'])

    def testTheCompanionStartsBesideTheServiceSoThatItMissesNoneOfItsWords(self):
        waited_for = self.unit('vyrel-companion.service')['After'].split()
        self.assertEqual(waited_for, ['dbus.socket'])

    def testSystemdTakesTheUnits(self):
        # The programs are looked for, and lie elsewhere than they do on the box.
        for unit in UNITS:
            copy = self.folder / unit
            program = '/usr/bin/' + unit.removesuffix('.service')
            copy.write_text(self.text(f'/usr/lib/systemd/system/{unit}')
                            .replace(f'ExecStart={program}', f'ExecStart={self.path(program)}'), encoding='utf-8')
            result = subprocess.run(['systemd-analyze', 'verify', '--man=no', copy], capture_output=True, text=True, check=False,
                                    env={**os.environ, 'SYSTEMD_LOG_COLOR': '0'})
            complaints = [line for line in (result.stdout + result.stderr).splitlines() if unit in line]
            self.assertEqual((complaints, result.returncode), ([], 0), result.stderr)

    def testUnitsGiveUpWhatTheirProgramsDoNotNeed(self):
        # In tenths, as systemd weighs it: what the service needs of the box, its controllers and remotes above all, is 2.0.
        for unit, limit in (('vyrel-lite.service', 20), ('vyrel-companion.service', 10)):
            result = subprocess.run(['systemd-analyze', 'security', '--offline=true', f'--threshold={limit}',
                                     '--no-pager', self.path(f'/usr/lib/systemd/system/{unit}')],
                                    capture_output=True, text=True, check=False)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def testUsersOfUnitsAndPoliciesAreMade(self):
        made = {words[1] for words in map(str.split, self.text('/usr/lib/sysusers.d/vyrel-lite.conf').splitlines())
                if words and words[0] in ('u', 'g')}
        asked = {self.unit(unit)[key] for unit in UNITS for key in ('User', 'Group')}
        for policy in POLICIES:
            for rules in ElementTree.fromstring(self.text(f'/usr/share/dbus-1/system.d/{policy}')).iter('policy'):
                asked |= {rules.get(key) for key in ('user', 'group') if rules.get(key)}
        self.assertEqual(asked - {'root'}, made)

    def testFoldersOfTheSettingsAreTheGroupsBeforeAnybodyStarts(self):
        # The service's unit keeps it from giving a folder the group's bit (RestrictSUIDSGID), so it can make none.
        self.assertEqual(self.unit('vyrel-lite.service')['RestrictSUIDSGID'], 'yes')
        made = {words[1]: words[2:5] for words in map(str.split, self.text('/usr/lib/tmpfiles.d/vyrel-lite.conf').splitlines())
                if words and words[0] == 'd'}
        for folder in ('/var/lib/vyrel-lite', '/run/vyrel-lite', '/run/vyrel-lite/watchers'):
            self.assertEqual(made[folder], ['2770', 'vyrel', 'vyrel'], folder)

    def testLogindMayBeHeldAndAskedByTheServiceAlone(self):
        rule = self.text('/usr/share/polkit-1/rules.d/50-vyrel-lite.rules')
        self.assertIn('subject.user == "vyrel" &&', rule)
        asked = re.compile(re.search(r'^ +/(\^.*\$)/$', rule, re.MULTILINE)[1])
        # What logind 252 asks polkit about: a hold on one, and on several at once; then the ways out, also while
        # somebody else is logged in.
        for action in ('inhibit-delay-sleep', 'inhibit-block-shutdown', 'inhibit-handle-lid-switch', 'suspend', 'reboot',
                       'power-off', 'suspend-multiple-sessions', 'reboot-multiple-sessions', 'power-off-multiple-sessions'):
            self.assertTrue(asked.match(f'org.freedesktop.login1.{action}'), action)
        for action in ('halt', 'hibernate', 'set-user-linger', 'suspend-ignore-inhibit', 'inhibit-handle-power-key'):
            self.assertFalse(asked.match(f'org.freedesktop.login1.{action}'), action)

    def testTheBusTakesThePolicies(self):
        # It names what it does not know of a file, and does not start with a file that is none. Who is not known on
        # this machine would be left out with a line, so a known name stands for each.
        me = pwd.getpwuid(os.geteuid()).pw_name
        mine = grp.getgrgid(os.getegid()).gr_name
        includes = ''
        for policy in POLICIES:
            rules = self.text(f'/usr/share/dbus-1/system.d/{policy}')
            for user in ('vyrel-companion', 'vyrel'):
                rules = rules.replace(f'user="{user}"', f'user="{me}"').replace(f'group="{user}"', f'group="{mine}"')
            copy = self.folder / policy
            copy.write_text(rules, encoding='utf-8')
            includes += f'<include>{copy}</include>'
        self.assertTrue(self.startBus(includes))

    def testEveryOwnedNameHasAPolicy(self):
        owned = {rule.get('own')
                 for policy in POLICIES
                 for rule in ElementTree.fromstring(self.text(f'/usr/share/dbus-1/system.d/{policy}')).iter('allow')
                 if rule.get('own')}
        self.assertLessEqual({self.unit(unit)['BusName'] for unit in UNITS}, owned)
        self.assertIn('org.vantor.platform', owned)

    def testTheInstalledServiceRunsUntilItIsTold(self):
        address = self.startBus()
        service = self.start('vyrel-lite', address)
        self.waitForOwner(service, address, 'org.vantor.vyrel.lite')
        self.waitForOwner(service, address, 'org.vantor.platform')
        service.send_signal(signal.SIGTERM)
        self.assertEqual(service.wait(DEADLINE), 1)

    def testTheInstalledConnectionManagerRunsUntilItIsTold(self):
        address = self.startBus()
        companion = self.start('vyrel-companion', address)
        self.waitForOwner(companion, address, 'com.quorix.tv.bt.connectionmanager')
        companion.send_signal(signal.SIGTERM)
        self.assertEqual(companion.wait(DEADLINE), 0)

    def testTheInstalledToolsRun(self):
        for program in set(PROGRAMS) - {'vyrel-lite'}:
            result = subprocess.run([self.path(f'/usr/bin/{program}'), '--help'], capture_output=True, text=True,
                                    check=False)
            self.assertEqual((result.returncode, result.stderr), (0, ''))
            self.assertTrue(result.stdout.startswith(f'usage: {program}'))


if __name__ == '__main__':
    unittest.main()
