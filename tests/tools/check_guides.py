#!/usr/bin/env python3
"""Checks that both guides quote every text that src/ shows, and have the same structure.

Every string literal below src/ that has words in it stands in docs/guide.fr.md and docs/guide.en.md,
verbatim, within code (backquotes or a block), or in NOT_SHOWN below with the reason why no user sees it.
The two guides have headings of the same levels, with as many table rows and the same code blocks between
them.
"""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
GUIDES = ("docs/guide.fr.md", "docs/guide.en.md")

# Texts of src/ that are not shown, by the file that holds them.
NOT_SHOWN = {
    # Names that are looked up in the system.
    "app/process_settings.cpp": {"ntdll.dll", "RtlSetProcessPlaceholderCompatibilityMode"},
    "engine/content_hashing.cpp": {"larkspine sample fingerprint v1"},  # hashed with the sample
    "fs/exclusion_rule.cpp": {"c:\\windows"},  # compared in this form; users write C:\Windows
    "base/path_forms.h": {"\\\\?\\UNC\\"},  # taken off every path before it is shown
    "fs/volume.cpp": {"ntfs"},  # compared with the file system's name
    "index/index_key.cpp": {"index-0000000000000000.lsi"},  # shown with its digits filled in
    "index/index_format.cpp": {"LRKIDX01"},  # the magic of an index file
}

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*|\basm\b[^;]*;"""  # nothing that is shown
    r"""|\bstatic_assert\s*\((?:[^;"]|"[^"]*")*\)\s*;"""
    r"""|(?<=[0-9A-Fa-f])'(?=[0-9A-Fa-f])"""  # between the digits of a number
    r"""|L?R"\(.*?\)"|L?'(?:\\.|[^'\\\n])+'"""
    r"""|L?"(?P<text>(?:\\.|[^"\\\n])*)\"""", re.DOTALL | re.MULTILINE | re.VERBOSE)
ESCAPE = re.compile(r"\\(x[0-9A-Fa-f]{2}|.)")
DIRECTIVE = re.compile(r"%(?:0?\d*)(?:ll|l)?[a-zA-Z]")


def unescaped(literal):
    return ESCAPE.sub(lambda at: {"n": "\n", "r": "\n", "t": "\t", "0": "\n"}.get(
        at[1], "\n" if at[1].startswith("x") else at[1]), literal)


def shown_texts(source):
    """The words of a source's string literals: pieces between line ends and conversions."""
    for token in TOKEN.finditer(source):
        if token["text"] is None:
            continue  # a comment, a character, or the banner's drawing
        for line in unescaped(token["text"]).split("\n"):
            for piece in DIRECTIVE.split(line):
                piece = piece.strip()
                if re.search(r"\w{3}|-\w", piece):
                    yield piece


def outline(text):
    """Headings by level, table rows and code blocks by language, in their order."""
    result, inside = [], False
    for line in text.split("\n"):
        if line.startswith("```"):
            inside = not inside
            if inside:
                result.append("block of " + line[3:])
        elif not inside and line.startswith("#"):
            result.append(f"heading of level {line.index(' ')}")
        elif not inside and line.startswith("|"):
            result.append("table row")
    return result


def code_in(text):
    blocks = re.findall(r"^```\w*\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)
    rest = re.sub(r"^```\w*\n.*?^```$", "", text, flags=re.DOTALL | re.MULTILINE)
    return "\n".join(blocks + re.findall(r"`([^`]+)`", rest))


def main():
    source = PROJECT / "src"
    guides = {name: (PROJECT / name).read_text(encoding="utf-8") for name in GUIDES}
    code = {name: code_in(text) for name, text in guides.items()}
    problems, seen = [], {name: set() for name in NOT_SHOWN}
    for path in sorted([*source.rglob("*.h"), *source.rglob("*.cpp")]):
        name = path.relative_to(source).as_posix()
        for text in shown_texts(path.read_text(encoding="utf-8")):
            if text in NOT_SHOWN.get(name, ()):
                seen[name].add(text)
                continue
            problems += [f"{guide}: lacks '{text}' of src/{name}" for guide in GUIDES
                         if text not in code[guide]]
    problems += [f"tests/tools/check_guides.py: src/{name} no longer has '{text}'"
                 for name, texts in NOT_SHOWN.items() for text in sorted(texts - seen[name])]
    french, english = (outline(guides[name]) for name in GUIDES)
    for at, (left, right) in enumerate(zip(french + ["its end"], english + ["its end"])):
        if left != right:
            headings = french[:at].count("heading of level 2")
            problems.append(f"the guides differ in section {headings}: {GUIDES[0]} has {left}, "
                            f"{GUIDES[1]} has {right}")
            break
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
