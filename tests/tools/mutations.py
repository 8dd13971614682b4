"""Where bugs can be planted in a source: small changes of its text, found without understanding it."""
import dataclasses
import random
import re


@dataclasses.dataclass(frozen=True)
class Mutant:
    start: int
    end: int
    text: str
    kind: str


def blanked(text):
    """The text with comments, literals, preprocessor lines and static_asserts as spaces."""
    token = re.compile(r"""//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|(?:\bu8|[uUL])?"(?:\\.|[^"\\\n])*"
                           |(?<![0-9a-fA-F])L?'(?:\\.|[^'\\\n])+'|^[ \t]*\#(?:\\\n|[^\n])*
                           |\bstatic_assert\b[^;]*;""", re.X | re.M | re.S)
    return token.sub(lambda found: re.sub(r"[^\n]", " ", found[0]), text)


def closing(code, at):
    """The index of the bracket that closes the one at `at`; None when there is none."""
    depth = 0
    for i in range(at, len(code)):
        depth += (code[i] in "([{") - (code[i] in ")]}")
        if depth == 0:
            return i
    return None


def split_arguments(code, start, end):
    """The ranges between the commas of code[start:end] that no bracket holds."""
    ranges, depth, begin = [], 0, start
    for i in range(start, end):
        depth += (code[i] in "([{") - (code[i] in ")]}")
        if code[i] == "," and depth == 0:
            ranges.append((begin, i))
            begin = i + 1
    return [*ranges, (begin, end)]


def trimmed(code, start, end):
    while start < end and code[start].isspace():
        start += 1
    while end > start and code[end - 1].isspace():
        end -= 1
    return start, end


REPLACED = (
    ("comparison", r"(?<=\s)(==|!=|<=|>=|<|>)(?=\s)",
     {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="],
      ">=": [">", "<"]}),
    ("logic", r"(?<=\s)(&&|\|\|)(?=\s)", {"&&": ["||"], "||": ["&&"]}),
    ("arithmetic", r"(?<=\s)(\+=|-=|\+|-|\*|/|&|\||\^)(?=\s)",
     {"+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "&": ["|"], "|": ["&"], "^": ["|"],
      "+=": ["-="], "-=": ["+="]}),
    ("arithmetic", r"(\+\+|--)", {"++": ["--"], "--": ["++"]}),
    ("constant", r"\b(true|false)\b", {"true": ["false"], "false": ["true"]}),
    ("function", r"\b(min|max|front|back)\b(?=[(<])",
     {"min": ["max"], "max": ["min"], "front": ["back"], "back": ["front"]}),
)


def replacements(code):
    for kind, pattern, choices in REPLACED:
        for found in re.finditer(pattern, code):
            for text in choices.get(found[1], ()):
                yield Mutant(found.start(1), found.end(1), text, kind)
    for found in re.finditer(r"(?<![\w.'])(0x[0-9A-Fa-f']+|\d[\d']*)([uUlL]*)(?![\w.'])", code):
        value = int(found[1].replace("'", ""), 0)
        for changed in (value + 1, value - 1):
            if changed >= 0:
                yield Mutant(found.start(), found.end(), f"{changed}{found[2]}", "constant")
    for found in re.finditer(r"!(?=[\w(:])", code):
        yield Mutant(found.start(), found.end(), "", "negation")


def negated_conditions(text, code):
    for found in re.finditer(r"\b(?:if|while) \(", code):
        last = closing(code, found.end() - 1)
        if last is None:
            continue
        start = max([found.end(), *(i + 1 for i in range(found.end(), last) if code[i] == ";")])
        start, last = trimmed(code, start, last)
        if not code.startswith("const ", start):
            yield Mutant(start, last, f"!({text[start:last]})", "negation")
    for found in re.finditer(r" \? ", code):
        yield Mutant(found.start(), found.end(), " && false ? ", "choice")


DECLARATION = re.compile(
    r"(?:(?:const|constexpr|static|inline|auto|using|typedef|struct|class|enum|template|namespace|"
    r"friend|public|private|protected|explicit|return|goto|case|default|extern|mutable)\b|\[\[|"
    r"[\w:]+(?:<[^;]*>)?[&*]* [&*]*[\w:]+(?: = |;|\(|\{|\[|$))")


def dropped_statements(code):
    begin, depth = 0, 0
    for i, character in enumerate(code):
        depth += (character in "([") - (character in ")]")
        if character in "{}":
            begin = i + 1
        elif character == ";" and depth == 0:
            start, _ = trimmed(code, begin, i)
            begin = i + 1
            statement = " ".join(code[start:i + 1].split())
            if len(statement) > 1 and (not DECLARATION.match(statement) or
                                       statement.startswith("return;")):
                yield Mutant(start, i + 1, ";", "dropped")


def swapped_arguments(text, code):
    for found in re.finditer(r"[\w>](\(|\{)", code):
        last = closing(code, found.end() - 1)
        inside = code[found.end():last] if last else ""
        if not last or ";" in inside or re.search(r"\b(const|constexpr|auto)\b", inside):
            continue
        ranges = [trimmed(code, *part) for part in split_arguments(code, found.end(), last)]
        for (a, b), (c, d) in zip(ranges, ranges[1:]):
            if a < b and c < d and text[a:b] != text[c:d] and not re.match(r"[\w:]+[&*]? [&*]?\w+$",
                                                                         code[a:b]):
                yield Mutant(a, d, text[c:d] + text[b:c] + text[a:b], "swapped")


def mutants_of(text):
    code = blanked(text)
    found = [*replacements(code), *negated_conditions(text, code), *dropped_statements(code),
             *swapped_arguments(text, code)]
    return sorted(set(found), key=dataclasses.astuple)


def in_sampled_order(mutants, seed):
    """Each kind in turn, in an order that the seed alone decides."""
    chance = random.Random(seed)
    kinds = {}
    for mutant in mutants:
        kinds.setdefault(mutant.kind, []).append(mutant)
    for found in kinds.values():
        chance.shuffle(found)
    order = []
    while any(kinds.values()):
        order += [found.pop() for found in kinds.values() if found]
    return order


def described(source, text, mutant):
    line = text.count("\n", 0, mutant.start) + 1
    # Enough of the text around it to show where in the line it is.
    begin = text.rfind("\n", 0, mutant.start) + 1
    end = text.find("\n", mutant.end)
    before, after = " ".join(text[begin:mutant.start].split()), " ".join(text[mutant.end:end].split())
    old, new = (" ".join(part.split()) for part in (text[mutant.start:mutant.end], mutant.text))
    return f"{source}:{line}: {before[-40:]} [{old} -> {new}] {after[:30]}"
