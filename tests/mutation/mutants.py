"""Small changes to a C++ source, each of which a test ought to notice."""

import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Mutant:
    """A source with a change in it. The name stays the same while the changed line does, wherever that moves to."""

    file: str  # below the module's folder
    name: str
    text: str  # the whole changed source


COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPERATORS = {"&&": "||", "||": "&&", "+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "|": "&", "&": "|",
             "<<": ">>", ">>": "<<", "+=": "-=", "-=": "+="}
WORDS = {"true": "false", "false": "true", "RONLY": "RWRITE", "RWRITE": "RONLY", "SNMP_MSG_GET": "SNMP_MSG_SET",
         "SNMP_MSG_SET": "SNMP_MSG_GET"}
# A look-up in exact mode takes any name today: what refuses one that it does not take is never reached.
NO_CODE = re.compile(r'if \(!parse_key\(.*?\}|//[^\n]*|/\*.*?\*/|^\s*#(?:[^\n]*\\\n)*[^\n]*|static_assert\((?:[^;]*);|'
                     r'"(?:[^"\\\n]|\\.)*"|'
                     r"(?<![0-9])'(?:[^'\\\n]|\\.)*'", re.S | re.M)
SPACED = re.compile(r"(?<=\S) (" + "|".join(map(re.escape, sorted({*COMPARISONS, *OPERATORS}, key=len, reverse=True)))
                    + r")(?= \S)")
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9a-fA-F]+|[0-9][0-9']*)(u?)(?![\w.'])")
CONSTANT = re.compile(r"\b(k[A-Z]\w*|SNMP_ERR_\w+|RS_[A-Z]+|ASN_[A-Z_]+|u?int32_max|U?INT32_MAX)\b"
                      r"(?!\s*[\[({]|\s=\s|::)")
DEFINED = re.compile(r"\b(k[A-Z]\w*)(?:\[\w*\])? = \{|\b(k[A-Z]\w*)\[|\b(k[A-Z]\w*)\("
                     r"|(?:bool|oid|row_format<[^;]*|denial_text|char) \*?(k[A-Z]\w*) =")
FIELD = re.compile(r'\.(\w+) = ((?:"(?:[^"\\]|\\.)*"|[\w:]+(?:\([^(),]*\))?(?:\.\w+)?))(?=[,}])')
STATEMENT = re.compile(r"(?<=[{};:)])\s+"
                       r"((?:\+\+|--)?\*?(?:static_cast<void>)?[\w:.\[\]]*(?:->\w+|\([^;{}]*?\)(?:\.|->)\w+)*"
                       r"(?:\(| = | [-+|]= |;)[^;{}]*(?:\{\}[^;{}]*)?;|(?:\+\+|--)[\w.>\[\]-]+;)")
ONE_COMPARISON = re.compile(r"[^&|]* (?:==|!=) [^&|]*")  # whose sign is swapped anyway
NO_STATEMENT = re.compile(r"\s*(?:return|case|default|using|break|continue|goto|static_assert|namespace|else)\b")


def code_of(text):
    """The text with everything that is no code blanked out; places stay."""
    return NO_CODE.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), text)


def closing(code, opening):
    """The place of the bracket that closes the one at `opening`."""
    depth = 0
    for at in range(opening, len(code)):
        depth += (code[at] == "(") - (code[at] == ")")
        if depth == 0:
            return at
    raise ValueError("a bracket is not closed")


def operators(code):
    for found in SPACED.finditer(code):
        sign = found.group(1)
        yield found.span(1), COMPARISONS.get(sign) or OPERATORS[sign]
    for found in re.finditer(r"!(?=[\w(])", code):
        yield found.span(), ""
    for found in re.finditer(r"\+\+(?=[\w(*])", code):
        yield found.span(), "--"


