"""Lists what can be changed in C++ sources, and in the shaders in their raw strings."""

import re
from bisect import bisect_right
from collections import Counter
from dataclasses import dataclass
from decimal import Decimal

SIBLINGS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*",
    "&&": "||", "||": "&&", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "%=": "*=",
    "&=": "|=", "|=": "&=", "^=": "&=", "<<=": ">>=", ">>=": "<<=",
}  # fmt: skip
WORDS = {"true": "false", "false": "true"}
OPENING = {"(": ")", "[": "]", "{": "}"}
CLOSING = {close: opening for opening, close in OPENING.items()}
NO_CALLS = {
    "if", "for", "while", "switch", "return", "sizeof", "static_assert", "throw", "delete", "new",
    "case", "do", "else", "using", "typedef",
}  # fmt: skip
TYPES = {"class", "struct", "union", "enum", "namespace", "extern"}
UNSEEN = {"static_assert", "Prefetch", "prefetch"}  # calls that no result depends on
COMPARING = {"==", "!=", "<=", ">="}
BEFORE_A_CONDITION = {",", ";", "=", "?", ":", "return", "case", "else"} | {
    operator for operator in SIBLINGS.keys() - COMPARING if operator.endswith("=")
}

KINDS = ("raw", "literal", "number", "word", "operator")
PATTERN = re.compile(
    r"""
    (?P<raw>(?:u8|[uUL])?R"(?P<delimiter>[^()\\\s]*)\((?P<shader>.*?)\)(?P=delimiter)")
    |(?P<comment>//(?:\\\n|[^\n])*|/\*.*?\*/)
    |(?P<literal>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
    |(?P<directive>^[ \t]*\#(?P<define>[ \t]*define[ \t]+\w+)?(?P<rest>(?:\\\n|(?!//|/\*)[^\n])*))
    |(?P<number>\.?\d(?:'?[\w.](?:(?<=[eE])[+-])?)*)
    |(?P<word>[A-Za-z_]\w*)
    |(?P<operator><<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s])
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    """One change of one file."""

    file: str
    line: int  # where it begins
    code: str  # that line
    change: str  # what becomes what; with a number where such lines have several
    start: int  # what is replaced, in characters
    end: int
    replacement: str

    @property
    def name(self):
        """Stays the same when only lines around it change."""
        return f"{self.file}: {self.code}: {self.change}"

    def applied_to(self, text):
        return text[: self.start] + self.replacement + text[self.end :]


def texts_of(source):
    """The tokens of C++ code, and those of each shader in it."""
    cpp = list(_tokens(source, 0, len(source), False))
    yield False, [token for token in cpp if token.kind != "raw"]
    for token in cpp:
        if token.kind == "raw":
            match = PATTERN.match(source, token.start)
            yield True, list(_tokens(source, *match.span("shader"), True))


def _tokens(source, start, end, is_shader):
    for match in PATTERN.finditer(source[start:end]):
        if match["directive"] is not None:
            # A macro of a shader is part of its code, one of C++ is not.
            if is_shader and match["define"]:
                rest = start + match.start("rest")
                yield from _tokens(source, rest, start + match.end("rest"), is_shader)
        elif not match["comment"]:
            kind = next(kind for kind in KINDS if match[kind])
            yield Token(kind, match[0], start + match.start(), start + match.end())


def changed_number(text):
    """Another number of the same type; None of a literal of the program's own."""
    text = text.replace("'", "")
    whole = re.fullmatch(r"(0[xX][\da-fA-F]+|0[bB][01]+|\d+)([uUlLzZ]*)", text)
    if whole:
        digits, suffix = whole.groups()
        if re.fullmatch("0[0-7]+", digits):
            return f"0{int(digits, 8) + 1:o}{suffix}"
        value = int(digits, 0) + 1
        return (f"0x{value:X}" if digits[:2] in ("0x", "0X") else str(value)) + suffix
    real = re.fullmatch(r"((?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?)([fFlL]?)", text)
    if not real:
        return None
    value = Decimal(real[1])
    changed = f"{value + 1 if value < 1000 else value * 2:f}"
    return changed + ("" if "." in changed else ".0") + real[2]


class _Code:
    """Tokens, and what belongs together among them."""

    def __init__(self, source, is_shader, tokens):
        self.source = source
        self.is_shader = is_shader
        self.tokens = tokens
        self.partner = {}
        self.in_function = []  # for each token
        opened, blocks = [], []
        for i, token in enumerate(tokens):
            self.in_function.append(bool(blocks) and blocks[-1])
            if token.kind != "operator":
                continue
            if token.text in OPENING:
                opened.append(i)
                if token.text == "{":
                    blocks.append(self._opens_code(i))
            elif token.text in CLOSING:
                # What the preprocessor chooses from may close twice.
                if opened and tokens[opened[-1]].text == CLOSING[token.text]:
                    self.partner[i] = opened.pop()
                    self.partner[self.partner[i]] = i
                if token.text == "}" and blocks:
                    blocks.pop()

    def text(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def _opens_code(self, i):
        head = []
        while i > 0 and self.text(i - 1) not in (";", "{", "}"):
            i -= 1
            head.append(self.text(i))
        return "(" in head or not TYPES.intersection(head)

    def is_operand(self, i):
        """Whether what ends here can be the left side of an operator."""
        if not 0 <= i < len(self.tokens):
            return False
        token = self.tokens[i]
        return token.kind in ("number", "literal") or token.text in (")", "]") or (
            token.kind == "word" and token.text not in ("return", "case")
        )

    def is_binary(self, i):
        # The layout tells operators of C++ from pointers, references and templates, which shaders
        # have none of.
        if self.is_shader:
            return self.is_operand(i - 1)
        token = self.tokens[i]
        if token.text in ("+", "<<") and '"' in (self.text(i - 1)[-1:], self.text(i + 1)[-1:]):
            return False  # of texts, where nothing else compiles
        before, after = self.source[token.start - 1], self.source[token.end : token.end + 1]
        return before.isspace() and after.isspace()

    def parts(self, first, last, separator):
        """Ranges of tokens between separators, not counting those in brackets."""
        begin = i = first
        while i < last:
            if self.text(i) == separator:
                yield begin, i
                begin = i + 1
            i = self.partner.get(i, i) + 1 if self.text(i) in OPENING else i + 1
        yield begin, last

    def changes(self):
        """Each as first and last token, and what becomes of their text."""
        for i, token in enumerate(self.tokens):
            if token.kind == "number":
                changed = changed_number(token.text)
                if changed is not None:
                    yield i, i, changed
            elif token.kind == "word":
                yield from self._changes_of_word(i)
            elif token.kind == "operator":
                yield from self._changes_of_operator(i)

    def _changes_of_operator(self, i):
        text = self.text(i)
        if text in SIBLINGS and self.is_binary(i):
            yield i, i, SIBLINGS[text]
        elif text in ("++", "--"):
            yield i, i, "--" if text == "++" else "++"
        elif text == "!" or (text == "-" and not self.is_operand(i - 1)):
            yield i, i, ""
        elif text == "?":
            yield from self._negation(self._begin_of_condition(i), i)

    def _changes_of_word(self, i):
        text = self.text(i)
        if text in WORDS:
            yield i, i, WORDS[text]
        elif text in ("if", "while", "for"):
            opening = i + 2 if self.text(i + 1) == "constexpr" else i + 1
            if opening in self.partner:
                parts = list(self.parts(opening + 1, self.partner[opening], ";"))
                if text == "for" and len(parts) == 3:
                    yield from self._negation(*parts[1])
                elif text != "for":
                    yield from self._negation(*parts[-1])
        if self.in_function[i] and self._begins_statement(i):
            last = self._end_of_call(i)
            if last:
                yield i, last, ""

    def _begin_of_condition(self, i):
        while i > 0 and self.text(i - 1) not in BEFORE_A_CONDITION.union(OPENING):
            if self.text(i - 1) == ")" and self.tokens[i].kind != "operator":
                break  # of an if
            i = self.partner.get(i - 1, i - 1)
        return i

    def _negation(self, first, end):
        if first >= end:
            return
        places = [i for i in range(first, end) if self.text(i) in SIBLINGS and self.is_binary(i)]
        binary = [self.text(i) for i in places]
        # Here another change does the same.
        if binary in (["=="], ["!="]) or (not binary and self.text(first) in ("!", *WORDS)):
            return
        begin, stop = self.tokens[first].start, self.tokens[end - 1].end
        yield first, end - 1, f"!({self.source[begin:stop]})"

    def _begins_statement(self, i):
        before = self.text(i - 1)
        if before == ")":
            head = self.text(self.partner.get(i - 1, 0) - 1)
            return head in ("if", "for", "while", "constexpr")
        return before in (";", "{", "}", "else")

    def _end_of_call(self, i):
        """The last token of a call that is a whole statement, before its semicolon."""
        if self.text(i) in NO_CALLS:
            return None
        i += 1
        while True:
            if self.text(i) in ("::", ".", "->"):
                i += 2
            elif self.text(i) in ("(", "[") and i in self.partner:
                i = self.partner[i] + 1
            elif self.text(i) == "<" and not self.is_binary(i):
                while self.text(i) not in (">", ";", ""):
                    i += 1
                i += 1
            else:
                break
        return i - 1 if self.text(i) == ";" and self.text(i - 1) == ")" else None

    def special_calls(self):
        """Calls that mutants treat specially: their names, and where they begin and end."""
        for i, token in enumerate(self.tokens):
            if token.text in UNSEEN.union(["assert"]) and i + 1 in self.partner:
                yield token.text, token.start, self.tokens[self.partner[i + 1]].end


def _with_its_text(source, begin, stop, start, end, changed):
    """An assertion that holds something else, and still says what it said."""
    begin, stop = begin + len("assert("), stop - 1
    said = " ".join(source[begin:stop].split()).replace("\\", "\\\\").replace('"', '\\"')
    holds = source[begin:start] + changed + source[end:stop]
    return (
        f"(static_cast<bool>({holds}) ? void(0) "
        f': __assert_fail("{said}", __FILE__, __LINE__, __extension__ __PRETTY_FUNCTION__))'
    )


def _places(source):
    """Of each change: where it begins and ends, what stands there then, and what of the source is
    replaced by what."""
    for is_shader, tokens in texts_of(source):
        code = _Code(source, is_shader, tokens)
        special_calls = list(code.special_calls())
        for first, last, changed in code.changes():
            start, end = tokens[first].start, tokens[last].end
            lost_lines = source.count("\n", start, end) - changed.count("\n")
            replacement = changed + "\n" * lost_lines  # assertions name their lines
            around = [(name, begin, stop) for name, begin, stop in special_calls
                      if end <= stop and (begin <= start or end == stop)]
            if not around or ("assert", start, end) == around[0]:
                yield start, end, changed, start, end, replacement
            elif around[0][0] == "assert":
                begin, stop = around[0][1:]
                whole = _with_its_text(source, begin, stop, start, end, replacement)
                yield start, end, changed, begin, stop, whole


def mutants_of(file, source):
    """All mutants of a source file, in the order of its text."""
    lines = [0] + [match.end() for match in re.finditer("\n", source)]
    seen = Counter()
    mutants = []
    for start, end, changed, begin, stop, replacement in sorted(_places(source)):
        line = bisect_right(lines, start)
        code = source[lines[line - 1] :].split("\n", 1)[0].strip()
        change = f"{_shown(source[start:end])} -> {_shown(changed)}"
        seen[code, change] += 1
        if seen[code, change] > 1:
            change += f" (number {seen[code, change]})"
        mutants.append(Mutant(file, line, code, change, begin, stop, replacement))
    return mutants


def _shown(text):
    return f"`{' '.join(text.split())}`" if text else "nothing"
