"""Reads the public C++ headers: every public function with its result, parameters and comment."""
import dataclasses
import pathlib
import re

APART = {"LmlApi.h"}  # no functions


@dataclasses.dataclass
class Function:
    """A declaration: `owner` is the class, or empty for a free function."""

    owner: str
    name: str
    result: str
    parameters: list  # of (type, name, default or None)
    const: bool
    static: bool
    inline: bool
    doc: str
    public: bool = True

    @property
    def full(self):
        return f"{self.owner}::{self.name}" if self.owner else self.name


def _tokens(text):
    """Statements of a header: ("doc", text), ("open", head), ("close", ""), ("label", name), ("end", statement)."""
    text = re.sub(r"^\s*#.*(?:\\\n.*)*$", "", text, flags=re.M)
    text = re.sub(r"^(\s*)//(?!/).*$", "\\1\x01", text, flags=re.M)  # notes end a doc block
    text = re.sub(r"///?<[^\n]*(?:\n\s*///<[^\n]*)*", "", text)
    text = re.sub(r"(?<!/)//(?!/)[^\n]*", "", text)
    docs = []

    def keep(match):
        docs.append("\n".join(re.sub(r"^\s*/// ?", "", line) for line in match.group(0).strip("\n").splitlines()))
        return f"\x02{len(docs) - 1}\x03"

    text = re.sub(r"^[ \t]*///[^\n]*\n(?:[ \t]*///[^\n]*\n)*", keep, text, flags=re.M)
    head = ""
    depth = 0  # of parentheses
    at = 0
    while at < len(text):
        c = text[at]
        if c == "\x01":
            if not head.strip():
                yield "note", ""
        elif c == "\x02":
            end = text.index("\x03", at)
            yield "doc", docs[int(text[at + 1:end])]
            at = end
        elif c in "([":
            depth += 1
            head += c
        elif c in ")]":
            depth -= 1
            head += c
        elif c == "{" and depth == 0:
            yield "open", head.strip()
            head = ""
        elif c == "}" and depth == 0:
            yield "close", head.strip()
            head = ""
        elif c == ";" and depth == 0:
            yield "end", head.strip()
            head = ""
        elif c == ":" and head.strip() in ("public", "protected", "private"):
            yield "label", head.strip()
            head = ""
        else:
            head += c
        at += 1


def _split(text):
    """The parts between commas that stand in no brackets."""
    parts, depth, part = [], 0, ""
    for c in text:
        depth += c in "(<{["
        depth -= c in ")>}]"
        if c == "," and depth == 0:
            parts.append(part)
            part = ""
        else:
            part += c
    return [p.strip() for p in parts + [part] if p.strip()]


def _parameter(text):
    text, _, default = (p.strip() for p in text.partition("="))
    match = re.match(r"(.*?[\s&*])(\w+)$", text)
    if match and match.group(1).strip() not in ("unsigned", "const"):
        return match.group(1).strip(), match.group(2), default or None
    return text, "", default or None


def _function(owner, statement, inline, doc, public):
    statement = re.sub(r"\s+", " ", statement)
    statement = re.sub(r"\bLML_API\b|\[\[noreturn\]\]|\bLML_PRINTF_LIKE\([^)]*\)|\binline\b|\bexplicit\b|\bfriend\b",
                       "",
                       statement)
    statement = re.sub(r"template <[^>]*(?:<[^>]*>[^>]*)*> ?", "", statement).strip()
    if re.match(r"[^(]*=[^(]*\(", statement) and "operator" not in statement.split("(")[0]:
        return None  # a member with a value
    if " = delete" in statement or "operator=(" in statement.replace(" ", "") and "==" not in statement \
            and not re.search(r"operator[-+*/&!]=", statement):
        return None
    match = re.match(r"(?P<static>static )?(?P<result>.*?)(?P<name>operator ?[^\s(]+|operator double|~?\w+) ?\("
                     r"(?P<parameters>.*?)\)(?P<tail>[^()]*(?:\(.*\).*)?)$", statement)
    if not match or "~" in match["name"]:
        return None
    # An initialiser list of an inline constructor has parentheses of its own: the first balanced pair counts.
    start = statement.index("(", match.start("name") + len(match["name"]))
    depth = 0
    for end in range(start, len(statement)):
        depth += statement[end] == "("
        depth -= statement[end] == ")"
        if depth == 0:
            break
    parameters = [_parameter(p) for p in _split(statement[start + 1:end])]
    tail = statement[end + 1:].split(":")[0]
    return Function(owner, match["name"].replace(" ", "") if match["name"] != "operator double" else "operator double",
                    match["result"].strip(), parameters, "const" in tail, bool(match["static"]), inline, doc, public)


def read(folder, everything=False):
    """The public functions of the public headers in `folder`, in their order; or all, protected and private too."""
    found = []
    for path in sorted(pathlib.Path(folder).glob("*.h"), key=lambda p: (p.name != "LmlTypes.h", p.name)):
        scopes = []  # (kind, name, access)
        doc = ""
        for kind, text in _tokens(path.read_text(encoding="utf-8") if path.name not in APART else ""):
            inside = scopes[-1] if scopes else ("namespace", "", "public")
            if kind == "doc":
                doc = text
            elif kind == "note":
                doc = ""
            elif kind == "label":
                scopes[-1] = (inside[0], inside[1], text)
                doc = ""
            elif kind == "open":
                opened = re.search(r"\b(namespace|class|struct|enum|union)\b(?: LML_API)? ?(\w+)?", text)
                if opened and "(" not in text:
                    name = opened.group(2) or ""
                    hidden = inside[2] != "public" or name == "detail" or inside[0] == "hidden"
                    new = "hidden" if hidden or opened.group(1) in ("enum", "union") else opened.group(1)
                    scopes.append((new, name, "private" if opened.group(1) == "class" else "public"))
                    doc = ""
                else:
                    if inside[0] in ("namespace", "class", "struct"):
                        owner = inside[1] if inside[0] != "namespace" else ""
                        function = _function(owner, text, True, doc, inside[2] == "public")
                        if function:
                            found.append(function)
                    scopes.append(("body", "", ""))
            elif kind == "close":
                closed = scopes.pop() if scopes else None
                if closed and closed[0] != "body":
                    doc = ""
            elif kind == "end" and text and inside[0] in ("namespace", "class", "struct"):
                if "(" in text and not text.startswith(("using", "static_assert", "extern", "typedef",
                                                        "friend struct")):
                    owner = inside[1] if inside[0] != "namespace" else ""
                    function = _function(owner, text, False, doc, inside[2] == "public")
                    if function and "std::function" not in text:
                        found.append(function)
    return [f for f in found if f.public or everything]
