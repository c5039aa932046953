"""Finds the places of a source where one behaviour can be taken out, and builds the switch for each in.

All switches of a run are compiled in at once and asked for by number while the program runs, so that a
folder is built once and not once for each behaviour. Lines keep their numbers: what the compiler says of
a line is said of the switch that stands there.
"""

import re

SWITCH = "songlatch_taken_out"

# An expression statement as clang-format lays it out: a call, an assignment, a step, a delete, a throw or
# a jump. Declarations have a blank between type and name and don't match.
STATEMENT = re.compile(
    r"^\s+(?:(?:\*|\+\+|--)?[A-Za-z_][\w:]*(?:<[\w:, *]+>)?(?:\.|->|\(|\[|\s*(?:[-+|&^*/]|<<)?=[^=]|\+\+|--|\s<<\s)"
    r"|\(void\)|delete\b|throw\b|(?:return|break|continue);)")
NO_STATEMENT = re.compile(r"^\s+(?:return\s|case\b|default:|static_assert|using\b|if\b|for\b|while\b|switch\b|else\b"
                          r"|static_cast<void>|assert\(|public:|private:|protected:)")
# In a class only the bodies of its functions, which stand deeper than its declarations, hold statements.
CLASS = re.compile(r"(?:class|struct|enum|union)\b")
CONDITION = re.compile(r"^(\s+(?:\} else )?if (?:constexpr )?\()(.*)(\) \{)$")


class Site:
    """One behaviour: the lines first to last of a file, a statement or the condition of an if."""

    def __init__(self, path, first, last, text, condition):
        self.path, self.first, self.last, self.text, self.condition = path, first, last, text, condition

    def shown(self):
        """The behaviour as the lines of a diff."""
        lines = [f"--- {self.path}:{self.first}", *("-" + line for line in self.text)]
        if self.condition:
            lines.append("+" + CONDITION.sub(r"\1false\3", self.text[0]))
        return "\n".join(lines)

    def key(self):
        """What names it in the list of those that change nothing."""
        kind = "if " if self.condition else ""
        return f"{self.path}: {kind}{' '.join(line.strip() for line in self.text)}"


def balanced(text):
    return all(text.count(opening) == text.count(closing) for opening, closing in ("()", "{}", "[]"))


def sites_of(path, text):
    """Every behaviour of one source, in order."""
    lines = text.splitlines()
    in_class = False
    for number, line in enumerate(lines):
        if line[:1].strip() and not line.startswith(("}", "public:", "protected:", "private:")):
            in_class = CLASS.match(line) is not None
        if in_class and not line.startswith(" " * 8):
            continue
        condition = CONDITION.match(line)
        if condition and "constexpr" not in line and ";" not in condition.group(2):
            yield Site(path, number + 1, number + 1, [line], True)
        if not STATEMENT.match(line) or NO_STATEMENT.match(line):
            continue
        for end in range(number, min(number + 40, len(lines))):
            whole = "\n".join(lines[number:end + 1])
            if balanced(whole):
                if whole.endswith(";") and not whole.endswith(("= default;", "= delete;")):
                    yield Site(path, number + 1, end + 1, lines[number:end + 1], False)
                break


def with_switches(text, numbered):
    """The source with a switch at each (number, site) of it."""
    lines = text.splitlines()
    for number, site in numbered:
        first, last = site.first - 1, site.last - 1
        if site.condition:
            lines[first] = CONDITION.sub(
                rf"\g<1>!{SWITCH}({number}) && (\g<2>)\g<3>", lines[first])
            continue
        lines[first] = re.sub(r"^(\s*)", rf"\1if (!{SWITCH}({number})) {{ ", lines[first], count=1)
        lines[last] += " }"
    return "\n".join(lines) + "\n"
