#!/usr/bin/env python3
"""Reads a public header or a page for Doxygen: both are written for people who read them as they are.

    tools/doxygen_filter.py HEADER|PAGE.md

- A docstring covers every declaration below it up to the next blank line, comment or brace: it is repeated for each.
- A variable without a docstring of its own shares that of the one before it.
- The headings inside a class (`// ---- Name`) become its sections, those of a file (three lines) become groups, and the
  `//` paragraphs below a heading their introductions, tables kept as they are set.
- The sections of protected members say so: sections of one name would become one, at the end of the page.
- What is private is left out.
- The first line of a header is its file's summary.
- A page's summary is what the README's table says of it.
- Headings of a page get the anchors that links name, "PAGE-heading".
"""
import pathlib
import re
import sys

CLASS_HEADING = re.compile(r"^    // -{20,} (\S.*)$")
RULE = re.compile(r"^// -{60,}$")
DECLARATION = re.compile(r"^\s*(?!//|#|\}|\{|public:|protected:|private:|friend |return|if |else|for )[A-Za-z_~\[].*")


def introduction(lines, at):
    """The `//` paragraphs from line `at` on, as docstring lines, and the line behind them."""
    text, table = [], False
    while at < len(lines):
        line = lines[at].strip()
        if line.startswith("//") and not line.startswith("///"):
            body = line[2:][1:] if line[2:].startswith(" ") else line[2:]
            if CLASS_HEADING.match(lines[at]) or RULE.match(lines[at]):
                break
            if bool(re.search(r"^    |\S {2,}\S", body)) != table:
                table = not table
                text.append("~~~{.unparsed}" if table else "~~~")
            text.append(re.sub(r"^    ", " ", body))  # four blanks would be code to Markdown
        elif line == "" and at + 1 < len(lines) and re.match(r"^\s*//(?!/)", lines[at + 1]) and text:
            if table:
                text.append("~~~")
                table = False
            text.append("")
        elif line == "" and not text:
            pass
        else:
            break
        at += 1
    if table:
        text.append("~~~")
    return text, at


def filtered(path):
    lines = open(path, encoding="utf-8").read().split("\n")
    name = re.sub(r".*/", "", path)
    out, at = [], 0
    title, at = introduction(lines, 0)
    out += ["/// @file"] + ["/// " + line for line in title] + [""]
    in_group = in_section = protected = False
    doc = []  # the docstring that still covers what follows
    trailing = ""  # that of the variable before
    fresh = False
    while at < len(lines):
        line = lines[at]
        if line.startswith("private:"):
            while not lines[at].startswith("};"):
                at += 1
            line = lines[at]
        heading = CLASS_HEADING.match(line)
        if heading or (RULE.match(line) and at + 2 < len(lines) and RULE.match(lines[at + 2])):
            doc = []
            if heading:
                if in_section:
                    out.append("    /**@}*/")
                text, at = introduction(lines, at + 1)
                # A group of members takes a summary; its reader finds the rest below it.
                section = heading.group(1) + (", for derived classes" if protected else "")
                out += ["    /// @name " + section] + ["    /// " + t for t in text] + ["", "    /**@{*/", ""]
                in_section = True
                continue
            if in_group:
                out.append("/// @}")
            words = re.sub(r"\s*\([^()]*\)$", "", lines[at + 1][3:]).strip()
            head, _, rest = words.partition(". ")
            key = re.sub(r"\W+", "_", name[:-2] + "_" + head).lower()
            text, at = introduction(lines, at + 3)
            out += ["/// @defgroup %s %s" % (key, head)] + (["/// " + rest] if rest else []) + \
                ["/// " + t for t in text] + ["/// @{", ""]
            in_group = True
            continue
        stripped = line.strip()
        if stripped.startswith("///") and not stripped.startswith("///<"):
            line = re.sub(r"(?<=[ (])<(?=[A-Z(>])", r"\\<", line)  # a mean, no tag
            if not fresh:
                doc = []
            doc.append(line)
            fresh = True
        elif stripped == "" or stripped.startswith("//") or re.match(r"^(class|struct|enum)\b.*[^;]$|^\};", line):
            doc, fresh = [], False
        elif re.match(r"^(public|protected|private):", stripped):
            if in_section:
                out.append("    /**@}*/")
                in_section = False
            protected = stripped.startswith("protected")
            doc, fresh = [], False
        elif DECLARATION.match(line) and doc:
            if not fresh and "///<" not in line and starts_declaration(lines, at):
                out += [d for d in doc if fits(d, lines, at)]
            fresh = False
        variable = re.match(r"^    [\w:<>, ]+ \w+(?: = [^;]*)?;(.*)$", line)
        if variable and "///<" in variable.group(1):
            trailing = line[line.index("///<"):]
        elif variable and trailing and not doc and not variable.group(1).strip():
            line += " " + trailing
        elif not stripped.startswith("///<"):
            trailing = ""
        if line.startswith("};") and in_section:
            out.append("    /**@}*/")
            in_section = False
        if re.match(r"^} // namespace LumoraLib$", line) and in_group:
            out.append("/// @}")
            in_group = False
        out.append(line)
        at += 1
    return "\n".join(out)


