"""The table of ./bench: what is over its limit, and what is printed for it."""

import os
import sys
import unittest

sys.path.insert(0, os.environ['RUNNER'])
sys.dont_write_bytecode = True

import instructions  # noqa: E402: its folder is on the path only now
import main  # noqa: E402: its folder is on the path only now
import table  # noqa: E402: its folder is on the path only now


def ratios(*services, limit=1.25, gate=True):
    return table.ratio_row('row', [(100, service) for service in services], limit, 1, 'ms', gate)


def counts(*values, limit=0):
    return table.Row('row', list(values), limit, gate=True, plain=True)


class Table(unittest.TestCase):
    def testARatioMayReachItsLimit(self):
        self.assertFalse(ratios(125).is_over)
        self.assertTrue(ratios(126).is_over)

    def testTheMedianOfTheRatiosDecides(self):
        self.assertFalse(ratios(110, 120, 900).is_over)
        self.assertTrue(ratios(110, 130, 140).is_over)

    def testTheWorstOfTheCountsDecides(self):
        self.assertFalse(counts(0, 0, 0).is_over)
        self.assertTrue(counts(0, 0, 1).is_over)

    def testARatioIsTakenWithinItsOwnRound(self):
        row = table.ratio_row('row', [(100, 110), (200, 220), (300, 330)], 1.25, 1, 'ms')
        self.assertEqual([round(value, 6) for value in row.values], [1.1, 1.1, 1.1])

    def testARowShowsFiguresRatioSpreadLimitAndVerdict(self):
        row = table.ratio_row('start', [(2e6, 2e6), (4e6, 5e6), (6e6, 9e6)], 1.3, 1e6, 'ms')
        self.assertEqual(row.cells(), ['start', '4.00 ms', '5.00 ms', '1.250', '1.000..1.500', '1.30', 'PASS',
                                       'reported'])

    def testACountIsShownWithoutFraction(self):
        self.assertEqual(counts(0, 2).cells(), ['row', '', '', '2', '0..2', '0', 'over', 'gate'])

    def testColumnsStandBelowOneAnother(self):
        lines = table.render([ratios(100), ratios(12345)]).splitlines()
        self.assertEqual(len(lines), 3)
        self.assertEqual(lines[1].index('PASS'), lines[2].index('over'))

    def testEachKindOfEventHasARowWithItsOwnRounds(self):
        rounds = [[(100, 105), (200, 220), (300, 300)], [(100, 107), (200, 222), (300, 303)]]
        rows = instructions.event_rows(rounds, 'of', 1.10)
        self.assertEqual([row.name for row in rows],
                         ['of battery report', 'of change to standby', 'of A2DP connection'])
        self.assertEqual([[round(value, 6) for value in row.values] for row in rows],
                         [[1.05, 1.07], [1.1, 1.11], [1.0, 1.01]])
        self.assertEqual([row.is_over for row in rows], [False, True, False])
        self.assertTrue(all(row.gate for row in rows))

    def testMemoryThatGrewByAPageIsOverItsLimit(self):
        self.assertFalse(counts(0).is_over)
        self.assertFalse(counts(-4).is_over)
        self.assertTrue(counts(4).is_over)

    def testAGateOverItsLimitFails(self):
        self.assertEqual(main.exit_status([ratios(100), ratios(126)]), 1)
        self.assertEqual(main.exit_status([ratios(100), ratios(125)]), 0)

    def testAReportedRowOverItsLimitDoesNotFail(self):
        self.assertEqual(main.exit_status([ratios(126, gate=False)]), 0)


if __name__ == '__main__':
    unittest.main()
