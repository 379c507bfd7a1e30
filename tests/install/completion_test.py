"""What the shell completes, held against the programs."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ['BUILD'])
COMPLETION = pathlib.Path(os.environ['SOURCE']) / 'packaging' / 'completion'
WORDS = {'vyrel-ctl': ('status', 'devices', 'remotes', 'power', 'pairing', 'list', 'accept', 'refuse', 'features', 'watch',
                       'normal', 'picture-off', 'standby', 'suspend', 'off', 'reboot'),
         'vyrel-settings': ('get', 'set', 'unset', 'list', 'watch', 'true', 'false'),
         'vyrel-companion': ('known', 'trust', 'forget', 'ask', 'known-only', 'never')}


def built(program):
    return BUILD / 'tools' / program / program


class Completion(unittest.TestCase):
    def offered(self, program, *words, path=''):
        """What the shell offers in place of the last word."""
        line = ' '.join(f"'{word}'" for word in (program, *words))
        script = (f'PATH="{path}:$PATH"; . {COMPLETION / program}; COMP_WORDS=({line}); COMP_CWORD={len(words)}; '
                  f'_{program.replace("-", "_")}; printf "%s\\n" "${{COMPREPLY[@]}}"')
        result = subprocess.run(['bash', '-uc', script], capture_output=True, text=True, check=True)
        self.assertEqual(result.stderr, '')
        return result.stdout.split()

    def testEveryOptionOfAProgramIsOffered(self):
        for program in WORDS:
            help_text = subprocess.run([built(program), '--help'], capture_output=True, text=True, check=True).stdout
            told = set(re.findall(r'(?<![\w-])--[a-z]+', help_text))
            text = (COMPLETION / program).read_text(encoding='utf-8')
            self.assertLessEqual(told, set(re.findall(r'--[a-z]+', text)), program)

    def testEveryWordOfAProgramIsOffered(self):
        for program, words in WORDS.items():
            text = (COMPLETION / program).read_text(encoding='utf-8')
            self.assertLessEqual(set(words), set(re.findall(r'[a-z][a-z-]*', text)), program)

    def testCommandsAreOfferedFirst(self):
        self.assertEqual(self.offered('vyrel-ctl', 're'), ['remotes'])
        self.assertEqual(self.offered('vyrel-settings', 'un'), ['unset'])
        self.assertEqual(self.offered('vyrel-companion', 'k'), ['known'])

    def testThenWhatTheCommandTakes(self):
        self.assertEqual(self.offered('vyrel-ctl', 'power', 's'), ['standby', 'suspend'])
        self.assertEqual(self.offered('vyrel-ctl', 'power', 'standby', 's'), [])
        self.assertEqual(self.offered('vyrel-ctl', 'pairing', 'a'), ['accept'])
        self.assertEqual(self.offered('vyrel-ctl', '--json', 'devices', '--a'), ['--all'])
        self.assertEqual(self.offered('vyrel-ctl', 'watch', '--count', ''), [])
        self.assertEqual(self.offered('vyrel-companion', '--rule', ''), ['ask', 'known-only', 'never'])
        self.assertEqual(self.offered('vyrel-settings', 'set', 'db/some', '--bool', 't'), ['true'])

    def testKeysThatHoldAValueAreOffered(self):
        with tempfile.TemporaryDirectory(prefix='vyrel-pages') as folder:
            bin_folder = pathlib.Path(folder) / 'bin'
            bin_folder.mkdir()
            # A box's settings are at a fixed place; these are elsewhere.
            command = bin_folder / 'vyrel-settings'
            command.write_text(f'#!/bin/sh\nexec "{built("vyrel-settings")}" --root "{folder}" "$@"\n')
            command.chmod(0o755)
            subprocess.run([command, 'set', 'db/one', '--int', '1'], check=True)
            subprocess.run([command, 'set', 'memory/two', '--int', '2'], check=True)
            self.assertEqual(self.offered('vyrel-settings', 'get', '', path=bin_folder)[-2:], ['db/one', 'memory/two'])
            self.assertEqual(self.offered('vyrel-settings', 'watch', 'mem', path=bin_folder), ['memory/two'])

    def testADeviceThatWaitsIsOffered(self):
        with tempfile.TemporaryDirectory(prefix='vyrel-pages') as folder:
            command = pathlib.Path(folder) / 'vyrel-ctl'
            command.write_text('#!/bin/sh\necho \'[{"address":"AA:BB:CC:DD:EE:01"},{"address":"5C:51:4F:00:00:02"}]\'\n')
            command.chmod(0o755)
            self.assertEqual(self.offered('vyrel-ctl', 'pairing', 'refuse', '5', path=folder), ['5C:51:4F:00:00:02'])


if __name__ == '__main__':
    unittest.main()
