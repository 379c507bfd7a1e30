"""What the service's C++ sources say, read without a compiler: for the documents that are held against them.

Knows as much of the language as these sources need: comments, literals, scopes, calls. What it cannot tell it says, by
raising CannotTell, instead of leaving it out.
"""

import dataclasses
import pathlib
import re

FOLDERS = ('src', 'kpi', 'utility')

_TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.S)
_LAMBDA = re.compile(r'(?:^|[=(,{]\s*|return )\[[^\[\]]*\]\s*(\(.*\))?\s*(mutable)?\s*(->\s*[\w:<>*& ]+)?$')
_CONTROL = {'if', 'for', 'while', 'switch', 'catch', 'return', 'sizeof', 'alignas', 'static_assert', 'decltype'}
_ESCAPES = {'n': '\n', 't': '\t', '"': '"', '\\': '\\', '0': '\0'}


class CannotTell(Exception):
    """The sources have something that this reader does not understand."""


@dataclasses.dataclass(frozen=True)
class Call:
    """A call as it stands in the text: its arguments are source text, blanks made single."""
    name: str
    arguments: tuple
    function: str  # the innermost function around it, "operator()" for a lambda, "" for none
    named: str     # the innermost one that has a name of its own
    file: str      # relative to the top of the sources
    line: int
    begin: int     # where it stands in the file


