"""A machine in a folder, made from Debian's packages alone: no init, no bus until one is started."""

import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

DEADLINE = 30 # seconds until something that was waited for hangs
SUITE = 'bookworm'
# What the packages need, so that what they bring themselves can be told from it.
NEEDS = 'systemd-standalone-sysusers,systemd-standalone-tmpfiles,dbus,dbus-bin,libglib2.0-0,' \
        'libsqlite3-0,libudev1,sqlite3'
# What apt, dpkg and the loader write for themselves.
OWN = ('var/lib/dpkg', 'var/lib/apt', 'var/cache', 'var/log', 'etc/ld.so.cache', 'tmp', 'run', 'proc', 'sys', 'dev', 'root',
       'etc/.pwd.lock')


def cannot(why):
    print(f'package: {why}', file=sys.stderr)
    sys.exit(3)


class Machine:
    def __init__(self, folder):
        self.root, self.base = folder / 'machine', folder / 'base'
        self.running, self.begin_state, self.holder = {}, None, None

    # As it is made and left.

    def exists_or_is_made(self):
        if self.holder:
            return
        self._make_base()
        shutil.rmtree(self.root, ignore_errors=True)
        subprocess.run(['cp', '-a', self.base, self.root], check=True)
        # Who holds the machine's own list of mounts and processes; with it everything in there ends.
        script = ('mount --rbind /dev dev && mount -t proc proc proc && mount -t tmpfs tmpfs run && mkdir run/dbus && '
                  'echo ready && exec sleep infinity')
        self.holder = subprocess.Popen(['unshare', '--mount', '--pid', '--fork', '--kill-child', 'sh', '-c', script],
                                       cwd=self.root, stdout=subprocess.PIPE, text=True, stdin=subprocess.DEVNULL)
        if self.holder.stdout.readline() != 'ready\n':
            cannot('this machine gives no namespaces')
        children = pathlib.Path(f'/proc/{self.holder.pid}/task/{self.holder.pid}/children').read_text().split()
        self.inside = children[0]
        self.begin_state = self.state()

    def _make_base(self):
        done = self.base / '.made'
        wanted = NEEDS + pathlib.Path(__file__).read_text().split('SUITE = ')[1].split('\n')[0]
        if done.exists() and done.read_text() == wanted:
            return
        print('== making a machine from Debian packages', flush=True)
        shutil.rmtree(self.base, ignore_errors=True)
        made = subprocess.run(['debootstrap', '--variant=minbase', f'--include={NEEDS}', SUITE, self.base],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if made.returncode != 0:
            cannot('no machine can be made: ' + '\n'.join(made.stdout.splitlines()[-5:]))
        done.write_text(wanted)

    def leave(self, keep):
        if self.holder:
            self.holder.kill()
            self.holder.wait()
            for process in self.running.values():
                process.wait()
        if not keep:
            shutil.rmtree(self.root, ignore_errors=True)

    # What is done there.

    def _into(self, words, user=None):
        who = ['setpriv', f'--reuid={user}', f'--regid={"vyrel" if user.startswith("vyrel") else "nogroup"}',
               '--init-groups', '--'] if user else []
        return ['nsenter', '--target', self.inside, '--mount', '--pid', 'chroot', str(self.root), '/usr/bin/env', '-i',
                'PATH=/usr/sbin:/usr/bin:/sbin:/bin', 'LC_ALL=C.UTF-8', 'DEBIAN_FRONTEND=noninteractive', *who, *words]

    def run(self, *words, user=None, okay=(0,)):
        done = subprocess.run(self._into(words, user), capture_output=True, text=True, stdin=subprocess.DEVNULL,
                              timeout=300, check=False)
        if done.returncode not in okay:
            raise RuntimeError(f'{" ".join(words)}: status {done.returncode}\n{done.stdout}{done.stderr}')
        return done

    def says(self, *words, user=None, okay=(0,), error=False):
        done = self.run(*words, user=user, okay=okay)
        return (done.stdout + (done.stderr if error else '')).strip()

    def begin(self, name, user, *words):
        log = open(self.root / 'tmp' / f'{name}.log', 'wb')
        with log:
            self.running[name] = subprocess.Popen(self._into(words, user), stdout=log, stderr=log, stdin=subprocess.DEVNULL)

    def end(self, name, status, number=signal.SIGTERM):
        """Tells it to end; its status has to be this one."""
        process = self.running.pop(name)
        # nsenter forks into the other list of processes, and waits for the one that it was asked for.
        child = pathlib.Path(f'/proc/{process.pid}/task/{process.pid}/children').read_text().split()
        os.kill(int(child[0]) if child else process.pid, number)
        found = process.wait(DEADLINE)
        if found != status:
            raise AssertionError(f'{name} ended with {found}, not with {status}')

    def lives(self, name):
        return self.running[name].poll() is None

    def wait(self, so, what):
        until = time.monotonic() + DEADLINE
        while not so():
            if time.monotonic() > until:
                raise AssertionError(f'in {DEADLINE} s not so: {what}')
            time.sleep(0.05)

    def wait_for_output(self, name, text):
        self.wait(lambda: text in (self.root / 'tmp' / f'{name}.log').read_text(errors='replace'), f'{name} says {text}')

    # The bus, with its stock configuration.

    def start_bus(self):
        self.run('dbus-uuidgen', '--ensure')
        self.begin('bus', 'root', 'dbus-daemon', '--system', '--nofork', '--nopidfile', '--nosyslog')
        self.wait(lambda: self.run('test', '-S', '/run/dbus/system_bus_socket', okay=(0, 1)).returncode == 0, 'a bus')

    def stop_bus(self):
        self.end('bus', 0)

    def wait_for_owner(self, name):
        ask = ('dbus-send', '--system', '--print-reply', '--dest=org.freedesktop.DBus', '/',
               'org.freedesktop.DBus.NameHasOwner', f'string:{name}')
        self.wait(lambda: 'boolean true' in self.says(*ask), f'{name} has an owner')

    # Its files.

    def copy(self, file, folder):
        shutil.copy2(file, self.root / folder.lstrip('/'))

    def read(self, path):
        return (self.root / path.lstrip('/')).read_text()

    def exists(self, path):
        return (self.root / path.lstrip('/')).exists()

    def append(self, path, text):
        with open(self.root / path.lstrip('/'), 'a') as file:
            file.write(text)

    @contextlib.contextmanager
    def full(self, folder):
        """A folder with no room for anything new: what lies there is seen through a small disk that is full."""
        inside = ['nsenter', '--target', self.inside, '--mount', 'sh', '-c']
        place = self.root / folder.lstrip('/')
        upper = self.root / 'run' / 'full'
        subprocess.run([*inside, f'mkdir {upper} && mount -t tmpfs -o size=64k tmpfs {upper} && mkdir {upper}/u {upper}/w && '
                        f'mount -t overlay -o lowerdir={place},upperdir={upper}/u,workdir={upper}/w overlay {place}'],
                       check=True)
        try:
            yield
        finally:
            subprocess.run([*inside, f'umount {place} && umount {upper} && rmdir {upper}'], check=True)

    def state(self):
        """Every file that is not apt's, dpkg's or the loader's own, with its rights and its contents."""
        rows = {}
        for folder, folders, files in os.walk(self.root):
            here = os.path.relpath(folder, self.root)
            folders[:] = [name for name in folders if os.path.normpath(f'{here}/{name}') not in OWN]
            for name in folders + files:
                path = os.path.normpath(f'{here}/{name}')
                if path in OWN or path.endswith('-') and path.startswith('etc/'): # copies of passwd and its like
                    continue
                status = os.lstat(self.root / path)
                size = 0 if name in folders else status.st_size
                rows[path] = (status.st_mode, status.st_uid, status.st_gid, size)
        for name in ('passwd', 'group', 'shadow', 'gshadow'):
            rows[f'etc/{name}'] = (self.root / 'etc' / name).read_text()
        return rows

    def compare_with_the_begin(self):
        now = self.state()
        differing = sorted(path for path in {*now, *self.begin_state} if now.get(path) != self.begin_state.get(path))
        if differing:
            raise AssertionError('\n'.join(f'{path}: {self.begin_state.get(path)} became {now.get(path)}'
                                           for path in differing))
