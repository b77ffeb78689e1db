"""The mutants of a C++ source text: small changes that a programmer could have made by mistake.

Works on the form that scripts/format gives: operators of two operands stand between spaces,
brackets of templates and marks of references do not, and so the two are told apart.

A mutant has two names. `name` quotes the lines that it changes: what was found out about it holds
while they stay as they are. `place` tells the function and the operator or the like in it, as in
"dsp/percentile.cpp interpolate_ranks: < -> <=": it lasts while other lines move and names change.
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
    name: str  # the file and both forms of the line, with a number if others read the same
    place: str  # the file, the declaration and the change, numbered likewise


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


def split_declarations(code, begin, end):
    """(start, end) of each declaration between two offsets: to a semicolon or a closing brace."""
    start, depth = begin, 0
    for at in range(begin, end):
        depth = max(0, depth + {"(": 1, "{": 1, ")": -1, "}": -1}.get(code[at], 0))
        ends = code[at] == ";" or code[at] == "}" and re.match(r"\s*(?:[\w~[}]|$)", code[at + 1:])
        if depth == 0 and ends:
            yield start, at + 1
            start = at + 1


def name_declaration(declaration):
    """The declared name: the word before parameters, an initial value or a bound, templates' aside."""
    text, last = declaration, None
    while text != last:
        text, last = re.sub(r"<[^<>;{}=]*>", "", text), text
    name = (re.match(r"\s*enum class (\w+)", text) or re.match(r"[^(={]*\(\*(\w+)\)", text)
            or re.match(r"[^(={[;]*?([\w:~]+) *[(={[;]", text))
    return name.group(1) if name else ""


def list_declarations(code, begin, end, scope=""):
    """(start, end, name) of what is declared outside functions, members by name of their class too."""
    for start, stop in split_declarations(code, begin, end):
        declared = re.sub(r"^\s*(?:(?:public|protected|private):\s*)*", "", code[start:stop])
        type_name = re.match(r"(?:class|struct) (?:alignas\(\d+\) )?(\w+)[^;={(]*\{", declared)
        if type_name:
            name, body = scope + type_name.group(1), code.index("{", start) + 1
            yield start, body, name
            yield from list_declarations(code, body, code.rindex("}", start, stop), f"{name}::")
        else:
            yield start, stop, scope + name_declaration(declared)


def describe(original, replacement, kind):
    """The change by itself, without the names and values that it is made to."""
    if kind == "condition":
        return "condition negated"
    if kind == "statement":
        return f"{re.match(r'[^(=]*[^(=;+*/ -]|[^;]*', original).group()} left out"
    return f"{original} -> {replacement}" if replacement else f"{original} left out"


def make_mutant(file, text, declarations, start, end, replacement, kind):
    original = text[start:end]
    if replacement is None:
        replacement = f"!({original})"
    mutated = text[:start] + replacement + text[end:]
    before = line_around(text, start, end)
    after = line_around(mutated, start, start + len(replacement))
    declared = next(name for first, last, name in declarations if first <= start < last)
    return Mutant(file, text.count("\n", 0, start) + 1, start, end, replacement, kind, before, after,
                  name=f"{file}: {before} -> {after}",
                  place=f"{file} {declared}: {describe(original, replacement, kind)}")


def number_equals(found, field):
    """No two get the same name: all but the first of equal ones say which they are."""
    same, numbered = collections.Counter(), {}
    for mutant in sorted(found, key=lambda mutant: mutant.start):
        name = getattr(mutant, field)
        same[name] += 1
        which = f" ({same[name]})" if same[name] > 1 else ""
        numbered[mutant] = dataclasses.replace(mutant, **{field: name + which})
    return [numbered[mutant] for mutant in found]


def find_mutants(file, text):
    code = blank_out(text)
    declarations = list(list_declarations(code, 0, len(code)))
    changes = sorted(set(list_changes(code)), key=str)
    found = [make_mutant(file, text, declarations, *change) for change in changes]
    return number_equals(number_equals(found, "name"), "place")


def apply(mutant, text):
    return text[:mutant.start] + mutant.replacement + text[mutant.end:]
