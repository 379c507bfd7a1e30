#!/usr/bin/python3
"""The commands that a document tells its reader, as they stand there.

    document.py FILE [BEGINNING]    one a line; those that begin so
"""

import pathlib
import re
import sys

PROGRAMS = ('(cd', 'apt', 'apt-get', 'bluetoothctl', 'busctl', 'cmake', 'dmesg', 'echo', 'journalctl', 'loginctl', 'mkdir', 'reboot',
            'rfkill', 'systemctl', 'systemd-sysusers', 'systemd-tmpfiles', 'tar', 'udevadm', 'usermod', 'vyrel-companion',
            'vyrel-ctl', 'vyrel-settings', '/lib/systemd/systemd-journal-remote',
            '/lib/systemd/systemd-journal-upload', 'tools/setup.sh', 'test')
FENCE = re.compile(r'^ *```\n(.*?)^ *```$', re.MULTILINE | re.DOTALL)
INLINE = re.compile(r'`([^`]+)`')
ASSIGNMENT = re.compile(r'^[A-Z_]+=\S+ ')
AS_OTHER = re.compile(r'^sudo (-u \S+ )?')


def program(command):
    return ASSIGNMENT.sub('', AS_OTHER.sub('', command)).split(' ')[0]


def is_command(text):
    """A program with arguments, or one that a person starts as it is; its bare name in a sentence is none."""
    return program(text) in PROGRAMS and (' ' in text or '/' in text)


def commands(text):
    """Each once, in the order of the document."""
    found = {}
    for block in FENCE.findall(text):
        for line in block.splitlines():
            line = re.sub(r'\s{2,}#.*$', '', line.strip())
            if is_command(line):
                found[line] = None
    for span in INLINE.findall(FENCE.sub('', text)):
        span = re.sub(r'\s+', ' ', span).replace('\\|', '|')
        if is_command(span):
            found[span] = None
    return list(found)


if __name__ == '__main__':
    beginning = sys.argv[2] if len(sys.argv) > 2 else ''
    print(*[command for command in commands(pathlib.Path(sys.argv[1]).read_text(encoding='utf-8'))
            if command.startswith(beginning)], sep='\n')
