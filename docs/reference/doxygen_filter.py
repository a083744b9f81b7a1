#!/usr/bin/env python3
"""Input filter of the reference documentation.

The headers state their contracts in plain // comments: a file's overview at
its top (for a header of one class, the class's contract), a declaration's
contract right above it, a field's meaning after it. Doxygen reads only its
own comment forms, so this filter hands it each header with those comments
turned into them:

  * the overview (the first comment block) documents the file;
  * a class or struct without a comment of its own is documented by the
    overview's paragraphs that begin with its name ("CErrorObject: the
    value record ..."), up to the next paragraph about another class of the
    file; the whole overview when it opens with the class and names no
    other;
  * a line that is only a // comment becomes ///, which documents the
    declaration that follows;
  * a // comment after code on the same line becomes ///<, which documents
    what stands before it;
  * characters that doxygen reads as commands or markup in comment text
    (backslash @ & $ # % < >) are escaped outside "quoted" text;
    clang-format switches are dropped.

Every line keeps its place, so doxygen's line numbers are the header's.

Usage (doxygen's INPUT_FILTER): doxygen_filter.py <header>
"""

import re
import sys

LINE_COMMENT = re.compile(r"^(\s*)//(?!/)(.*)$")
FORMAT_SWITCH = re.compile(r"^\s*//\s*clang-format (on|off)\s*$")
CLASS = re.compile(r"^(?:class|struct)\s+(?:[A-Z_]+_API\s+)?(\w+)\b(?!.*;\s*$)")
TEMPLATE = re.compile(r"^template\s*<")
SPECIAL = re.compile(r"([\\@&$#%<>])")


def escape(text):
    """Escapes outside "quoted" spans (doxygen leaves those as they are)."""
    parts = text.split('"')
    for i in range(0, len(parts), 2):
        parts[i] = SPECIAL.sub(r"\\\1", parts[i])
    return '"'.join(parts)


def trailing_comment_at(line):
    """Index of a // that starts a comment after code, or -1 (not inside a
    string or character literal)."""
    quote = None
    i = 0
    while i < len(line) - 1:
        c = line[i]
        if quote:
            if c == "\\":
                i += 2
                continue
            if c == quote:
                quote = None
        elif c in "\"'":
            quote = c
        elif line.startswith("//", i):
            return i
        i += 1
    return -1


def overview_paragraphs(lines):
    """The paragraphs of the leading comment block, each a list of lines."""
    paragraphs = [[]]
    for line in lines:
        m = LINE_COMMENT.match(line)
        if not m or FORMAT_SWITCH.match(line):
            break
        body = m.group(2).strip()
        if body:
            paragraphs[-1].append(body)
        elif paragraphs[-1]:
            paragraphs.append([])
    return [p for p in paragraphs if p]


def starts_with_name(paragraph, name):
    return re.match(r"%s\b(?![.(])" % re.escape(name), paragraph[0]) is not None


def class_documentation(name, paragraphs, classes):
    others = [c for c in classes if c != name]
    about = [i for i, p in enumerate(paragraphs) if starts_with_name(p, name)]
    if not about:
        return None
    named_other = any(starts_with_name(p, c) for p in paragraphs for c in others)
    if about[0] == 0 and not named_other:
        chosen = paragraphs
    else:
        chosen = []
        for p in paragraphs[about[0]:]:
            if chosen and any(starts_with_name(p, c) for c in others):
                break
            chosen.append(p)
    return "<p>".join(escape(" ".join(p)) for p in chosen)


def has_own_comment(lines, index):
    """Whether the declaration at `index` (or its template line) has a //
    comment right above it."""
    j = index - 1
    if j >= 0 and TEMPLATE.match(lines[j]):
        j -= 1
    return j >= 0 and LINE_COMMENT.match(lines[j]) is not None


def filter_lines(lines):
    lines = [line.rstrip("\n") for line in lines]
    paragraphs = overview_paragraphs(lines)
    classes = [m.group(1) for m in (CLASS.match(line) for line in lines) if m]
    # Where a class without its own comment gets the overview's words.
    prefixes = {}
    for i, line in enumerate(lines):
        m = CLASS.match(line)
        if not m or has_own_comment(lines, i):
            continue
        text = class_documentation(m.group(1), paragraphs, classes)
        if text:
            at = i - 1 if i > 0 and TEMPLATE.match(lines[i - 1]) else i
            prefixes[at] = "/** %s */ " % text

    out = []
    first = True
    for i, text in enumerate(lines):
        if FORMAT_SWITCH.match(text):
            out.append("")
            first = False
            continue
        m = LINE_COMMENT.match(text)
        if m:
            indent, body = m.groups()
            out.append("%s///%s%s" % (indent, escape(body), " \\file" if first else ""))
            first = False
            continue
        first = False
        at = trailing_comment_at(text)
        if at > 0 and text[:at].strip() and not text.lstrip().startswith("#"):
            rest = text[at + 2:]
            if not rest.startswith("/") and not rest.startswith("!"):
                text = text[:at] + "///<" + escape(rest)
        out.append(prefixes.get(i, "") + text)
    return "".join(line + "\n" for line in out)


def main():
    with open(sys.argv[1], encoding="utf-8", errors="replace") as f:
        sys.stdout.write(filter_lines(f.readlines()))


if __name__ == "__main__":
    main()
