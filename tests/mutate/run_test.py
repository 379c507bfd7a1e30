"""How tools/mutate hands out its changes, keeps what it found, and runs tests of changed code."""

import json
import os
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'tools'))

from mutation import build, jail, main, mutants, trial  # noqa: E402: its folder is on the path only now

MUTANT = mutants.Mutant('src/A.cpp', 1, 1, 'text', 0, 1, 'a', ('b',))
OTHER = mutants.Mutant('src/B.cpp', 1, 1, 'text', 0, 1, 'a', ('b',))


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path = self.folder / 'seed-1.jsonl'

    def results(self, state='x', drawn=(MUTANT,) * 9):
        results = main.Results(self.path, state, drawn)
        self.addCleanup(results.file.close)
        return results

    def testWhatWasFoundIsKeptForTheNextRun(self):
        self.results().add(3, MUTANT, trial.Outcome(trial.DIED, by='a.b'))
        self.results().add(4, MUTANT, trial.Outcome(trial.LIVED))
        self.assertEqual({number: entry['end'] for number, entry in self.results().found.items()},
                         {3: trial.DIED, 4: trial.LIVED})

    def testWhatWasFoundOfOtherSourcesIsNotBelieved(self):
        self.results().add(3, MUTANT, trial.Outcome(trial.DIED))
        self.assertEqual(self.results('y').found, {})

    def testWhatWasFoundOfAnotherDrawIsNotBelieved(self):
        self.results().add(3, MUTANT, trial.Outcome(trial.DIED))
        self.assertEqual(self.results(drawn=(MUTANT, MUTANT, MUTANT, OTHER)).found, {})
        self.assertEqual(self.results(drawn=(MUTANT,)).found, {})

    def testTheLastWordHolds(self):
        for end in (trial.LIVED, trial.DIED):
            self.results().add(3, MUTANT, trial.Outcome(end))
        self.assertEqual(self.results().found[3]['end'], trial.DIED)

    def testALineThatWasCutIsPassedOver(self):
        self.results().add(3, MUTANT, trial.Outcome(trial.DIED))
        with self.path.open('a', encoding='utf-8') as file:
            file.write(json.dumps({'number': 4, 'sources': 'x'})[:9] + '\n')
        self.assertEqual(list(self.results().found), [3])

    def testNoMoreAreHandedOutThanCount(self):
        results = self.results()
        draw = main.Draw(results, 100, 2)
        self.assertEqual((draw.take(), draw.take()), (0, 1))
        for number in (0, 1):
            results.add(number, MUTANT, trial.Outcome(trial.DIED))
            draw.give_back()
        self.assertIsNone(draw.take())

    def testOneThatDoesNotCountIsReplacedByTheNext(self):
        results = self.results()
        draw = main.Draw(results, 100, 1)
        self.assertEqual(draw.take(), 0)
        results.add(0, MUTANT, trial.Outcome(trial.NO_CODE))
        draw.give_back()
        self.assertEqual(draw.take(), 1)

    def testTheDrawGoesOnBehindWhatWasFound(self):
        results = self.results()
        results.add(0, MUTANT, trial.Outcome(trial.DIED))
        self.assertEqual(main.Draw(results, 100, 2).take(), 1)

    def testTheCopyFollowsTheCheckoutAndKeepsTheTimesOfWhatStayed(self):
        checkout, copy = self.folder / 'checkout', self.folder / 'copy'
        for name in ('a', 'b', 'c'):
            (checkout / 'src').mkdir(parents=True, exist_ok=True)
            (checkout / 'src' / name).write_text(name, encoding='utf-8')
        build.must(['git', 'init', '--quiet'], checkout)
        copy.mkdir()
        build.copy_tree(checkout, copy)
        os.utime(copy / 'src/a', (1, 1))
        (checkout / 'src/b').write_text('B', encoding='utf-8')
        (checkout / 'src/c').unlink()
        build.copy_tree(checkout, copy)
        self.assertEqual(sorted(path.name for path in (copy / 'src').iterdir()), ['a', 'b'])
        self.assertEqual((copy / 'src/a').stat().st_mtime, 1)
        self.assertEqual((copy / 'src/b').read_text(encoding='utf-8'), 'B')

    def inJail(self, script, seconds=60):
        """How a script of the shell ends in the jail; None where the system gives none."""
        if not jail.works():
            return None
        return jail.run(['sh', '-c', script], str(self.folder), {}, seconds)[0]

    def testATestInTheJailEndsAsItEnds(self):
        self.assertIn(self.inJail('true'), (jail.PASSED, None))
        self.assertIn(self.inJail('exit 3'), (jail.FAILED, None))
        self.assertIn(self.inJail('kill -ABRT $$'), (jail.FAILED, None))

    def testATestThatDoesNotEndIsEnded(self):
        self.assertIn(self.inJail('sleep 1000', 0.5), (jail.TIMED_OUT, None))

    def testATestInTheJailReachesNoProcessOutside(self):
        self.assertIn(self.inJail(f'! kill -0 {os.getpid()} 2>/dev/null'),
                      (jail.PASSED, None))

    def testWhatATestLeavesEndsWithTheJail(self):
        alive = self.folder / 'alive'
        os.mkfifo(alive)
        reader = os.open(alive, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        # The reader sees the end only when nobody has the pipe open any more.
        ended = self.inJail(f'exec 3>{alive}; sleep 1000 & touch /dev/shm/mutate-left')
        self.assertIn(ended, (jail.PASSED, None))
        self.assertEqual(os.read(reader, 1), b'')
        self.assertFalse(pathlib.Path('/dev/shm/mutate-left').exists())


if __name__ == '__main__':
    unittest.main()
