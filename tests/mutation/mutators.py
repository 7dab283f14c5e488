"""The possible changes of a source: one number, comparison, code or condition at a time.

Reads sources token by token, as clang-format formats them: an operator between two operands has spaces around it, the brackets
of a template and the signs of a pointer or reference do not.
"""
import dataclasses
import os
import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<string>(?:L|u8)?"(?:\\.|[^"\\\n])*"(?:sv)?)
  | (?P<char>L?'(?:\\.[0-9A-Fa-f]*|[^'\\])')
  | (?P<number>\.?\d(?:[\w.']|(?<=[eE])[+-])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|->\*|\.\.\.|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|\+=|-=|\*=|/=|%=|&=|\|=|\^=|->|::|\.\*|[^\s\w])
""", re.VERBOSE | re.DOTALL)

# Between operands.
SIGNS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "<<": [">>"], ">>": ["<<"],
    "&": ["|"], "|": ["&"], "^": ["&"], "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="],
}
WORDS = {"true": ["false"], "false": ["true"]}

# The words of a record's table: conditions on a field's own value, and kinds of values that read the same C++ type.
TABLE_WORDS = {
    "always": ["never"], "never": ["always"], "filled": ["always", "never"], "empty": ["never", "always"], "known": ["always"],
    "above": ["atLeast", "below"], "atLeast": ["above", "below"], "below": ["atLeast"],
    "date": ["dateTime"], "dateTime": ["date"], "year": ["date"], "number": ["character"], "character": ["number"],
    "flag": ["characterFlag"], "characterFlag": ["flag"],
}

# The macros that conditions of the preprocessor name, when the mutants are compiled; None: not defined.
MACROS = {
    "LONG_MAX": 0x7FFFFFFFFFFFFFFF, "O_PATH": 0x200000, "TRAMOSTREAM_STATIC": 1, "TRAMOSTREAM_BUILDING": None, "TRAMO_SSE2": 1,
    "__GLIBCXX__": 1, "__GNUC__": 4, "__SSE2__": 1, "__clang__": 1, "__linux__": 1,
    "_LIBCPP_VERSION": None, "_M_IX86_FP": None, "_M_X64": None, "_MSC_VER": None, "_WIN32": None, "__MINGW32__": None,
}

PRECEDENCE = {"?": 1, ":": 1, "=": 1, "||": 2, "&&": 3, "|": 4, "^": 5, "&": 6, "==": 7, "!=": 7, "<": 8, ">": 8}


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: str
    line: int
    begin: int  # of the replaced text
    end: int
    new: str
    key: str    # "FOLDER/ FUNCTION: LINE", with {{old -> new}} in the line

    def apply(self, source):
        return source[:self.begin] + self.new + source[self.end:]


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    begin: int
    end: int


def code_of(source):
    """Everything except comments."""
    return [match.group() for match in TOKEN.finditer(source) if match.lastgroup != "comment"]


def is_true(condition):
    """Whether a condition of the preprocessor holds when the mutants are compiled."""
    condition = re.sub(r"//.*|/\*.*?\*/", "", condition)

    def value(match):
        defined, name = match.group(1) or match.group(2), match.group(3)
        if (defined or name) not in MACROS:
            raise KeyError(f"{defined or name} is missing from MACROS in tests/mutation/mutators.py; it is used in: #if {condition.strip()}")
        known = MACROS[defined or name]
        return str(known is not None) if defined else str(known or 0)

    python = re.sub(r"defined\s*\(\s*(\w+)\s*\)|defined\s+(\w+)|\b([A-Za-z_]\w*)\b", value, condition)
    python = re.sub(r"!(?!=)", " not ", python.replace("&&", " and ").replace("||", " or "))
    return bool(eval(python.strip(), {"__builtins__": {}}))  # numbers, comparisons and brackets are left


def tokens_of(source):
    """The tokens that are compiled, without comments, includes and static_asserts."""
    blanked = list(source)

    def blank(begin, end):
        blanked[begin:end] = [c if c == "\n" else " " for c in source[begin:end]]

    branches = []  # of each open #if: whether this branch is compiled, and whether one of them has been
    for match in re.finditer(r"^[^\n]*(?:\\\n[^\n]*)*\n", source, re.MULTILINE):
        line = match.group().strip()
        if line.startswith("#"):
            blank(*match.span())
            directive, _, rest = line[1:].strip().partition(" ")
            if directive in ("ifdef", "ifndef"):
                directive, rest = "if", ("!" if directive == "ifndef" else "") + f"defined({rest.split()[0]})"
            if directive == "if":
                holds = is_true(rest)
                branches.append((holds, holds))
            elif directive == "elif":
                holds = is_true(rest) and not branches[-1][1]
                branches[-1] = holds, holds or branches[-1][1]
            elif directive == "else":
                branches[-1] = not branches[-1][1], True
            elif directive == "endif":
                branches.pop()
        elif not all(compiled for compiled, _ in branches):
            blank(*match.span())
    tokens = [Token(match.lastgroup, match.group(), *match.span()) for match in TOKEN.finditer("".join(blanked))]
    tokens = [token for token in tokens if token.kind != "comment"]
    kept, at = [], 0
    while at < len(tokens):
        if tokens[at].text == "static_assert":
            at = closing(tokens, at + 1)
        else:
            kept.append(tokens[at])
        at += 1
    return kept


def block_after(head):
    """What begins with the brace after these tokens, "function", "class" (or enumeration), "variable" or "", and its name."""
    texts = [token.text for token in head]
    if not texts or texts[0] in ("if", "for", "while", "switch", "else", "do", "try", "catch", "namespace", "extern"):
        return "", ""
    depth = 0
    for at, text in enumerate(texts):
        depth += (text == "<") - (text == ">") - 2 * (text == ">>" and depth > 1)
        if text == "(" and at > 0 and (depth <= 0 or texts[at - 2] == "operator"):
            if "operator" in texts[:at]:
                return "function", "".join(texts[texts.index("operator"):at])
            if head[at - 1].kind == "word" and texts[at - 1] not in ("requires", "noexcept", "alignas", "decltype", "if"):
                return "function", texts[at - 1]
            break
    for at, text in enumerate(texts[:-1]):
        if text in ("class", "struct", "enum", "union") and (at == 0 or texts[at - 1] not in ("<", ",")):
            return "class", next((token.text for token in head[at + 1:] if token.kind == "word" and token.text not in ("class", "final")), "")
    end = texts.index("=") if "=" in texts else len(texts)
    return "variable", next((token.text for token in reversed(head[:end]) if token.kind == "word"), "")


def places_of(tokens):
    """The name of the function around each token, or else of the class, enumeration or variable; "-" outside all."""
    places, blocks, start, brackets = [], [], 0, 0
    for at, token in enumerate(tokens):
        functions = [name for kind, name, _ in blocks if kind == "function"]
        others = [name for _, name, _ in blocks if name]
        places.append(functions[0] if functions else others[-1] if others else "-")
        if token.text in "([":
            brackets += 1
        elif token.text in ")]":
            brackets -= 1
        elif token.text == "{":
            is_part = blocks and blocks[-1][0] == "variable"  # of an initializer
            blocks.append((*(("variable", "") if is_part else block_after(tokens[start:at])), start))
            start = at + 1
        elif token.text == "}" and blocks:
            begin = blocks.pop()[2]
            goes_on = at + 1 < len(tokens) and tokens[at + 1].text in ("{", ",", "(", ")", ".", "=")  # it was an initializer
            start = begin if goes_on else at + 1
        elif token.text == ";" and brackets == 0:
            start = at + 1
    return places


def squashed(text):
    """The text of a key as it is compared: without blanks."""
    return "".join(text.split())


def closing(tokens, at):
    """The index of the closing bracket of an opening one."""
    depth = 0
    for place in range(at, len(tokens)):
        if tokens[place].text in "([{":
            depth += 1
        elif tokens[place].text in ")]}":
            depth -= 1
            if depth == 0:
                return place
    raise ValueError("a bracket is not closed")


def enumerations_of(headers):
    """The names of the values of each enumeration, by its name and, if it is unscoped, by that of its namespace."""
    found = {}
    for source in headers:
        source = re.sub(r"//[^\n]*", "", source)
        space = re.search(r"^namespace (\w+) \{", source, re.MULTILINE)
        for scoped, name, values in re.findall(r"enum (class )?(\w+)[^{;]*\{(.*?)\}", source, re.DOTALL):
            names = re.findall(r"^\s*(\w+)", values.replace(",", "\n"), re.MULTILINE)
            found[name] = names
            if not scoped and space:
                found[space.group(1)] = names
    return found


def other_character(literal):
    prefix, body = ("L", literal[2:-1]) if literal[0] == "L" else ("", literal[1:-1])
    if body.startswith("\\x"):
        return f"{prefix}'\\x{(int(body[2:], 16) - 1) & 0xFF:02X}'"
    code = {"\\0": 0, "\\t": 9, "\\n": 10, "\\r": 13, "\\\\": 92, "\\'": 39}[body] if body[0] == "\\" else ord(body)
    code += 1
    if code in (39, 92):
        code += 1
    return f"{prefix}'{chr(code)}'" if 32 <= code < 127 else f"{prefix}'\\x{code:02X}'"


def folder_of(path):
    return os.path.dirname(path) + "/"


class Source:
    """A table also has rows that a program can change at run time (`rows`): of these, only template arguments are changed here.
    `keys` counts the keys of all sources, since files of one folder may have the same."""

    def __init__(self, path, source, enumerations, table, rows, keys):
        self.path, self.source, self.enumerations, self.table = path, source, enumerations, table
        self.tokens = tokens_of(source)
        self.places = dict(zip((token.begin for token in self.tokens), places_of(self.tokens)))
        self.mutants, self.keys = [], keys
        self.skipped = self.tokens_of_rows() if rows else set()

    def tokens_of_rows(self):
        """The tokens in Row{...}, Record<M> name{...}, the call of a group, and the words of a Condition, without template arguments."""
        found = set()
        for at in range(len(self.tokens)):
            before, here = [self.text(place) for place in range(at - 5, at)], self.text(at)
            if here == "{" and (before[-1] == "Row" or before[:4] == ["Record", "<", "M", ">"]) or \
                    here == "(" and before[-1] == ">" and "TableParts" in before:
                depth = 0
                for place in range(at, closing(self.tokens, at)):
                    token = self.tokens[place]
                    depth += (token.text == "<") - (token.text == ">")
                    if depth == 0 and self.text(place + 1) != "<":
                        found.add(place)
            if here == "{" and before[:4] == ["Condition", "<", "M", ">"]:
                found.add(at + 1)
        return found

    def text(self, at):
        return self.tokens[at].text if 0 <= at < len(self.tokens) else ""

    def is_between(self, at):
        """Returns whether the sign has a space on both sides."""
        token = self.tokens[at]
        return self.source[token.begin - 1].isspace() and self.source[token.end].isspace() and \
            self.text(at - 1) not in ("operator", "(", ",", "[", "{", "return", "=")

    def add(self, begin, end, new):
        first = self.source.rfind("\n", 0, begin) + 1
        last = self.source.find("\n", begin)
        old = " ".join(self.source[begin:end].split())
        rest = self.source[end:last] if end <= last else ""
        line = self.source[first:begin] + "{{" + old + " -> " + " ".join(new.split()) + "}}" + re.sub(r"\s//.*", "", rest)
        key = f"{folder_of(self.path)} {self.places[begin]}: {' '.join(line.split())}"
        count = self.keys[key] = self.keys.get(key, 0) + 1
        if count > 1:
            key += f" #{count}"
        self.mutants.append(Mutant(self.path, self.source.count("\n", 0, begin) + 1, begin, end, new, key))

    def replace(self, at, *texts):
        for text in texts:
            self.add(self.tokens[at].begin, self.tokens[at].end, text)

    def all(self):
        for at, token in enumerate(self.tokens):
            if at in self.skipped:
                continue
            getattr(self, token.kind)(at, token)
        return self.mutants

    def number(self, at, token):
        self.replace(at, f"({token.text} + 1)", *([f"({token.text} - 1)"] if self.table else []))

    def char(self, at, token):
        self.replace(at, other_character(token.text))

    def string(self, at, token):
        if self.text(at - 1) not in ("extern", "operator"):
            end = token.text.rindex('"')
            self.replace(at, token.text[:end] + "~" + token.text[end:])

    def word(self, at, token):
        text = token.text
        if text in WORDS:
            self.replace(at, *WORDS[text])
        elif text in ("if", "while"):
            self.condition(at + 2 if self.text(at + 1) == "constexpr" else at + 1)
        elif text == "for":
            self.loop(at + 1)
        elif self.table and text in TABLE_WORDS and self.text(at - 1) != "::" and self.text(at + 1) in (
                "<" if text in ("date", "dateTime", "year", "number", "character", "flag", "characterFlag") else
                "(" if text in ("above", "atLeast", "below") else ",}"):
            self.replace(at, *TABLE_WORDS[text])
        elif self.text(at - 1) == "::" and text in (names := self.enumerations.get(self.enumeration(at - 2), ())):
            self.replace(at, names[(names.index(text) + 1) % len(names)])

    def enumeration(self, at):
        """The name of the enumeration, resolving an alias: "using E = TF::MeterFluid;"."""
        name = self.text(at)
        short = re.findall(rf"using {re.escape(name)} = (?:\w+::)*(\w+);", self.source[:self.tokens[at].begin]) if name else ()
        return short[-1] if short else name

    def sign(self, at, token):
        text = token.text
        if text in SIGNS and self.is_between(at) and not (text == ">" and self.text(at - 1) in ("class", "auto", ">")):
            self.replace(at, *SIGNS[text])
        elif text in ("++", "--"):
            self.replace(at, "--" if text == "++" else "++")
        elif text in ("!", "~") and self.text(at - 1) != "operator":
            self.replace(at, "")
        elif text == "-" and not self.source[token.end].isspace():
            self.replace(at, "")
        elif text == "?" and self.is_between(at):
            begin = self.operand(at)
            self.negate(begin, at - 1)
        elif text == "." and self.table and self.text(at - 1) in ("{", ",") and self.text(at + 2) == "=":
            self.particular(at)

    def operand(self, at):
        """The start of the condition before a '?'."""
        depth, place = 0, at - 1
        while place >= 0:
            text = self.text(place)
            if text in (")", "]", "}"):
                depth += 1
            elif text in ("(", "[", "{"):
                if depth == 0:
                    break
                depth -= 1
            elif depth == 0 and text in (",", ";", "=", "return", "?", ":", "+=", "|=", "<<="):
                break
            place -= 1
        return place + 1

    def negate(self, first, last):
        """Negates a condition, unless a mutant of its own comparison does the same."""
        texts = [self.text(at) for at in range(first, last + 1)]
        depth, comparisons, joined = 0, 0, False
        for at, text in enumerate(texts):
            depth += (text in ("(", "[", "{")) - (text in (")", "]", "}"))
            if depth == 0 and text in ("<", "<=", ">", ">=", "==", "!=") and self.is_between(first + at):
                comparisons += 1
            joined = joined or depth == 0 and text in ("&&", "||")
        if not texts or (not joined and (comparisons == 1 or texts[0] == "!" or texts in (["true"], ["false"]))):
            return
        begin, end = self.tokens[first].begin, self.tokens[last].end
        self.add(begin, end, "!(" + self.source[begin:end] + ")")

    def condition(self, opening):
        if self.text(opening) != "(":
            return
        last = closing(self.tokens, opening)
        first = opening + 1
        for at in range(opening + 1, last):
            if self.text(at) == ";":
                first = at + 1
        # A declaration is not an expression.
        declares = any(self.text(at) == "=" for at in range(first, last))
        if not declares:
            self.negate(first, last - 1)

    def loop(self, opening):
        last = closing(self.tokens, opening)
        depth, ends = 0, []
        for at in range(opening + 1, last):
            depth += (self.text(at) in ("(", "[", "{")) - (self.text(at) in (")", "]", "}"))
            if depth == 0 and self.text(at) == ";":
                ends.append(at)
        if len(ends) == 2 and ends[0] + 1 < ends[1]:
            self.negate(ends[0] + 1, ends[1] - 1)

    def particular(self, at):
        """Removes ".name = value" from a row."""
        depth, place = 0, at
        while not (depth == 0 and self.text(place) in (",", "}")):
            depth += (self.text(place) in ("(", "[", "{")) - (self.text(place) in (")", "]", "}"))
            place += 1
        begin, end = self.tokens[at].begin, self.tokens[place].begin
        if self.text(place) == ",":
            end = self.tokens[place].end
        self.add(begin, end, "")
