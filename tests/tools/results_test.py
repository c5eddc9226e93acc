#!/usr/bin/env python3
"""What a user gets from talvon-run: the result files of the bundled example
read with real parsers, the report rendered in Chromium where it is
installed, the worked example of docs/conventions.md, and the command
line's own answers. Usage: results_test.py BUILD_DIR SOURCE_DIR"""
import csv, hashlib, html.parser, json, math, os, re, shutil, subprocess, sys, tempfile, zlib
import xml.etree.ElementTree as ET

BUILD, SOURCE = sys.argv[1], sys.argv[2]
RUN = os.path.join(BUILD, "talvon-run")
MODEL = os.path.join(SOURCE, "models/pension/model.tal")
EXAMPLE = os.path.join(SOURCE, "models/example/portfolio.tal")
MAKEHAM = os.path.join(SOURCE, "docs/examples/makeham.tal")
SVG = "{http://www.w3.org/2000/svg}"
failures = []


def check(ok, what):
    if not ok:
        failures.append(what)


def run(args, stdin=None, env=None):
    return subprocess.run(args, input=stdin, capture_output=True, text=True, env=env, timeout=300)


def value(out, args, stdin=None):
    r = run([RUN, "-o", out] + args, stdin)
    check(r.returncode == 0, f"{args}: exit {r.returncode}: {r.stderr}")
    return r


def series(svg_path, tag):
    root = ET.parse(svg_path).getroot()
    return {e.get("data-flow"): e for e in root.iter(SVG + tag) if e.get("data-flow")}, root


def texts(element):
    return ["".join(t.itertext()) for t in element.iter(SVG + "text")]


class Page(html.parser.HTMLParser):
    """The tags, table cells and text of report.html."""

    def __init__(self):
        super().__init__()
        self.tags, self.rows, self.text, self.row = [], {}, [], None

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        self.tags.append(tag)
        if tag == "table":
            self.table = attrs.get("id")
            self.rows[self.table] = []
        if tag == "tr":
            self.row = []
            self.rows[self.table].append(self.row)

    def handle_data(self, data):
        self.text.append(data)
        if self.row is not None and data.strip():
            self.row.append(data.strip())


def example_results(out):
    r = value(out, [MODEL, EXAMPLE])
    # Without a terminal: one line per finished phase; -q keeps them back.
    for phase in ("prepare", "write program", "compile", "run"):
        check(f"talvon-run: {phase} done in " in r.stderr, f"phase line {phase}: {r.stderr}")
    reserves = list(csv.DictReader(open(os.path.join(out, "reserves.csv"))))
    pairs = {f"{row['from']}-{row['to']}": row for row in reserves}
    check(pairs["2-3"]["flow"] == "Benefits" and len(pairs) == 6, f"reserves.csv {reserves}")
    rows = list(csv.DictReader(open(os.path.join(out, "cashflows.csv"))))
    check(len(rows) == 1440 * len(pairs), "cashflows.csv rows")
    dates = {row["month"]: row["date"] for row in rows}
    check((dates["0"], dates["3"], dates["1439"]) == ("2019-10", "2020-01", "2139-09"), f"dates {dates['3']}")

    run_json = json.load(open(os.path.join(out, "run.json")))
    version = run([RUN, "--version"]).stdout.split()[-1]
    check(run_json["talvon_version"] == version, "version")
    for entry, path in zip(run_json["inputs"], (MODEL, EXAMPLE)):
        check(entry["sha256"] == hashlib.sha256(open(path, "rb").read()).hexdigest(), f"sha256 {path}")
    check((run_json["valuation_date"], run_json["policies"], run_json["chunks"], run_json["exit_status"])
          == ("2019-10", 2, 1, 0), "run.json facts")
    check([p["phase"] for p in run_json["phases"]][:4] == ["prepare", "write program", "compile", "run"], "phases")
    check("(1 + y(t)/100)^(t/12)" in run_json["discounting"], "discounting rule")
    check({f"{p['from']}-{p['to']}": p["reserve"] for p in run_json["reserves"]}
          == {k: float(v["value"]) for k, v in pairs.items()}, "run.json reserves")

    # The cashflow chart: one line per flow, labelled axes, readable ticks,
    # the years only as far as the flows go, the small flows apart.
    lines, root = series(os.path.join(out, "cashflows.svg"), "polyline")
    check(set(lines) == set(pairs), f"one line per flow: {sorted(lines)}")
    words = texts(root)
    check(any("expected cashflow per month (currency units)" in t for t in words), "y-axis title")
    check(any("years after the valuation date (month 0 is 2019-10)" in t for t in words), "x-axis title")
    check(not any(re.fullmatch(r"-?\d{5,}", t) for t in words), f"unreadable ticks {words}")
    for panel in root.iter(SVG + "g"):
        if panel.get("class") == "x-axis":
            years = [int(t) for t in texts(panel) if t.isdigit()]
            check(50 <= max(years) < 120, f"x-axis to {max(years)}")
    small = [g for g in root.iter(SVG + "g") if g.get("data-panel") == "small"]
    check(len(small) == 1 and "2-6" in {p.get("data-flow") for p in small[0].iter(SVG + "polyline")},
          "expenses on the small panel")
    bars, _ = series(os.path.join(out, "reserves.svg"), "g")
    check(set(bars) == set(pairs), "one bar per flow")
    colours = {k: e.get("stroke") for k, e in lines.items()}
    check(len(set(colours.values())) == len(colours), f"colours {colours}")
    check(all(bars[k].find(SVG + "rect").get("fill") == c for k, c in colours.items()), "bar colours")

    page = Page()
    page.feed(open(os.path.join(out, "report.html")).read())
    check(page.tags.count("svg") == 2, "two inline charts")
    facts = {row[0]: row[1:] for row in page.rows["facts"]}
    check(facts["Valuation date"] == ["2019-10"] and facts["Policies"] == ["2"], f"facts {facts}")
    table = {row[2]: row[3] for row in page.rows["reserves"][1:]}
    check(table["Benefits"] == "2,191,143.53" and len(table) == 6, f"reserve table {table}")
    return colours


