"""What tools/mutate changes in a source, and what it leaves alone."""

import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'tools'))

from mutation import mutants  # noqa: E402: its folder is on the path only now


def changed(text, kind):
    """Each change of this kind, as (line, what stood there, what can stand there then)."""
    return [(mutant.line, mutant.before, mutant.choices) for mutant in mutants.of_source('Set.cpp', text)
            if mutant.kind == kind]


def results(text, kind):
    """The text after each change of this kind."""
    return [mutant.applied(text, mutant.choices[0]) for mutant in mutants.of_source('Set.cpp', text)
            if mutant.kind == kind]


class Changes(unittest.TestCase):
    def testANumberBecomesItsNeighbours(self):
        self.assertEqual(results('int a = 7;', 'constant'), ['int a = 6;', 'int a = 8;'])
        self.assertEqual(results('int a = 0;', 'constant'), ['int a = 1;'])
        self.assertEqual(results("long a = 1'000'000L;", 'constant'), ['long a = 1000001L;', 'long a = 999999L;'])
        self.assertEqual(results('int a = 0x1fu;', 'constant'), ['int a = 0x1eu;', 'int a = 0x20u;'])
        self.assertEqual(results('int a = 0770;', 'constant'), ['int a = 503;', 'int a = 505;'])
        self.assertEqual(results('double a = 0.5;', 'constant'), ['double a = 1.5;'])

    def testTruthBecomesItsOpposite(self):
        self.assertEqual(results('bool a = true;', 'constant'), ['bool a = false;'])
        self.assertEqual(results("char a = 'x';", 'constant'), ["char a = '~';"])

    def testAComparisonMovesItsBoundaryOrTurns(self):
        for before, after in (('a == b', 'a != b'), ('a < b', 'a <= b'), ('a >= b', 'a > b'), ('a && b', 'a || b')):
            self.assertEqual(results(f'bool c = {before};', 'comparison'), [f'bool c = {after};'])
        self.assertEqual(results('bool c = !b;', 'comparison'), ['bool c =  b;'])

    def testTypesAreNoComparisons(self):
        self.assertEqual(changed('std::vector<int> a(B&& b, C<D> c);\nvoid operator==(int);', 'comparison'), [])

    def testATextBecomesLongerByOneCharacter(self):
        self.assertEqual(results('LOGI("a %d", 1);', 'text'), ['LOGI("a %d~", 1);'])
        self.assertEqual(results('auto a = R"(x)";', 'text'), ['auto a = R"(x~)";'])
        self.assertEqual(results('auto a = "";', 'text'), ['auto a = "~";'])

    def testCommentsIncludesAndAssertionsStay(self):
        text = '// 1 "a"\n/* 2 == 3 */\n#include "Set.h"\n#define A \\\n  4\nstatic_assert(5 == 6, "b");\n'
        self.assertEqual(mutants.of_source('Set.cpp', text), [])

    def testACallWhoseResultNobodyTakesIsDropped(self):
        text = 'void F()\n{\n    Set(\n        b);\n    int c = Get();\n    d->e().Go();\n    std::string f(g);\n    H i(j);\n}\n'
        self.assertEqual(changed(text, 'dropped call'),
                         [(3, 'Set(\n        b);', ('\n;',)), (6, 'd->e().Go();', (';',))])

    def testNoLineMovesWhenACallIsDroppedOrSwapped(self):
        text = 'void F()\n{\n    Set(\n        b);\n    Go();\n}\n'
        for kind in ('dropped call', 'swapped calls'):
            for after in results(text, kind):
                self.assertEqual(after.count('\n'), text.count('\n'))

    def testNeighboursAreSwapped(self):
        text = 'void F()\n{\n    A();\n    B();\n    int c = 0;\n    D();\n}\n'
        self.assertEqual(results(text, 'swapped calls'), [text.replace('A();\n    B();', 'B();\n    A();')])

    def testCallsOfDifferentBlocksAreNotSwapped(self):
        text = 'void F()\n{\n    if (a) {\n        A();\n    }\n    B();\n}\nvoid G()\n{\n    C();\n}\n'
        self.assertEqual(changed(text, 'swapped calls'), [])

    def testACallInALambdaIsDroppedByItself(self):
        text = 'void F()\n{\n    Go([&] {\n        A();\n    });\n}\n'
        self.assertEqual([before for _, before, _ in changed(text, 'dropped call')],
                         ['Go([&] {\n        A();\n    });', 'A();'])

    def testEachBlockCanReturnAtItsStart(self):
        text = 'int F()\n{\n    if (a) {\n        b = 1;\n    }\n    return 2;\n}\n'
        self.assertEqual(changed(text, 'early return'), [(3, '', ('return; ', 'return {}; ')),
                                                         (4, '', ('return; ', 'return {}; '))])

    def testWhatReturnsAnywayIsNotMadeToReturn(self):
        self.assertEqual(changed('int F()\n{\n    return 2;\n}\n', 'early return'), [])

    def testNamespacesTypesAndTablesHaveNoStatements(self):
        text = 'namespace a {\nstruct B\n{\n    C d;\n    int e();\n};\nconst F g[] = {{H(), 1}, {I(), 2}};\n}\n'
        for kind in ('dropped call', 'swapped calls', 'early return'):
            self.assertEqual(changed(text, kind), [])

    def testAConstructorsBodyHasStatements(self):
        text = 'A::A(int b)\n    : m_b(b),\n      m_c{b}\n{\n    Go();\n}\n'
        self.assertEqual([before for _, before, _ in changed(text, 'dropped call')], ['Go();'])

    def testASeedGivesTheSameChangesInTheSameOrder(self):
        with tempfile.TemporaryDirectory() as folder:
            top = pathlib.Path(folder)
            for name in ('src/B.cpp', 'src/a/A.cpp', 'kpi/C.cpp', 'tools/D.cpp', 'src/E.h'):
                (top / name).parent.mkdir(parents=True, exist_ok=True)
                (top / name).write_text('int a = 1 + 2 + 3 + 4 + 5;\n', encoding='utf-8')
            drawn = mutants.drawn(top, 7)
            self.assertEqual(drawn, mutants.drawn(top, 7))
            self.assertNotEqual(drawn, mutants.drawn(top, 8))
            self.assertEqual(sorted(drawn, key=lambda mutant: mutant.name),
                             sorted(mutants.drawn(top, 8), key=lambda mutant: mutant.name))
            self.assertEqual({mutant.file for mutant in drawn}, {'src/B.cpp', 'src/a/A.cpp', 'kpi/C.cpp'})


if __name__ == '__main__':
    unittest.main()