def conditions(code):
    for found in re.finditer(r"\b(?:if|while) \(", code):
        end = closing(code, found.end() - 1)
        inner = code.rfind(";", found.end(), end) + 1 or found.end()
        if code[inner:end].strip() and not ONE_COMPARISON.fullmatch(code[inner:end]):
            yield (inner, end), None  # negated
    for found in re.finditer(r" \?(?= )", code):
        yield found.span(), " && false ?"
        yield found.span(), " || true ?"


def constants(code, tables):
    for found in NUMBER.finditer(code):
        digits, suffix = found.groups()
        value = int(digits.replace("'", ""), 0) + 1
        yield found.span(), (f"{value:#x}" if digits.startswith("0x") else str(value)) + suffix
    for found in CONSTANT.finditer(code):
        name = found.group(1)
        if name.startswith("SNMP_ERR_"):
            yield found.span(), "SNMP_ERR_WRONGVALUE" if name == "SNMP_ERR_GENERR" else "SNMP_ERR_GENERR"
        elif name not in tables:
            yield found.span(), f"({name} + 1)"
    for found in re.finditer(r"\b(" + "|".join(WORDS) + r")\b", code):
        yield found.span(), WORDS[found.group()]


def statements(code):
    for found in STATEMENT.finditer(code):
        line = code[code.rfind("\n", 0, found.start(1)) : found.start(1)]
        if not NO_STATEMENT.match(found.group(1)) and "for (" not in line:
            yield found.span(1), ";"


def edits(code, tables):
    for find in (operators, conditions, statements):
        yield from find(code)
    yield from constants(code, tables)


def swapped(text, one, other):
    """The text with two spans exchanged, the first before the second."""
    return text[: one[0]] + text[slice(*other)] + text[one[1] : other[0]] + text[slice(*one)] + text[other[1] :]


def fields_of_rows(text, code):
    """Pairs of spans that hold the same field of two rows of a table, one behind the other, and differ."""
    last = {}
    for found in FIELD.finditer(text):
        if code[found.start()] != ".":
            continue
        field, value = found.groups()
        if field in last and text[slice(*last[field])] != value:
            yield last[field], found.span(2)
        last[field] = found.span(2)


def cells_of_rows(text, code):
    """The same for tables whose rows name no fields."""
    rows = []
    for found in re.finditer(r"\{((?:[\w-]+|\"[^\"]*\")(?:, (?:\w+|\"[^\"]*\"|\{[^{}]*\}))+)\}", text):
        if code[found.start()] != "{":
            continue
        cells = [(found.start(1) + cell.start(), found.start(1) + cell.end())
                 for cell in re.finditer(r"\"[^\"]*\"|\{[^{}]*\}|[\w-]+", found.group(1))]
        if rows and len(rows[-1]) == len(cells):
            yield from ((one, other) for one, other in zip(rows[-1], cells)
                        if text[slice(*one)] != text[slice(*other)])
        rows.append(cells)


def line_of(text, place):
    start = text.rfind("\n", 0, place) + 1
    return " ".join(text[start : text.find("\n", place)].split())


def changes(text, tables):
    """A description and the changed text of each change."""
    code = code_of(text)
    for (start, end), new in edits(code, tables):
        old = text[start:end]
        new = f"!({old})" if new is None else new
        shown = " ".join(f"{old} -> {new}".split()).strip()
        yield f"{shown} in: {line_of(text, start)}", text[:start] + new + text[end:]
    for one, other in [*fields_of_rows(text, code), *cells_of_rows(text, code)]:
        yield (f"{text[slice(*one)]} <-> {text[slice(*other)]} in: {line_of(text, one[0])} and: "
               f"{line_of(text, other[0])}"), swapped(text, one, other)


def tables_of(sources):
    """Names of constants that are no numbers."""
    return {name for text in sources for found in DEFINED.finditer(text) for name in found.groups() if name}


def mutants_of(file, text, tables):
    """All mutants of a source. Changes that read alike are numbered."""
    seen = {}
    for name, changed in changes(text, tables):
        seen[name] = seen.get(name, 0) + 1
        yield Mutant(file, name if seen[name] == 1 else f"{name} ({seen[name]})", changed)
