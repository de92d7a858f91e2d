"""Single-point faults of C++ sources, for scripts/mutate.

A place is one spot of a source at which something can be changed; each of its faults replaces a short stretch of text.
The sources are not parsed. Comments, texts and preprocessor lines are blanked, and what is left is laid out by
clang-format, so that blanks tell an operator from a pointer or a template. A fault that makes no C++ does no harm: it
does not compile and is not counted.
"""

import collections
import re

# A statement that does nothing; an empty one after an `if` would be a warning.
NOTHING = "static_cast<void>(0)"
Fault = collections.namedtuple("Fault", "kind begin end text")

OPERATORS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
    "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"], "^": ["|"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="], "<<=": [">>="], ">>=": ["<<="],
}  # fmt: skip
OPERATOR = re.compile(r"(?<= )(<<=|>>=|<=|>=|==|!=|&&|\|\||<<|>>|[-+*/|&]=|[-<>+*/%&|^])(?=[ \n])")
STEP = re.compile(r"\+\+|--")
NOT = re.compile(r"!(?=[\w(:*])")
INTEGER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F']+|\d[\d']*)(?=[uUlLzZ]*(?![\w.']))")
DECIMAL = re.compile(r"(?<![\w.'])(\d+\.\d*(?:[eE][-+]?\d+)?|\d+[eE][-+]?\d+)")
BOOLEAN = re.compile(r"\b(true|false)\b")
CONDITION = re.compile(r"\b(?:if|while) \(")
CALL = re.compile(r"(?<=[\w>])\(|(?<=[\w(, ])\{")
DECLARED = re.compile(r"\s*(?:const\s+)?[\w:]+(?:<.*>)?\s*(?:\.\.\.)?[&*]*\s+[&*]*\w+\s*(?:=.*)?")
KEYWORDS = ("if", "for", "while", "switch", "return", "catch", "sizeof", "decltype", "noexcept", "alignas", "requires")
STATEMENT = re.compile(
    r"(?:break|continue|return)$"
    r"|(?:\+\+|--|\*)[\w(]"
    r"|(?!(?:return|if|for|while|do|else|case|using|static_assert|throw|delete|co_\w+)\b)"
    r"[\w:]+(?:<[^<>;]*>)?(?:(?:\.|->|::)\w+|\[[^;]*?\]|\([^;]*?\))*(?:\(|\+\+|--| (?:=|[-+*/|&]=|<<=|>>=)\s)"
)


def without_texts(source):
    """The source with comments, texts and preprocessor lines blanked; every character keeps its place."""
    parts = re.compile(
        r"//[^\n]*|/\*.*?\*/"
        r'|R"([^(\s]*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![\w])\'(?:\\.|[^\'\\\n])+\''
        r"|^[ \t]*#(?:\\\n|[^\n])*",
        re.DOTALL | re.MULTILINE,
    )
    return parts.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), source)


def without_windows(source, code):
    """Blanks in `code` what only Windows compiles, as far as a plain #ifdef _WIN32 says so."""
    lines = code.split("\n")
    inside = []  # for each open #if: True when it is about Windows and the lines that follow are its
    for number, line in enumerate(source.split("\n")):
        directive = re.match(r"\s*#\s*(ifdef|ifndef|if|else|elif|endif)\b\s*(.*)", line)
        if directive:
            word, rest = directive.groups()
            if word in ("if", "ifdef", "ifndef"):
                about = rest.split("//")[0].strip() == "_WIN32" and word != "if"
                inside.append((word == "ifdef") if about else None)
            elif word == "else" and inside and inside[-1] is not None:
                inside[-1] = not inside[-1]
            elif word == "endif" and inside:
                inside.pop()
        elif True in inside:
            lines[number] = " " * len(line)
    return "\n".join(lines)


def closing(code, at):
    """The place of the bracket that closes the one at `at`, or None."""
    depth = 0
    for i in range(at, len(code)):
        if code[i] in "([{":
            depth += 1
        elif code[i] in ")]}":
            depth -= 1
            if depth == 0:
                return i
    return None


def arguments(code, at):
    """The stretches between the commas of the bracket at `at`, without the blanks around; empty for blocks of code."""
    end = closing(code, at)
    if end is None:
        return []
    stretches, begin, depth = [], at + 1, 0
    for i in range(at + 1, end + 1):
        if code[i] == ";":
            return []
        if i == end or (code[i] == "," and depth == 0):
            text = code[begin:i]
            stretches.append((begin + len(text) - len(text.lstrip()), i - len(text) + len(text.rstrip())))
            begin = i + 1
        elif code[i] in "([{":
            depth += 1
        elif code[i] in ")]}":
            depth -= 1
    return [] if any(begin >= end for begin, end in stretches) else stretches


def statements(code):
    """The stretches of all statements, without their semicolons."""
    found, open_brackets, begin = [], [], 0
    for i, character in enumerate(code):
        if character in "([":
            open_brackets.append((character, begin))
        elif character == "{":
            open_brackets.append((character, begin))
            begin = i + 1
        elif character in ")]}" and open_brackets:
            bracket, outer = open_brackets.pop()
            in_expression = any(b != "{" for b, _ in open_brackets[-1:])
            head = code[outer:i].lstrip()
            if bracket == "{":
                begin = outer if in_expression else i + 1
            elif bracket == "(" and not in_expression and re.match(r"(?:else )?(?:if|for|while)\b", head):
                begin = i + 1
        elif character == ";" and (not open_brackets or open_brackets[-1][0] == "{"):
            text = code[begin:i]
            start = begin + len(text) - len(text.lstrip())
            if text.strip().startswith("else "):
                start += len("else ")
            found.append((start, i))
            begin = i + 1
    return found


def numbers(text):
    """What stands in for a whole number: one more, and one less unless that is negative."""
    value = int(text.replace("'", ""), 0) if not re.match(r"0\d", text) else int(text, 8)
    return [str(value + 1)] + ([str(value - 1)] if value > 0 else [])


def swapped(code, first, second):
    """The two stretches and all between them, with the stretches exchanged."""
    return code[slice(*second)] + code[first[1] : second[0]] + code[slice(*first)]


def places(source):
    """All places of a source, from the front to the end: lists of faults, none of them empty."""
    code = without_windows(source, without_texts(source))
    found = collections.defaultdict(list)

    def add(kind, begin, end, *texts):
        found[(begin, kind)] += [Fault(kind, begin, end, text) for text in texts]

    for m in OPERATOR.finditer(code):
        add("operator", *m.span(), *OPERATORS[m.group()])
    for m in STEP.finditer(code):
        add("operator", *m.span(), {"++": "--", "--": "++"}[m.group()])
    for m in INTEGER.finditer(code):
        add("constant", *m.span(1), *numbers(m.group(1)))
    for m in DECIMAL.finditer(code):
        value = float(m.group(1))
        add("constant", *m.span(1), *([repr(value * 2), repr(value / 2)] if value else ["1.0"]))
    for m in BOOLEAN.finditer(code):
        add("constant", *m.span(), "false" if m.group() == "true" else "true")
    for m in NOT.finditer(code):
        add("condition", *m.span(), "")
    for m in CONDITION.finditer(code):
        begin, end = m.end(), closing(code, m.end() - 1)
        if end is None:
            continue
        begin = code.rfind("; ", begin, end) + 2 if "; " in code[begin:end] else begin
        add("condition", begin, end, f"!({source[begin:end]})")
    for m in CALL.finditer(code):
        name = re.search(r"(\w*)$", code[: m.start()]).group(1)
        stretches = arguments(code, m.start())
        if name in KEYWORDS or any(DECLARED.fullmatch(code[slice(*s)]) for s in stretches):
            continue
        for first, second in zip(stretches, stretches[1:]):
            if source[slice(*first)] != source[slice(*second)]:
                add("arguments", first[0], second[1], swapped(source, first, second))
    for begin, end in statements(code):
        if STATEMENT.match(code[begin:end]):
            add("statement", begin, end, NOTHING)
    return [found[key] for key in sorted(found)]