class Source:
    """One file. `code` has its comments blanked and its preprocessor lines too; places are those of the file."""

    def __init__(self, top, path):
        self.name = path.relative_to(top).as_posix()
        self.text = path.read_text(encoding='utf-8')
        code = _TOKEN.sub(lambda found: re.sub(r'[^\n]', ' ', found[0]) if found[0][0] == '/' else found[0], self.text)
        self.code = re.sub(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*', lambda found: re.sub(r'[^\n]', ' ', found[0]), code, flags=re.M)
        # The same without the insides of literals, for finding brackets.
        self.bare = _TOKEN.sub(lambda found: found[0][0] + re.sub(r'[^\n]', ' ', found[0][1:-1]) + found[0][-1], self.code)
        self._functions = None

    def line_of(self, place):
        return self.text.count('\n', 0, place) + 1

    def includes(self):
        return re.findall(r'^#include [<"]([^>"]+)[>"]', self.text, re.M)

    def functions_at(self, place):
        """The names of the functions around a place, the innermost first; "operator()" for a lambda."""
        if self._functions is None:
            self._functions = list(_functions(self.bare))
        return [span[2] for span in sorted(self._functions, reverse=True) if span[0] <= place < span[1]]

    def function_names(self):
        """Of all functions that are defined here."""
        self.functions_at(0)
        return {span[2] for span in self._functions}

    def bodies(self):
        """Yield (name, text) of each function that is defined here, lambdas too."""
        self.functions_at(0)
        for begin, end, name in self._functions:
            yield name, self.code[begin:end]

    def parameters(self, function):
        """The names of a function's parameters, as it is defined here."""
        for found in re.finditer(rf'(?<![\w.>])(?:\w+::)?{re.escape(function)}\s*\(', self.bare):
            end = _closing(self.bare, found.end() - 1)
            if re.match(r'[^;{},]*\{', self.bare[end + 1:]):
                return [re.split(r'[\s&*]+', piece)[-1] for piece in split(self.bare[found.end():end])]
        return []

    def constant(self, name):
        """The text of a constant of this file, or None."""
        found = re.search(rf'constexpr const char\* (?:const )?{re.escape(name)} = ("[^"]*");', self.code)
        return literal(found[1]) if found else None

    def calls(self, names, outside=False):
        """All calls of these, in the order of the file; a definition or declaration is none.

        With outside, what stands outside of functions counts too, where only macros can be called.
        """
        if not re.search(names, self.bare):
            return
        for found in re.finditer(rf'(?<![\w~])({names})\s*\(', self.bare):
            end = _closing(self.bare, found.end() - 1)
            around = self.functions_at(found.start())
            if not around and not outside:
                continue
            yield Call(found[1], tuple(split(self.code[found.end():end])), around[0] if around else '',
                       next((name for name in around if name != 'operator()'), ''), self.name,
                       self.line_of(found.start()), found.start())


def sources(top, folders=FOLDERS):
    """All sources under these folders, sorted by name."""
    top = pathlib.Path(top)
    for folder in folders:
        files = [file for file in sorted((top / folder).rglob('*')) if file.suffix in ('.cpp', '.h')]
        if not files:
            raise CannotTell(f'{folder} holds no sources')
        for file in files:
            yield Source(top, file)


def split(text):
    """At the commas that stand in no brackets; literals count as they are."""
    pieces, depth, begin = [], 0, 0
    bare = _TOKEN.sub(lambda found: '"' * len(found[0]), text)
    for place, character in enumerate(bare):
        if character in '([{':
            depth += 1
        elif character in ')]}':
            depth -= 1
        elif character == ',' and depth == 0:
            pieces.append(text[begin:place])
            begin = place + 1
    pieces.append(text[begin:])
    pieces = [re.sub(r'\s+', ' ', piece).strip() if '"' not in piece else piece.strip() for piece in pieces]
    return [piece for piece in pieces if piece]


def literal(expression, macros=()):
    """The text of one or several literals beside one another, or None for any other expression."""
    for name, text in dict(macros).items():
        expression = re.sub(rf'\b{name}\b(?=\s*")|(?<=")\s*\b{name}\b', f' "{text}" ', expression)
    if not re.fullmatch(r'\s*("(?:\\.|[^"\\])*"\s*)+', expression):
        return None
    inside = ''.join(re.findall(r'"((?:\\.|[^"\\])*)"', expression))
    return re.sub(r'\\(.)', lambda found: _ESCAPES.get(found[1], found[1]), inside)


def _closing(text, place):
    """The place of the bracket that closes the one at this place."""
    depth = 0
    for index in range(place, len(text)):
        if text[index] in '([{':
            depth += 1
        elif text[index] in ')]}':
            depth -= 1
            if depth == 0:
                return index
    raise CannotTell(f'a bracket is never closed: {text[place:place + 60]!r}')


def _functions(bare):
    """Yield (begin, end, name) of each function's body, the insides of lambdas too."""
    last = ''
    for found in re.finditer(r'\{', bare):
        begin = max(bare.rfind(mark, 0, found.start()) for mark in ';{}') + 1
        header = ' '.join(bare[begin:found.start()].split())
        # Behind a constructor's initialisers, whose braces look like bodies, its own body has no header of its own.
        is_body_after_initialiser = not header and bare[begin - 1] == '}'
        name = last if is_body_after_initialiser or header.startswith(',') else _name(header)
        if name:
            yield found.start(), _closing(bare, found.start()) + 1, name
            last = name if name != 'operator()' else last


def _name(header):
    """The name of the function whose body comes after this text, or "" when none does."""
    if _LAMBDA.search(header):
        return 'operator()'
    header = re.sub(r'^template <[^>]*> ', '', header)
    header = re.sub(r'\[\[[^\]]*\]\] ', '', header)
    found = re.match(r'(?:[\w:<>*&,~ ]*?[ *&:])?(~?\w+)\s*\(', header)
    if not found or found[1] in _CONTROL or re.match(r'(?:else |do\b|return\b|case\b|struct\b|class\b|enum\b)', header):
        return ''
    if '=' in header.split('(')[0]:
        return ''
    try:
        end = _closing(header, found.end() - 1)
    except CannotTell:
        return ''  # the brace stands among the arguments of a call
    rest = header[end + 1:].strip()
    if not re.fullmatch(r'(const|noexcept|override|final|try|:.*|->.*|\s)*', rest):
        return ''
    return found[1]
