#!/usr/bin/env python3
"""A policy's value does not depend on the policies that share its run: a
portfolio valued whole gives, per account pair and month and for the
reserves, the sums of what its policies give valued one by one. Through
talvon-run's result files. Usage: additivity_test.py BUILD_DIR SOURCE_DIR"""
import csv, os, subprocess, sys, tempfile

BUILD, SOURCE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
MODEL = os.path.join(SOURCE, "models/pension/model.tal")


def run(tmp, *args):
    r = subprocess.run([os.path.join(BUILD, "talvon-run"), "-q", *args], cwd=tmp,
                       capture_output=True, text=True, timeout=600)
    if r.returncode != 0:
        sys.exit(f"talvon-run {' '.join(args)}: exit {r.returncode}\n{r.stderr}")


def value(text):
    """Per account pair: the cashflows of the months, then the reserve."""
    with tempfile.TemporaryDirectory() as tmp:
        with open(os.path.join(tmp, "p.tal"), "w") as f:
            f.write(text)
        run(tmp, "-o", "out", MODEL, "p.tal")
        flows = {}
        for name in ("cashflows.csv", "reserves.csv"):
            with open(os.path.join(tmp, "out", name)) as f:
                for row in csv.DictReader(f):
                    flows.setdefault((row["from"], row["to"]), []).append(float(row["value"]))
        return flows


def one_policy_each(text):
    """After "policies", a policy starts at a line indented four spaces with
    "("; the policies end at the last line, "))))"."""
    starts, at = [], text.find("\n    (", text.find('("policies"'))
    while at != -1:
        starts.append(at + 1)
        at = text.find("\n    (", at + 1)
    end = text.rfind("\n))))") + 1
    starts.append(end)
    return [text[:starts[0]] + text[a:b] + text[end:] for a, b in zip(starts, starts[1:])]


def generated(count):
    with tempfile.TemporaryDirectory() as tmp:
        with open(os.path.join(tmp, "p.tal"), "w") as f:
            f.write('(define (portfolio) (assoc ("policies" ())))\n')
        with open(os.path.join(tmp, "r.tal"), "w") as f:
            f.write(f'(define (task) (generate {count} "a.bpf" "b.bpf"))\n')
        run(tmp, "-o", "out", MODEL, "p.tal", "r.tal")
        with open(os.path.join(tmp, "out/b.bpf")) as f:
            return f.read()


failures = []
with open(os.path.join(SOURCE, "tests/models/additivity/mixed.tal")) as f:
    mixed = f.read()
for what, text in [("generated", generated(5)), ("mixed", mixed),
                   ("mixed, seven states", mixed.replace('("seven_state" (parseBool ()))',
                                                         '("seven_state" (parseBool 0))'))]:
    whole, sums, sizes = value(text), {}, {}
    policies = one_policy_each(text)
    if len(policies) < 3:
        failures.append(f"{what}: {len(policies)} policies")
    for policy in policies:
        for pair, values in value(policy).items():
            sums.setdefault(pair, [0.0] * len(values))
            sizes.setdefault(pair, [0.0] * len(values))
            for i, v in enumerate(values):
                sums[pair][i] += v
                sizes[pair][i] += abs(v)
    if set(whole) != set(sums):
        failures.append(f"{what}: pairs {sorted(whole)} against {sorted(sums)}")
    for pair in set(whole) & set(sums):
        for i, (v, s) in enumerate(zip(whole[pair], sums[pair])):
            if abs(v - s) > 1e-12 * max(abs(v), sizes[pair][i]):
                failures.append(f"{what} {pair}: {'reserve' if i == 1440 else f'month {i}'} {v} != {s}")
                break
print("\n".join(failures) or "every portfolio is the sum of its policies")
sys.exit(1 if failures else 0)
