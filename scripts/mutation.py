"""One-line slips in a source in C++: what a tired programmer could have written instead.

They are found in the tokens of a text that clang-format has laid out, not in a syntax tree: some do
not compile, which the one who builds them finds out. A slip is known by the text of its lines, so
that it stays the same one where lines are added above it.
"""

import collections
import dataclasses
import hashlib
import re

COMPARISON = "comparison turned"
BOUND = "bound moved by one"
LEFT_OUT = "statement left out"
EXCHANGED = "statements exchanged"
CONSTANT = "constant changed"
COLUMN = "columns exchanged"
CONDITION = "condition dropped"

TURNED = {"==": "!=", "!=": "==", "<": ">", ">": "<", "<=": ">=", ">=": "<="}
MOVED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPENING = {"(": ")", "[": "]", "{": "}"}
CLOSING = set(OPENING.values())

TOKEN = re.compile(r"""
    (?P<skipped>//[^\n]*|/\*.*?\*/|^[ ]*\#(?:[^\n]*\\\n)*[^\n]*|\[\[.*?\]\])
  | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?\d(?:[eEpP][+-]|'\w|[\w.])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|[-+*/%&|^=!<>]=|&&|\|\||.)
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

INTEGER = re.compile(r"(0[xX][\da-fA-F']+|\d[\d']*)([uUlLzZ]*)$")
# What a statement that can be left out does not begin with: declarations, labels, what gives back.
NOT_LEFT_OUT = {"return", "using", "namespace", "typedef", "template", "class", "struct", "enum",
                "union", "public", "protected", "private", "static_assert", "case", "default",
                "friend", "extern", "static", "co_return", "else", "goto", "do"}
DECLARATION = re.compile(r"^(?:const |constexpr |mutable |volatile )*[\w:]+(?:<.*>)?(?: const)?[ &*]+"
                         r"(?:\[.*?\]|(\w+))(?:\[\w*\])?(?:;| = |\(|\{|, )", re.DOTALL)
SQL = re.compile(r"\b(select|insert|update|create|values)\b", re.IGNORECASE)
# Known while compiling: what such a condition says is no behaviour.
COMPILE_TIME = {"constexpr", "static_assert", "requires", "concept", "template", "operator"}


@dataclasses.dataclass(frozen=True)
class Slip:
    """The text between `begin` and `end` of a file, and what stands there instead."""
    file: str
    operator: str
    begin: int
    end: int
    instead: str
    # The lines it is in, without their indentation, as they are and with the slip.
    before: str
    after: str
    # Which of the places in the file with the same operator and lines, from 1 on.
    place: int = 1

    @property
    def key(self):
        return (self.file, self.operator, self.before, self.after, self.place)

    def order(self, seed):
        """Where it stands in the random order of `seed`, which no other slip changes."""
        return hashlib.sha256(repr((seed, self.key)).encode()).hexdigest()

    def applied(self, text):
        return text[:self.begin] + self.instead + text[self.end:]


class Token:
    __slots__ = ("kind", "text", "begin", "end", "opening", "closing", "parent", "in_code")

    def __init__(self, kind, text, begin):
        self.kind, self.text, self.begin, self.end = kind, text, begin, begin + len(text)
        # The indices of the brackets that belong together; of the one that this token is in.
        self.opening = self.closing = self.parent = None
        # Whether the nearest brace around it is a function's.
        self.in_code = False


def tokens_of(text):
    tokens = []
    for match in TOKEN.finditer(text):
        kind = match.lastgroup if match.lastgroup != "mark" else "string"
        if kind == "skipped" or match.group().isspace():
            continue
        tokens.append(Token(kind, match.group(), match.start()))
    stack = []
    for index, token in enumerate(tokens):
        if token.text in CLOSING and token.kind == "sign" and stack:
            token.opening = stack.pop()
            tokens[token.opening].closing = index
        token.parent = stack[-1] if stack else None
        token.in_code = any_code(tokens, token.parent)
        if token.text in OPENING and token.kind == "sign":
            stack.append(index)
    return tokens


def any_code(tokens, parent):
    """Whether the nearest brace that is no list of values, around what is in `parent`, is a
    function's."""
    while parent is not None:
        if tokens[parent].text == "{":
            kind = brace_kind(tokens, parent)
            if kind != "values":
                return kind == "code"
        parent = tokens[parent].parent
    return False


def brace_kind(tokens, index):
    """What begins with the brace: "code", "scope" (of names or members) or "values"."""
    if index == 0:
        return "scope"
    last = tokens[index - 1].text
    head = []
    for token in reversed(tokens[:index]):
        if token.text in {";", "{", "}"} and token.kind == "sign":
            break
        head.append(token.text)
    if last in {")", "else", "do", "try", "const", "noexcept", "override", "final", "mutable", "}"}:
        return "code"
    if {"struct", "class", "namespace", "enum", "union"} & set(head):
        return "scope"
    if "->" in head and ")" in head and "=" not in head[:head.index("->")]:
        return "code"
    return "code" if last in {";", "{", ":"} else "values"


def slips(file, text):
    """All slips of the text, in its order."""
    tokens = tokens_of(text)
    found = []

    def add(operator, begin, end, instead):
        first = text.rfind("\n", 0, begin) + 1
        last = text.find("\n", end)
        last = len(text) if last < 0 else last
        before = stripped(text[first:last])
        after = stripped(text[first:begin] + instead + text[end:last])
        if before != after:
            found.append(Slip(file, operator, begin, end, instead, before, after))

    for operator in (comparisons, bounds, constants, conditions, columns, statements):
        operator(text, tokens, add)
    found.sort(key=lambda slip: (slip.begin, slip.end, slip.operator, slip.instead))
    places = collections.Counter()
    numbered = []
    for slip in found:
        places[slip.key] += 1
        numbered.append(dataclasses.replace(slip, place=places[slip.key]))
    return numbered


def stripped(lines):
    return "\n".join(line.strip() for line in lines.split("\n") if line.strip())


def is_compile_time(tokens, index):
    """Whether the token is in brackets after "if constexpr", "static_assert" and the like, or in a
    declaration that begins with one of these words."""
    while index is not None:
        start = index
        while start > 0 and tokens[start - 1].text not in {";", "{", "}"}:
            start -= 1
            if tokens[start].text in COMPILE_TIME and tokens[start].parent == tokens[index].parent:
                # constexpr before a constant or a function is not a condition.
                if tokens[start].text != "constexpr" or tokens[max(start - 1, 0)].text == "if":
                    return True
        index = tokens[index].parent
    return False


def is_binary(text, token):
    """clang-format puts spaces around the operators of two operands, and none into templates."""
    return text[token.begin - 1:token.begin].isspace() and text[token.end:token.end + 1].isspace()


def comparisons(text, tokens, add):
    for index, token in enumerate(tokens):
        if token.text in TURNED and is_binary(text, token) and not is_compile_time(tokens, index):
            add(COMPARISON, token.begin, token.end, TURNED[token.text])


def bounds(text, tokens, add):
    for index, token in enumerate(tokens):
        if token.text in MOVED and is_binary(text, token) and not is_compile_time(tokens, index):
            add(BOUND, token.begin, token.end, MOVED[token.text])
        if token.text in {"+", "-"} and is_binary(text, token) and index + 1 < len(tokens):
            if tokens[index + 1].text == "1":
                add(BOUND, tokens[index - 1].end, tokens[index + 1].end, "")


def constants(text, tokens, add):
    for index, token in enumerate(tokens):
        if token.kind == "number" and (match := INTEGER.match(token.text)):
            if is_array_size(tokens, index) or is_compile_time(tokens, index):
                continue
            digits, suffix = match.groups()
            value = int(digits.replace("'", ""), 0) if not re.fullmatch("0\\d+", digits) else None
            if value is not None:
                form = "0x{:x}" if digits[:2] in {"0x", "0X"} else "{}"
                add(CONSTANT, token.begin, token.end, form.format(value + 1) + suffix)
        elif token.text in {"true", "false"} and not is_compile_time(tokens, index):
            add(CONSTANT, token.begin, token.end, "false" if token.text == "true" else "true")
        elif token.kind == "character" and len(token.text) == 3 and token.text[1].isalnum():
            add(CONSTANT, token.begin, token.end, f"'{chr(ord(token.text[1]) ^ 1)}'")


def is_array_size(tokens, index):
    """Of "char text[32]"."""
    return (index >= 3 and tokens[index - 1].text == "[" and tokens[index + 1].text == "]" and
            tokens[index - 2].kind == tokens[index - 3].kind == "name")


def operand(tokens, index, step):
    """The index of the last token of what the operator at `index` joins on its right side
    (step 1), or the first on its left (-1). None if a bracket is not closed."""
    ends = {";", ",", "?", ":", "=", "return", "&&", "||"} - ({"&&"} if tokens[index].text == "||"
                                                             else set())
    at = index + step
    while 0 <= at < len(tokens):
        token = tokens[at]
        partner = token.closing if step > 0 else token.opening
        if partner is not None:
            at = partner
        elif token.text in CLOSING or token.text in OPENING or token.text in ends:
            return at - step
        at += step
    return None


def conditions(text, tokens, add):
    for index, token in enumerate(tokens):
        if token.text in {"&&", "||"} and is_binary(text, token):
            if is_compile_time(tokens, index):
                continue
            first, last = operand(tokens, index, -1), operand(tokens, index, 1)
            if first is None or last is None or first == index or last == index:
                continue
            add(CONDITION, tokens[first].begin, tokens[index + 1].begin, "")
            add(CONDITION, tokens[index - 1].end, tokens[last].end, "")
        elif token.text == "if" and tokens[index + 1].text == "(":
            closing = tokens[index + 1].closing
            begin = index + 2
            for at in range(begin, closing):  # if (const auto found = …; found)
                if tokens[at].text == ";" and tokens[at].parent == index + 1:
                    begin = at + 1
            if DECLARATION.match(text[tokens[begin].begin:tokens[closing].begin]):
                continue
            for value in ("true", "false"):
                add(CONDITION, tokens[begin].begin, tokens[closing].begin, value)
        elif token.text == "!" and not is_compile_time(tokens, index):
            add(CONDITION, token.begin, token.end, "")


def columns(text, tokens, add):
    for token in tokens:
        if token.kind != "string" or not SQL.search(token.text):
            continue
        if match := re.search(r"\b(\w+), (\w+)\b", token.text):
            add(COLUMN, token.begin + match.start(), token.begin + match.end(),
                f"{match.group(2)}, {match.group(1)}")
    lines = list(re.finditer(r"[^\n]*\n", text))
    for first, second in zip(lines, lines[1:]):
        exchange = exchanged_names(first.group(), second.group())
        if exchange:
            add(COLUMN, first.start(), second.end() - 1, exchange[:-1])


def exchanged_names(first, second):
    """Two lines that name one column each, with the names changed: the first literal of both, or
    the first pointer to a member. None if the lines are not of a kind."""
    if first.lstrip().startswith("//"):
        return None
    for name in (r'"(\w+)"', r"&\w+::(\w+)\b"):
        one, two = re.search(name, first), re.search(name, second)
        if not one or not two or one.group(1) == two.group(1):
            continue
        if first[:one.start()].strip() != second[:two.start()].strip():
            continue
        return (first[:one.start(1)] + two.group(1) + first[one.end(1):] +
                second[:two.start(1)] + one.group(1) + second[two.end(1):])
    return None


def complete_statements(text, tokens):
    """The first and last token of each statement of functions that fills its lines."""
    for index, token in enumerate(tokens):
        line = text[text.rfind("\n", 0, token.begin) + 1:token.begin]
        if not token.in_code or line.strip() or index == 0:
            continue
        if tokens[index - 1].text not in {";", "{", "}", ":"} or token.text in CLOSING:
            continue
        if token.parent is None or tokens[token.parent].text != "{":
            continue
        at = index
        while at < len(tokens) and tokens[at].text != ";" and tokens[at].text not in CLOSING:
            if tokens[at].text == "{" and brace_kind(tokens, at) == "code" and not is_lambda(
                    tokens, at):
                break
            at = (tokens[at].closing or at) + 1
        if at < len(tokens) and tokens[at].text == ";":
            yield index, at


def is_lambda(tokens, brace):
    """Whether the brace begins the body of a lambda: [captures](arguments) … {."""
    for at in range(brace - 1, max(brace - 12, 0), -1):
        if tokens[at].text in {";", "{", "}"}:
            return False
        if tokens[at].text == ")" and tokens[at].opening and (
                tokens[tokens[at].opening - 1].text == "]"):
            return True
        if tokens[at].text == "]" and tokens[at + 1].text == "{":
            return True
    return False


def declared_name(statement):
    """The name that a declaration declares, "" of one that binds several; None of another
    statement."""
    match = DECLARATION.match(statement)
    if not match or statement.split()[0] in {"throw", "delete", "return", "co_return"}:
        return None
    return match.group(1) or ""


def is_used_later(text, end, name):
    """Whether the name stands in the rest of its function."""
    rest = text[end:]
    rest = rest[:rest.find("\n}")] if "\n}" in rest else rest
    return re.search(rf"\b{name}\b", rest) is not None


ASSIGNMENT = re.compile(r"([\w.\[\]>-]+) = ")


def can_stand_in_either_order(one, two):
    """Of two statements, as far as their text shows."""
    for text in (one, two):
        if text.startswith("BOOST_LOG"):
            return True
    assigned = [ASSIGNMENT.match(text) for text in (one, two)]
    if all(assigned):
        return assigned[0].group(1) not in two and assigned[1].group(1) not in one
    return not set(re.findall(r"[A-Za-z_]\w+", one)) & set(re.findall(r"[A-Za-z_]\w+", two))


def statements(text, tokens, add):
    found = list(complete_statements(text, tokens))
    for first, last in found:
        begin, end = tokens[first].begin, tokens[last].end
        if tokens[first].text in NOT_LEFT_OUT and text[begin:end] != "return;":
            continue
        # "if (false)" leaves it out.
        if tokens[first].text == "if" and tokens[first + 1].text == "(":
            continue
        name = declared_name(text[begin:end])
        # Without a name that is used it would not compile; a guard is not used by its name.
        if name is not None and (not name or is_used_later(text, end, name)):
            continue
        add(LEFT_OUT, begin, end, ";")
    for (first, last), (next_first, next_last) in zip(found, found[1:]):
        if next_first != last + 1 or tokens[first].parent != tokens[next_first].parent:
            continue
        one = text[tokens[first].begin:tokens[last].end]
        two = text[tokens[next_first].begin:tokens[next_last].end]
        between = text[tokens[last].end:tokens[next_first].begin]
        leaves = {"return", "throw", "break", "continue", "co_return"}
        if between.strip() or tokens[first].text in leaves or tokens[next_first].text in leaves:
            continue
        if {tokens[first].text, tokens[next_first].text} & (NOT_LEFT_OUT | {"if"}):
            continue
        name = declared_name(one)
        if name is not None and (not name or re.search(rf"\b{name}\b", two)):
            continue
        if can_stand_in_either_order(one, two):
            continue
        add(EXCHANGED, tokens[first].begin, tokens[next_last].end, two + between + one)
