"""The small changes that a source can suffer."""

import dataclasses
import random
import re

from mutation.tokens import code, statements

FOLDERS = ("src", "kpi", "utility", "platform/settings")

_COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
_NUMBER = re.compile(r"(0[xX][\da-fA-F']+|\d[\d']*)([uUlLzZ]*)$")
_ENDS = ("return", "break", "continue", "throw", "goto")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One change: what stands in [begin, end) of the file gives way to one of `choices`, the first that compiles."""
    file: str
    line: int
    column: int
    kind: str
    begin: int
    end: int
    before: str
    choices: tuple

    @property
    def name(self):
        return f"{self.file}:{self.line}:{self.column} {self.kind} {' '.join(self.choices[0].split())[:60]}"

    def applied(self, text, choice):
        return text[:self.begin] + choice + text[self.end:]


def _changed_numbers(text):
    match = _NUMBER.match(text)
    if not match:
        fraction = re.fullmatch(r"(\d+\.\d+)([fF]?)", text)
        return [f"{float(fraction[1]) + 1}{fraction[2]}"] if fraction else []
    digits, suffix = match.groups()
    plain = digits.replace("'", "")
    value = int(plain, 8 if re.fullmatch(r"0[0-7]+", plain) else 0)
    shown = hex if plain[:2] in ("0x", "0X") else str
    return [f"{shown(value + 1)}{suffix}"] + ([f"{shown(value - 1)}{suffix}"] if value > 0 else [])


def _changed_text(text):
    end = len(text) - 1
    if text.startswith(("R", "uR", "LR")):
        end = text.rindex(")")
    return text[:end] + "~" + text[end:]


def _changed_tokens(text):
    """(kind, begin, end, choice) of what one token alone can become."""
    for token in code(text):
        around = text[token.begin - 1:token.begin], text[token.end:token.end + 1]
        if token.kind == "number":
            for number in _changed_numbers(token.text):
                yield "constant", token.begin, token.end, number
        elif token.text in ("true", "false"):
            yield "constant", token.begin, token.end, "false" if token.text == "true" else "true"
        elif token.kind == "character" and re.fullmatch(r"'[ -&(-\[\]-}]'", token.text):
            yield "constant", token.begin, token.end, f"'{'~' if token.text[1] != '~' else '!'}'"
        elif token.kind == "text":
            yield "text", token.begin, token.end, _changed_text(token.text)
        elif token.text in _COMPARISONS and all(blank.isspace() for blank in around):
            yield "comparison", token.begin, token.end, _COMPARISONS[token.text]
        elif token.text == "!" and re.match(r"[\w(]", around[1]):
            yield "comparison", token.begin, token.end, " "


def _emptied(text):
    """As many lines as before, so that those behind keep their numbers."""
    return re.sub(r"[^\n]", "", text) + ";"


def _changed_statements(text):
    """(kind, begin, end, choices) of what statements can become."""
    all_of = sorted(statements(text), key=lambda statement: statement.begin)
    last = {}
    for statement in all_of:
        previous = last.get(statement.block)
        last[statement.block] = statement
        if previous is None and statement.first not in _ENDS:
            begin = statement.begin
            yield "early return", begin, begin, ("return; ", "return {}; ")
        if not statement.call:
            continue
        yield "dropped call", statement.begin, statement.end, (_emptied(text[statement.begin:statement.end]),)
        if previous is not None and previous.call:
            one, other = text[previous.begin:previous.end], text[statement.begin:statement.end]
            if one != other:
                between = text[previous.end:statement.begin]
                yield "swapped calls", previous.begin, statement.end, (other + between + one,)


def of_source(name, text):
    """All mutants of one source, in the order of the text."""
    changes = [(kind, begin, end, (choice,)) for kind, begin, end, choice in _changed_tokens(text)]
    changes += _changed_statements(text)
    found = []
    for kind, begin, end, choices in sorted(changes, key=lambda change: (change[1], change[2], change[0], change[3])):
        line = text.count("\n", 0, begin) + 1
        column = begin - text.rfind("\n", 0, begin)
        found.append(Mutant(name, line, column, kind, begin, end, text[begin:end], choices))
    return found


def sources(top):
    """The sources that are changed, by their names from the top of the tree."""
    return sorted(path.relative_to(top).as_posix() for folder in FOLDERS for path in (top / folder).rglob("*.cpp"))


def drawn(top, seed):
    """All mutants of the tree in the random order that the seed gives."""
    every = [mutant for name in sources(top)
             for mutant in of_source(name, (top / name).read_text(encoding="utf-8"))]
    random.Random(seed).shuffle(every)
    return every
