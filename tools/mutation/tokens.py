"""A C++ source as tokens, and the statements in its code blocks, as far as small changes need them."""

import dataclasses
import re

_PATTERNS = (
    ("comment", r"//[^\n]*|/\*.*?\*/"),
    ("preprocessor", r"^[ \t]*#(?:\\\n|[^\n])*"),
    ("text", r'R"(?P<d>[^()\\\s]*)\(.*?\)(?P=d)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*"'),
    ("character", r"'(?:\\.|[^'\\\n])+'"),
    ("number", r"\.?\d(?:'?[\w.]|[eEpP][+-])*"),
    ("name", r"[A-Za-z_]\w*"),
    ("sign", r"<=>|->\*|<<=|>>=|\.\.\.|::|->|\+\+|--|&&|\|\||==|!=|<=|>=|<<|[-+*/%&|^]=|[^\s]"),
)
_TOKEN = re.compile("|".join(f"(?P<{kind}>{pattern})" for kind, pattern in _PATTERNS), re.S | re.M)

_OPENS, _CLOSES = {"(", "[", "{"}, {")", "]", "}"}
_NO_CALL = {"return", "if", "for", "while", "switch", "case", "default", "break", "continue", "delete", "throw", "using",
            "typedef", "goto", "do", "else", "try", "catch", "static_assert", "const", "constexpr", "static", "auto",
            "struct", "class", "enum", "friend", "template", "public", "private", "protected"}
_SCOPES = {"namespace", "class", "struct", "enum", "union", "extern"}


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    begin: int
    end: int


@dataclasses.dataclass
class Statement:
    """From the first to behind the last token, in places of the file. A simple one ends with its semicolon."""
    begin: int
    end: int
    first: str
    call: bool
    block: int  # number of the code block that it stands in


def tokens(text):
    return [Token(match.lastgroup if match.lastgroup != "d" else "text", match.group(), match.start(), match.end())
            for match in _TOKEN.finditer(text)]


def code(text):
    """The tokens that become code: without comments, preprocessor lines and static assertions."""
    kept, depth, skipping = [], 0, False
    for token in tokens(text):
        if token.kind in ("comment", "preprocessor"):
            continue
        if token.text == "static_assert":
            skipping, depth = True, 0
        if skipping:
            skipping = token.text != ";"
            continue
        kept.append(token)
    return kept


def _is_call(part):
    """Whether the tokens of a simple statement are a call whose result nobody takes."""
    if not part or part[0].text in _NO_CALL or part[-1].text != ")":
        return False
    depth, before = 0, None
    for token in part:
        if token.text in _CLOSES:
            depth -= 1
        if depth == 0 and not token.text == ")":
            if token.text in ("=", "+=", "-=", "|=", "&=", "?", "<<") or (
                    before and before.kind == "name" and token.kind == "name"):
                return False
            # "std::string name(x)", "Guard& guard(x)": a declaration; its type may end with an angle bracket.
            if before and token.kind == "name" and before.text in (">", "&", "*") and before is not part[0]:
                return False
        if token.text in _OPENS:
            depth += 1
        before = token if depth == 0 else None
    return True


def _is_scope(statement):
    words = [token.text for token in statement]
    return not _SCOPES.isdisjoint(words) and "(" not in words


def _opens_code(statement, before, inside):
    """Whether a brace after these tokens opens a block of statements."""
    if before is None:
        return False
    if _is_scope(statement):
        return False
    words = [token.text for token in statement]
    if not inside and before.text == "}" and ")" in words and ":" in words:
        return True  # behind the members that a constructor makes
    if before.text in (")", "]", "else", "do", "try", "const", "noexcept", "override", "mutable"):
        return True
    if inside and before.text in (";", "{", "}"):
        return True
    return [word for word in words if word in (")", "->")][-2:] == [")", "->"]


def statements(text):
    """All statements of all code blocks, in the order of their ends, simple and compound; those of a switch's own block
    are left out, for labels stand among them."""
    found = []
    count = 0
    stack = [{"code": False, "number": 0, "depth": 0, "part": [], "switch": False, "compound": None}]
    before = None
    for token in code(text):
        top = stack[-1]
        if token.text == "{":
            is_code = _opens_code(top["part"], before, top["code"])
            count += is_code
            if top["code"] and is_code and top["depth"] == 0 and top["compound"] is None:
                top["compound"] = top["part"][0].begin if top["part"] else token.begin
            ends = is_code or _is_scope(top["part"])
            stack.append({"code": is_code, "ends": ends, "number": count if is_code else top["number"], "depth": 0, "part": [],
                          "switch": bool(top["part"]) and top["part"][0].text == "switch", "compound": None})
        elif token.text == "}" and len(stack) > 1:
            ends = stack.pop()["ends"]
            top = stack[-1]
            if top["code"] and top["depth"] == 0 and top["compound"] is not None:
                first = top["part"][0].text if top["part"] else "{"
                if not top["switch"]:
                    found.append(Statement(top["compound"], token.end, first, False, top["number"]))
                top["part"], top["compound"] = [], None
            elif not top["code"] and top["depth"] == 0 and ends:
                top["part"] = []
            else:
                top["part"].append(token)
        elif token.text == ";" and top["depth"] == 0:
            if top["code"] and top["part"] and not top["switch"]:
                part = top["part"]
                found.append(Statement(part[0].begin, token.end, part[0].text, _is_call(part), top["number"]))
            top["part"] = []
        else:
            top["depth"] += (token.text in "([") - (token.text in ")]")
            top["part"].append(token)
        before = token
    return found