def fits(doc, lines, at):
    """Whether a line of a docstring holds for the declaration at line `at` too: its @param must be one of its own."""
    match = re.match(r"\s*/// @param\s+(\w+)", doc)
    if not match:
        return True
    end = at
    while ";" not in lines[end] and "{" not in lines[end] and end + 1 < len(lines):
        end += 1
    return re.search(r"\b%s\b" % match.group(1), " ".join(lines[at:end + 1])) is not None


def starts_declaration(lines, at):
    """Whether line `at` begins a declaration of the class or namespace: the one before it ended, and it is no part of a body."""
    before = lines[at - 1].split("//")[0].rstrip()
    indent = len(lines[at]) - len(lines[at].lstrip())
    first = at - 1
    while first > 0 and lines[first - 1].strip() and not lines[first - 1].strip().startswith("//"):
        first -= 1
    indent_of_run = min(len(line) - len(line.lstrip()) for line in lines[first:at + 1])
    return before.endswith((";", "}", ":")) and indent == indent_of_run and lines[at].strip() not in ("{", "}")


def page(path):
    text = open(path, encoding="utf-8").read()
    name = re.sub(r".*/|\.md$", "", path)
    index = (pathlib.Path(__file__).parent.parent / "README.md").read_text(encoding="utf-8")
    summary = re.search(r"^\| \[docs/%s\.md\]\(.*?\) \| (.*) \|$" % re.escape(name), index, flags=re.M)
    if summary:
        text = re.sub(r"\A(# .*\n)", lambda m: "%s\n@brief %s%s.\n" % (m.group(1), summary.group(1)[0].upper(), summary.group(1)[1:]), text)
    seen = {}

    def anchored(match):
        slug = re.sub(r"[^\w -]", "", match.group(2).strip().lower()).replace(" ", "-")
        seen[slug] = seen.get(slug, -1) + 1
        slug += "-%d" % seen[slug] if seen[slug] else ""
        return "%s {#%s-%s}" % (match.group(0), name, slug)
    parts = re.split(r"(?ms)(^```.*?^```$)", text)  # every other one is code
    text = "".join(part if n % 2 else re.sub(r"(?m)^(##+) (.*)$", anchored, part) for n, part in enumerate(parts))
    text = re.sub(r"\]\((?:[\w./-]*?([\w-]+)\.md)?#([\w-]+)\)", lambda m: "](#%s-%s)" % (m.group(1) or name, m.group(2)), text)
    return text


if __name__ == "__main__":
    print(page(sys.argv[1]) if sys.argv[1].endswith(".md") else filtered(sys.argv[1]))
