#!/usr/bin/env python3
"""qffx describe on every shipped effect: the JSON validates against the schema
documented in docs/effect-schema.md, and what it says agrees with what the
compiled effect reports (its parameters and variables, with their types) and
with the pass map a GLSL compile is given. Exits 77 (skipped) when the Python
jsonschema package is missing.
usage: qffx_describe_test.py QFFX SOURCE_DIR"""
import glob
import json
import os
import re
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    print("jsonschema is not installed")
    sys.exit(77)

qffx, src = sys.argv[1], sys.argv[2]
failures = []


def run(*args):
    return subprocess.run([qffx, *args], capture_output=True, text=True)


def documented_schema():
    doc = open(os.path.join(src, "docs", "effect-schema.md"), encoding="utf-8").read()
    section = doc[doc.index("## JSON Schema"):]
    return json.loads(re.search(r"```json\n(.*?)```", section, re.S).group(1))


schema = documented_schema()
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)

effects = sorted(glob.glob(os.path.join(src, "resources", "shaders", "[!_]*.fx")) +
                 glob.glob(os.path.join(src, "resources", "effect-templates", "*.fx")))
if not effects:
    failures.append("no shipped effects found")
for path in effects:
    name = os.path.basename(path)
    described = run("describe", "--json", path)
    if described.returncode != 0:
        failures.append(f"{name}: describe exit {described.returncode}: {described.stderr}")
        continue
    description = json.loads(described.stdout)
    for error in validator.iter_errors(description):
        failures.append(f"{name}: {error.json_path}: {error.message}")

    # The compiled effect lists its non-internal uniforms as "  TYPE ID".
    compiled = run("compile", path)
    if compiled.returncode == 2 and "no GPU service" in compiled.stderr:
        continue
    reported = sorted(tuple(line.split()) for line in compiled.stdout.splitlines()[1:])
    declared = sorted((p["type"], p["id"]) for p in description["parameters"] + description["variables"])
    # The driver drops a uniform the code never reads, so the compiled list may
    # be shorter; every compiled parameter must be described with its type.
    if not set(reported) <= set(declared):
        failures.append(f"{name}: compiled parameters {reported}, described {declared}")

    # A multi-pass GLSL compile is given NAME=_T<t>_P<p> for every pass.
    definitions = run("generate", "--lang", "glsl", "--definitions", path).stdout.splitlines()
    pass_map = sorted(d.split("=") for d in definitions if re.fullmatch(r"[^=]+=_T\d+_P\d+", d))
    passes = sorted([p["name"], f"_T{t['index']}_P{i}"]
                    for t in description["techniques"] for i, p in enumerate(t["passes"]))
    single = len(passes) == 1
    if pass_map != ([] if single else passes):
        failures.append(f"{name}: pass map {pass_map}, described {passes}")

    if run("describe", path).returncode != 0:
        failures.append(f"{name}: the table form failed")

# Errors in the declarations: no description, the error at the file's line.
bad = os.path.join(src, "tests", "data", "authoring", "BadDeclaration.fx")
result = run("describe", "--json", bad)
if result.returncode != 1 or f"{bad}:4: Too many arguments for DeclarePass( Name )" not in result.stderr:
    failures.append(f"describe of a bad declaration: exit {result.returncode}, {result.stderr!r}")
if run("describe", "/nonexistent/effect.fx").returncode != 2:
    failures.append("describe of a missing file: exit status")

for failure in failures:
    print("FAIL", failure)
sys.exit(1 if failures else 0)
