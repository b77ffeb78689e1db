"""The mutants of a C++ source text: small changes that a programmer could have made by mistake.

Works on the form that scripts/format gives: operators of two operands stand between spaces,
brackets of templates and marks of references do not, and so the two are told apart.
"""

import collections
import dataclasses
import re

# Which text in place of which; every entry is a mutant of its own.
OPERATORS = {
    "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"], ">=": [">", "<"],
    "==": ["!="], "!=": ["=="], "&&": ["||"], "||": ["&&"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "&": ["|"], ">>": ["<<"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="],
}
WORDS = {"true": ["false"], "false": ["true"], "min": ["max"], "max": ["min"],
         "floor": ["ceil"], "ceil": ["floor"], "floorf": ["ceilf"], "ceilf": ["floorf"],
         "front": ["back"], "back": ["front"], "any_of": ["all_of"], "all_of": ["any_of"]}

# What holds nothing to change: comments, texts, lines for the preprocessor and for the compiler.
SKIPPED = re.compile(r"""//[^\n]* | /\*.*?\*/ | "(?:\\.|[^"\\\n])*" | '(?:\\.|[^'\\\n])*'
    | ^[ ]*\#(?:\\\n|[^\n])* | \bstatic_assert\b[^;]*; | ^[ ]*template[ ]<[^\n]*>$
    | ^(?:using|namespace)\b[^\n]*""", re.X | re.M | re.S)
BINARY = re.compile(r"(?<= )(?:[<>=!]=|&&|\|\||[-+*/]=|>>|[-<>+*/%&])(?=[ \n])")
STEP = re.compile(r"\+\+|--")
UNARY = re.compile(r"(?<=[(,=?:!*/+\[ -])[!-](?=[\w(:*])(?<![\w)\]] -)(?<!--)")
NUMBER = re.compile(r"(?<![\w.])(?:0x[0-9A-Fa-f]+|\d+(?:\.\d+)?(?:e[-+]?\d+)?)(?=[uUlLfF]*(?![\w.]))")
WORD = re.compile(r"(?<![\w.])(?:std::|std::ranges::)?\b(\w+)\b|(?<=[.])(front|back)\b")
CONDITION = re.compile(r"\b(?:if|while) (?:constexpr )?\(")
# A call or an assignment that is a statement on one line, and what leaves a loop or a function.
STATEMENT = re.compile(r"^ +(?!return\b|case\b|default\b|throw\b|delete\b|using\b|else\b|if\b|for\b|while\b)"
                       r"(?:[\w.:>\[\]*()-]+?(?:\([^\n]*\)| [-+*/]?= [^\n]+)|\+\+\w+|break|continue|return);$", re.M)


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    start: int
    end: int
    replacement: str
    kind: str
    original: str  # the line, without its indentation
    mutated: str
    number: int = 1  # among those of the file that read the same

    @property
    def name(self):
        which = f" ({self.number})" if self.number > 1 else ""
        return f"{self.file}: {self.original} -> {self.mutated}{which}"


def blank_out(text):
    """The text with what must not be changed made of spaces of the same length."""
    return SKIPPED.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), text)


def find_closing(text, opening):
    depth = 0
    for at in range(opening, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0:
            return at
    raise ValueError("a bracket without its other half")


def neighbours_of(number):
    if number.startswith("0x"):
        return [hex(int(number, 16) + 1), hex(int(number, 16) - 1)]
    if re.search(r"[.e]", number):
        return [repr(float(number) + 1.0), repr(float(number) - 1.0)]
    return [str(int(number) + 1), str(int(number) - 1)] if int(number) else ["1"]


def list_changes(text):
    """(start, end, replacement, kind) for each."""
    for found in BINARY.finditer(text):
        for other in OPERATORS.get(found.group(), []):
            yield *found.span(), other, "operator"
    for found in STEP.finditer(text):
        yield *found.span(), "--" if found.group() == "++" else "++", "operator"
    for found in UNARY.finditer(text):
        yield *found.span(), "", "operator"
    for found in NUMBER.finditer(text):
        for other in neighbours_of(found.group()):
            yield *found.span(), other, "constant"
    for found in WORD.finditer(text):
        group = 1 if found.group(1) else 2
        for other in WORDS.get(found.group(group), []):
            yield *found.span(group), other, "operator"
    for found in CONDITION.finditer(text):
        if ";" not in text[found.end():find_closing(text, found.end() - 1)]:
            yield found.end(), find_closing(text, found.end() - 1), None, "condition"
    for found in STATEMENT.finditer(text):
        yield found.start() + len(found.group()) - len(found.group().lstrip()), found.end(), ";", "statement"


def line_around(text, start, end):
    return " ".join(text[text.rfind("\n", 0, start) + 1:(text + "\n").find("\n", end)].split())


def make_mutant(file, text, start, end, replacement, kind):
    if replacement is None:
        replacement = f"!({text[start:end]})"
    mutated = text[:start] + replacement + text[end:]
    return Mutant(file, text.count("\n", 0, start) + 1, start, end, replacement, kind,
                  line_around(text, start, end),
                  line_around(mutated, start, start + len(replacement)))


def number_by_place(found):
    """No two of a file get the same name, and they keep theirs wherever other lines move."""
    same, numbers = collections.Counter(), {}
    for mutant in sorted(found, key=lambda mutant: mutant.start):
        same[mutant.name] += 1
        numbers[mutant] = same[mutant.name]
    return [dataclasses.replace(mutant, number=numbers[mutant]) for mutant in found]


def find_mutants(file, text):
    changes = sorted(set(list_changes(blank_out(text))), key=str)
    return number_by_place([make_mutant(file, text, *change) for change in changes])


def apply(mutant, text):
    return text[:mutant.start] + mutant.replacement + text[mutant.end:]
