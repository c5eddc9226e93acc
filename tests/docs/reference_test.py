#!/usr/bin/env python3
"""The reference in docs/ covers the language and the bundled model: every
built-in of the evaluator, every C-level operator, every statement and every
portfolio key the bundled model reads has a table row of its own, with an
example. Usage: reference_test.py SOURCE_DIR"""
import os, re, sys

SOURCE = sys.argv[1]


def read(path):
    return open(os.path.join(SOURCE, path)).read()


def table_names(source, arrays):
    """The first string of every entry of the named C++ tables."""
    names = []
    for array in arrays:
        body = re.search(array + r"\[\] = \{(.*?)\n\};", source, re.S).group(1)
        # The C text pieces of an entry hold parentheses; names never do.
        names += [n for n in re.findall(r'(?:^\s*|\}\s*,\s*)\{"([^"]+)",', body, re.M) if not set(n) & set("()")]
    return names


def documented(doc, section):
    """name -> example cell of every table row of the section."""
    text = doc.split("## " + section, 1)[1].split("\n## ", 1)[0]
    rows = {}
    for line in text.splitlines():
        cells = [c.strip() for c in re.split(r"(?<!\\)\|", line)[1:-1]]
        if len(cells) >= 3 and not set(cells[0]) <= set("-"):
            for name in re.findall(r"`([^`]+)`", cells[0]):
                rows[name] = cells[-1]
    return rows


def model_keys(model):
    """The policy values the bundled model reads: parameters of splits and
    products, the free variables of `function`, and the basis strings."""
    keys = set()
    for kind, params in re.findall(r"\((split|product_definition) \(([^)]*)\)", model):
        keys.update(params.split()[1:] if kind == "product_definition" else params.split())
    for params in re.findall(r"\(function \(([^)]*)\)", model):
        keys.update(params.split())
    keys.update(re.findall(r'\(aget \(?[a-z_ ]*\)? "([^"]+)"\)', model))
    return keys - {"x", "y"}


language, portfolio = read("docs/language.md"), read("docs/portfolio.md")
statements = re.search(r"KEYWORDS\[\] = \{([^}]*)\}", read("model/statements.cpp")).group(1)
checks = [
    (table_names(read("expr/eval.cpp"), ["special_forms", "operations"]), documented(language, "Script expressions")),
    (table_names(read("expr/ctext.cpp"), ["value_forms", "call_forms", "infix_forms", "function_forms"]),
     documented(language, "C-level expressions")),
    (re.findall(r'"([a-z_]+)"', statements), documented(language, "Statements")),
    (sorted(model_keys(read("models/pension/model.tal"))), documented(portfolio, "Policies")
     | documented(portfolio, "Product entries") | documented(portfolio, "The basis")
     | documented(portfolio, "The portfolio's own keys")),
]
missing = [name for names, rows in checks for name in names if "`" not in rows.get(name, "") and "see below" not in rows.get(name, "")]
for name in missing:
    print("no entry with an example in docs/ for", name)
sys.exit(1 if missing else 0)