def render_in_chromium(out):
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if not chromium:
        print("Chromium is not installed: report.html not rendered")
        return
    shot = os.path.join(out, "report.png")
    run([chromium, "--headless", "--no-sandbox", "--disable-gpu", "--window-size=1100,2400",
         "--screenshot=" + shot, "file://" + os.path.join(out, "report.html")])
    check(os.path.exists(shot), "no screenshot")
    if os.path.exists(shot):
        # Enough different bytes in the pixel data: not a blank page.
        data = open(shot, "rb").read()
        pixels, at = b"", 8
        while at < len(data):
            size = int.from_bytes(data[at:at + 4], "big")
            if data[at + 4:at + 8] == b"IDAT":
                pixels += data[at + 8:at + 8 + size]
            at += 12 + size
        check(len(set(zlib.decompress(pixels))) > 100, "blank page")


def makeham(out, example_colours):
    """The worked example: talvon's reserve and the textbook's values."""
    value(out, ["-q", MODEL, MAKEHAM])
    reserve = float(next(csv.DictReader(open(os.path.join(out, "reserves.csv"))))["value"])
    A, B, c, v = 0.0007, 0.00005, 10 ** 0.04, 1 / 1.06
    survival = lambda t: math.exp(-A * t - B / math.log(c) * c ** 65 * (c ** t - 1))
    due = sum(v ** k * survival(k) for k in range(100))
    monthly = sum(v ** (k / 12) * survival(k / 12) for k in range(1, 1200)) / 12
    doc = open(os.path.join(SOURCE, "docs/conventions.md")).read()
    for text, number in (("9.8969", due), ("9.3487", monthly), ("9.3979", reserve),
                         ("9.397899", reserve), ("9.348734", monthly), ("1.005259", reserve / monthly),
                         ("1.004868", 1.06 ** (1 / 12)), ("1.000390", reserve / monthly / 1.06 ** (1 / 12))):
        check(f"{number:.{len(text) - 2}f}" == text and text in doc, f"{text} against {number}")
    lines, _ = series(os.path.join(out, "cashflows.svg"), "polyline")
    check(lines["2-3"].get("stroke") == example_colours["2-3"], "a pair keeps its colour")


def command_line(out):
    scramble, talvon = os.path.join(BUILD, "talvon-scramble"), os.path.join(BUILD, "talvon")
    no_tcc = dict(os.environ, PATH="/nonexistent")
    # program arguments, standard input, environment, exit status, text expected in the output
    cases = [
        ([RUN, "--help"], None, None, 0, "Usage: talvon-run [options] MODEL PORTFOLIO [RUN]"),
        ([RUN, "--version"], None, None, 0, "talvon-run "),
        ([scramble, "--help"], None, None, 0, "Usage: talvon-scramble IN OUT [NAME]"),
        ([scramble, "--version"], None, None, 0, "talvon-scramble "),
        ([talvon, "--version"], None, None, 0, "talvon "),
        ([RUN, "-q", "-o", out, MODEL, "-"], open(EXAMPLE).read(), None, 0, "Benefits         2191143.53"),
        ([RUN, "-q", "-o", out, MODEL, EXAMPLE], None, no_tcc, 1, "install it (on Debian: apt-get install tcc)"),
    ]
    for args, stdin, env, status, text in cases:
        r = run(args, stdin, env)
        check(r.returncode == status and text in r.stdout + r.stderr, f"{args[1:]}: {r.returncode} {r.stderr}")


with tempfile.TemporaryDirectory() as out:
    colours = example_results(out)
    render_in_chromium(out)
    makeham(os.path.join(out, "makeham"), colours)
    command_line(os.path.join(out, "stdin"))
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
