"""Which tests reach which lines: each test runs once on traced libraries. What was found is kept for each program until
the program changes."""

import collections
import concurrent.futures
import dataclasses
import json
import os
import pathlib
import re
import shutil
import subprocess

from mutation import build as building
from mutation import jail

_REACHED = b"\1"


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    program: str        # as the build names it
    words: tuple        # the command, with its program first
    cwd: str
    environment: tuple  # pairs
    seconds: float = 0.0
    lines: int = 0      # how many lines it reaches
    own: dict = None    # which share of them lies in each folder


def listed(build, left_out):
    """The tests that are run by a program with the libraries in it, by name."""
    programs = {str(build.folder / name): name for name in build.links}
    text = building.must(["ctest", "--show-only=json-v1"], build.folder)
    found = {}
    for entry in json.loads(text[text.index("{"):])["tests"]:
        words = entry.get("command", [])
        properties = {one["name"]: one["value"] for one in entry.get("properties", [])}
        if words and words[0] in programs and not left_out.search(entry["name"]):
            environment = tuple(tuple(pair.split("=", 1)) for pair in properties.get("ENVIRONMENT", []))
            found[entry["name"]] = Test(entry["name"], programs[words[0]], tuple(words),
                                        properties.get("WORKING_DIRECTORY", str(build.folder)), environment)
    return found


def _blocks(build, folder):
    """For each source, the lines of the blocks of code by the line at which a block begins."""
    def of_object(source):
        path = str(build.tree / source)
        heads, head, line = collections.defaultdict(set), None, None
        text = building.must(["objdump", "--disassemble", "--line-numbers", "--reloc", "--no-show-raw-insn", "--wide",
                              str(build.traced_object(folder, source))], folder)
        for row in text.splitlines():
            if row.endswith(">:"):
                head = line = None
            elif row.startswith("/"):
                file, _, number = row.split(" ")[0].rpartition(":")
                line = int(number) if file == path and number.isdigit() else None
                if head is not None and line is not None:
                    heads[head].add(line)
            elif "R_X86_64_PLT32" in row and "__sanitizer_cov_trace_pc" in row:
                head = line
                if head is not None:
                    heads[head].add(head)
        return source, heads
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return dict(pool.map(of_object, build.compilations))


def _read_covered(folder):
    """Offsets into the program's text of what was reached, in all files of this folder."""
    offsets = set()
    for path in folder.iterdir():
        data = path.read_bytes()
        place = data.find(_REACHED)
        while place >= 0:
            offsets.add(place)
            place = data.find(_REACHED, place + 1)
    return offsets


def _lines_of(program, offsets, tree):
    """(source, line) of each offset, for those in sources of the tree."""
    ordered = sorted(offsets)
    text = subprocess.run(["addr2line", "-e", str(program)], input="".join(f"{offset - 1:#x}\n" for offset in ordered),
                          stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
    places = {}
    for offset, row in zip(ordered, text):
        file, _, number = row.split(" ")[0].rpartition(":")
        if number.isdigit() and file.startswith(f"{tree}/"):
            places[offset] = (os.path.relpath(file, tree), int(number))
    return places


class Reach:
    """The map of tests and lines, kept in a file."""

    def __init__(self, build, tests, longest):
        self.build, self.tests, self.longest = build, tests, longest
        self.kept = build.aside / "reach.json"
        self.programs = json.loads(self.kept.read_text(encoding="utf-8")) if self.kept.exists() else {}

    def make(self, say):
        folder = self.build.make_traced()
        self.blocks = _blocks(self.build, folder)
        wanted = collections.defaultdict(list)
        for test in self.tests.values():
            wanted[test.program].append(test)
        for program, tests in sorted(wanted.items()):
            state = building.digest(self.build.folder / program) + str(len(tests))
            if self.programs.get(program, {}).get("state") == state:
                continue
            say(f"looking what the {len(tests)} tests of {program} reach")
            self.programs[program] = {"state": state, "tests": self._look(folder, program, tests)}
            whole = self.kept.with_suffix(".new")
            whole.write_text(json.dumps(self.programs), encoding="utf-8")
            whole.replace(self.kept)
        self.programs = {program: self.programs[program] for program in wanted}
        self._turn_round()

    def _look(self, folder, program, tests):
        traced = folder / "program" / pathlib.Path(program).name
        traced.parent.mkdir(exist_ok=True)
        self.build.link_traced(program, folder, traced)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            seen = list(pool.map(lambda numbered: self._trace(traced, *numbered), enumerate(tests)))
        places = _lines_of(traced, set().union(*(offsets for _, _, offsets in seen)), self.build.tree)
        traced.unlink()
        found = {}
        for test, (ended, seconds, offsets) in zip(tests, seen):
            lines = collections.defaultdict(set)
            for place in filter(None, map(places.get, offsets)):
                lines[place[0]].add(place[1])
            found[test.name] = {"ended": ended, "seconds": round(seconds, 3),
                                "heads": {name: sorted(heads) for name, heads in lines.items()}}
        return found

    def _trace(self, traced, number, test):
        covered = traced.parent / f"covered-{number}"
        covered.mkdir()
        try:
            environment = {**dict(test.environment), "VYREL_COVERED": str(covered)}
            ended, seconds = jail.run([str(traced), *test.words[1:]], test.cwd, environment, self.longest)
            return ended, seconds, _read_covered(covered)
        finally:
            shutil.rmtree(covered)

    def _turn_round(self):
        """For each line the tests that reach it, instead of the other way round."""
        self.of_line, self.of_file = collections.defaultdict(set), collections.defaultdict(set)
        for program in self.programs.values():
            for name, seen in program["tests"].items():
                if seen["ended"] != jail.PASSED or name not in self.tests:
                    continue
                counts = collections.Counter()
                for file, heads in seen["heads"].items():
                    self.of_file[file].add(name)
                    for line in set().union(*(self.blocks.get(file, {}).get(head, {head}) for head in heads)):
                        self.of_line[file, line].add(name)
                        counts[self.build.area(file)] += 1
                total = counts.total()
                self.tests[name] = dataclasses.replace(
                    self.tests[name], seconds=seen["seconds"], lines=total,
                    own={area: count / total for area, count in counts.items()})

    def left_out(self):
        """Tests that fail or take too long without any change."""
        return {name: seen["ended"] for program in self.programs.values() for name, seen in program["tests"].items()
                if seen["ended"] != jail.PASSED}

    def tests_of(self, mutant, text):
        """The tests that can see a change: those that reach its lines; for what is no code, such as a constant, those that
        reach a line with its name; without any, all that reach the source."""
        first = mutant.line
        last = first + text.count("\n", mutant.begin, mutant.end)
        found = self._reaching(mutant.file, range(first, last + 1))
        if not found:
            found = self._reaching(mutant.file, self._lines_with_name(mutant, text))
        return found or set(self.of_file[mutant.file])

    def _reaching(self, file, lines):
        return set().union(*(self.of_line.get((file, line), ()) for line in lines))

    @staticmethod
    def _lines_with_name(mutant, text):
        head = text[:mutant.begin]
        start = max(head.rfind(sign) for sign in (";", "}\n", "\n\n")) + 1
        names = re.findall(r"([A-Za-z_]\w*)(?:\[\w*\])?\s*(?:=|\{|\()", text[start:mutant.end])
        if not names:
            return []
        name = re.compile(rf"\b{names[0]}\b")
        return [number for number, line in enumerate(text.splitlines(), 1) if name.search(line)]
