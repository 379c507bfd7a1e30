"""The commands of the page on which each reader begins, as they stand there. What runs them takes them from here, so
that a command that is changed on the page is the one that is tried."""

import pathlib
import re

PAGE = pathlib.Path(__file__).resolve().parent.parent.parent / 'docs' / 'README.md'

SHIP, BOX, WORK, FAULT = 'You ship it on a set', 'You run it on a box', 'You work on it', 'You look for a fault'


def sections(text):
    """Each reader's part of the page, by its heading."""
    parts = re.split(r'^## (.*)$', text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def commands(reader, text=None):
    """What this reader is told to type, in order."""
    part = sections(text or PAGE.read_text(encoding='utf-8'))[reader]
    return re.findall(r'^    (\S.*)$', part, re.M)
