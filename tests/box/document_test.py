"""The walk against its document: each command of docs/linux.md is typed in the box, or named with the reason why not."""

import ast
import pathlib
import re
import unittest

import document

HERE = pathlib.Path(__file__).resolve().parent
TEXT = HERE.parent.parent.joinpath('docs/linux.md').read_text(encoding='utf-8')
WALK = ast.parse(HERE.joinpath('walk.py').read_text(encoding='utf-8'))


def plain(command):
    """Whatever the example's address."""
    return re.sub(r'\bAA(:[0-9A-F]{2}){5}\b', 'ADDRESS', command)


TOLD = list(dict.fromkeys(map(plain, document.commands(TEXT))))


class Document(unittest.TestCase):
    def setUp(self):
        values = {node.targets[0].id: ast.literal_eval(node.value) for node in WALK.body
                  if isinstance(node, ast.Assign) and node.targets[0].id in ('ELSEWHERE', 'LOOKS')}
        self.elsewhere = values['ELSEWHERE']
        self.typed = {plain(node.args[0].value) for node in ast.walk(WALK)
                      if isinstance(node, ast.Call) and getattr(node.func, 'id', '') == 'said'
                      and isinstance(node.args[0], ast.Constant)} | set(values['LOOKS'])

    def testTheDocumentTellsCommands(self):
        self.assertGreater(len(TOLD), 40)
        self.assertIn('vyrel-ctl status', TOLD)
        self.assertIn('sudo dmesg | grep -i bluetooth', TOLD)

    def testEachCommandIsTypedOrHasAReason(self):
        self.assertEqual([command for command in TOLD if command not in self.typed | set(self.elsewhere)], [])

    def testNothingIsTypedThatTheDocumentDoesNotTell(self):
        self.assertEqual(sorted(self.typed - set(TOLD)), [])

    def testNoReasonIsGivenInVain(self):
        self.assertEqual(sorted(set(self.elsewhere) & self.typed), [])
        self.assertEqual(sorted(set(self.elsewhere) - set(TOLD)), [])

    def testOfABlockOnlyCommandsAreTaken(self):
        block = '```\n[pairing]\nrule=ask   # who\nsudo -u x vyrel-companion trust A     # yes\n```\nthe `systemctl` of'
        self.assertEqual(document.commands(block), ['sudo -u x vyrel-companion trust A'])


if __name__ == '__main__':
    unittest.main()
