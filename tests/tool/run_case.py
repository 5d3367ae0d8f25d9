#!/usr/bin/env python3
"""Runs the tool's cases: tests/tool/cases/NAME.args holds a qffx command line,
and the files beside it say what the run must give. See tests/tool/README.md.

usage: run_case.py [--qffx PATH] [--source DIR] [--cases DIR] [--no-gpu] [--keep]
                   [--pending] [NAME|PATH.args ...]
       run_case.py [--cases DIR] --lint

With no NAME it runs every case except those listed in cases/PENDING (all of
them with --pending). Exit status: 0 every case passed, 1 a case failed,
2 a case is malformed or the arguments are wrong, 77 every case was skipped.
--lint runs nothing: it reads every case and says what is malformed."""
import argparse
import difflib
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
SKIPPED = 77

# The files a case may have beside NAME.args; anything else named NAME.* is a
# mistake (a misspelt suffix would otherwise check nothing).
EXPECTATIONS = (".status", ".stdout", ".stdout.re", ".stderr", ".stderr.re", ".not", ".files")
# The header lines of NAME.args ("# WORD: VALUE"); other "#" lines are comments.
DIRECTIVES = ("env", "needs", "timeout")
NEEDS = ("gpu",)
DEFAULT_TIMEOUT = 300
SHOWN_OUTPUT = 8000  # characters of an output shown when a check fails


class CaseError(Exception):
    """A case that cannot be run as written (not a failure of the tool)."""


def placeholders(source, tmp):
    return {
        "source": source,
        "data": os.path.join(source, "tests", "data"),
        "shaders": os.path.join(source, "resources", "shaders"),
        "templates": os.path.join(source, "resources", "effect-templates"),
        "tmp": tmp,
    }


def substitute(text, values, escape=None):
    """Replaces {NAME} for each known NAME; other braces stay as they are."""
    pattern = re.compile(r"\{(" + "|".join(values) + r")\}")
    return pattern.sub(lambda m: escape(values[m.group(1)]) if escape else values[m.group(1)], text)


def read_text(path):
    with open(path, encoding="utf-8", errors="surrogateescape") as f:
        return f.read()


class Case:
    def __init__(self, cases_dir, name):
        self.name, self.dir = name, cases_dir
        if not os.path.isfile(self.path(".args")):
            raise CaseError(f"no case {name}: {self.path('.args')} does not exist")
        for entry in os.listdir(cases_dir):
            if entry.startswith(name + ".") and entry[len(name):] not in (".args",) + EXPECTATIONS:
                raise CaseError(f"{entry}: unknown kind of case file (known: {', '.join(EXPECTATIONS)})")
        self.env, self.needs, self.timeout, words = {}, [], DEFAULT_TIMEOUT, []
        for number, line in enumerate(read_text(self.path(".args")).splitlines(), 1):
            where = f"{name}.args:{number}"
            if line.lstrip().startswith("#"):
                self._directive(line.lstrip()[1:].strip(), where)
                continue
            try:
                words += shlex.split(line)
            except ValueError as e:
                raise CaseError(f"{where}: {e}")
        if not words:
            raise CaseError(f"{name}.args: no command line")
        self.words = words

    def path(self, suffix):
        return os.path.join(self.dir, self.name + suffix)

    def _directive(self, text, where):
        match = re.match(r"([a-z]+):\s*(.*)", text)
        if not match:
            return  # a comment
        word, value = match.groups()
        if word not in DIRECTIVES:
            raise CaseError(f"{where}: unknown directive '{word}:' (known: {', '.join(DIRECTIVES)})")
        if word == "env":
            for assignment in shlex.split(value):
                key, equals, setting = assignment.partition("=")
                if not equals or not key:
                    raise CaseError(f"{where}: env takes NAME=VALUE, not '{assignment}'")
                self.env[key] = setting
        elif word == "needs":
            for need in value.split():
                if need not in NEEDS:
                    raise CaseError(f"{where}: unknown need '{need}' (known: {', '.join(NEEDS)})")
                self.needs.append(need)
        elif word == "timeout":
            if not value.isdigit():
                raise CaseError(f"{where}: timeout takes seconds, not '{value}'")
            self.timeout = int(value)

    def optional(self, suffix):
        return read_text(self.path(suffix)) if os.path.exists(self.path(suffix)) else None

    def pattern(self, stream, values):
        """The compiled NAME.STREAM.re, placeholders filled in, or None."""
        text = self.optional(f".{stream}.re")
        if text is None:
            return None
        # The file's last newline ends the file, not the pattern.
        text = substitute(text[:-1] if text.endswith("\n") else text, values, re.escape)
        try:
            return re.compile(text)
        except re.error as e:
            raise CaseError(f"{self.name}.{stream}.re: bad pattern: {e}")

    def expected_status(self):
        text = self.optional(".status")
        if text is None:
            return 0
        try:
            return int(text.strip())
        except ValueError:
            raise CaseError(f"{self.name}.status: not a number: {text.strip()!r}")


def describe_status(status):
    return f"killed by signal {-status}" if status < 0 else str(status)


def with_line_ends(text, mark_last=True):
    """Lines for a diff, each ending in a newline; a missing last newline is
    marked, as diff does, unless mark_last is False."""
    lines = re.findall(r"[^\n]*\n|[^\n]+$", text)
    if lines and not lines[-1].endswith("\n"):
        lines[-1] += "\n"
        if mark_last:
            lines.append("\\ no newline at the end\n")
    return lines


def shown(text, mark_last=True):
    if not text:
        return "    (empty)\n"
    cut = text[:SHOWN_OUTPUT]
    body = "".join("    | " + line for line in with_line_ends(cut, mark_last))
    return body + (f"    ... {len(text) - SHOWN_OUTPUT} more characters\n" if len(text) > SHOWN_OUTPUT else "")


def check_stream(case, stream, got, values, failures):
    exact = case.optional("." + stream)
    if exact is not None:
        expected = substitute(exact, values)
        if got != expected:
            diff = difflib.unified_diff(with_line_ends(expected), with_line_ends(got),
                                        f"expected ({case.name}.{stream})", f"got ({stream})")
            failures.append(f"{stream} differs from {case.name}.{stream}:\n" + "".join("    " + d for d in diff))
    pattern = case.pattern(stream, values)
    if pattern is not None and not pattern.search(got):
        failures.append(f"{stream} does not match {case.name}.{stream}.re\n"
                        f"  pattern (searched, placeholders filled in):\n{shown(pattern.pattern, mark_last=False)}"
                        f"  {stream}:\n{shown(got)}")


def check_forbidden(case, output, failures):
    text = case.optional(".not")
    for forbidden in (text or "").splitlines():
        if not forbidden:
            continue
        lines = [f"    {n}: {line}\n" for n, line in enumerate(output.splitlines(), 1) if forbidden in line]
        if forbidden in output:
            failures.append(f"forbidden text '{forbidden}' ({case.name}.not) appears in the output:\n" +
                            ("".join(lines) or "    (across lines)\n"))


def check_files(case, values, failures):
    text = case.optional(".files")
    for number, line in enumerate((text or "").splitlines(), 1):
        if not line.strip() or line.lstrip().startswith("#"):
            continue
        kind, _, path = line.strip().partition(" ")
        path = substitute(path.strip(), values)
        if kind not in ("exists", "nonempty", "absent") or not path:
            raise CaseError(f"{case.name}.files:{number}: expected 'exists|nonempty|absent PATH', not '{line}'")
        there = os.path.lexists(path)
        if kind == "absent" and there:
            failures.append(f"{path} exists; {case.name}.files says it must not")
        elif kind != "absent" and not there:
            failures.append(f"{path} does not exist; {case.name}.files says it must")
        elif kind == "nonempty" and (not os.path.isfile(path) or os.path.getsize(path) == 0):
            failures.append(f"{path} is empty or not a file; {case.name}.files says it must have content")


def run_case(case, options):
    """Runs one case; returns 0 (passed), 1 (failed) or SKIPPED, printing why."""
    if "gpu" in case.needs and options.no_gpu:
        print(f"skip {case.name}: needs the GPU service, which this qffx is built without")
        return SKIPPED
    tmp = tempfile.mkdtemp(prefix=f"qffx-case-{case.name}-")
    try:
        values = placeholders(options.source, tmp)
        args = [substitute(word, values) for word in case.words]
        env = dict(os.environ)
        # The user's own effect directories, settings and LUTs must not change a
        # result. (The caches stay: fontconfig's and the driver's only save time.)
        for name in ("QFFX_SHADERS_DIR", "QFFX_TEMPLATES_DIR"):
            env.pop(name, None)
        env.update(XDG_CONFIG_HOME=os.path.join(tmp, "config"), XDG_DATA_HOME=os.path.join(tmp, "data"))
        case_env = {key: substitute(value, values) for key, value in case.env.items()}
        env.update(case_env)
        command = " ".join([f"{k}={shlex.quote(v)}" for k, v in case_env.items()] +
                           [shlex.quote(w) for w in [options.qffx] + args])
        try:
            result = subprocess.run([options.qffx] + args, cwd=tmp, env=env, stdin=subprocess.DEVNULL,
                                    capture_output=True, timeout=case.timeout)
        except subprocess.TimeoutExpired:
            print(f"FAIL {case.name}: still running after {case.timeout} s\n  command: {command}")
            return 1
        stdout = result.stdout.decode("utf-8", "surrogateescape")
        stderr = result.stderr.decode("utf-8", "surrogateescape")

        failures = []
        expected = case.expected_status()
        if result.returncode != expected:
            failures.append(f"exit status {describe_status(result.returncode)}, expected {describe_status(expected)}")
        check_stream(case, "stdout", stdout, values, failures)
        check_stream(case, "stderr", stderr, values, failures)
        check_forbidden(case, stdout + stderr, failures)
        check_files(case, values, failures)
        if not failures:
            print(f"ok   {case.name}")
            return 0
        report = [f"FAIL {case.name}", f"  command: {command}"] + ["  " + f.rstrip("\n") for f in failures]
        # What the tool said, unless a failure above already shows it whole.
        if not any(f.startswith("stderr ") for f in failures):
            report.append(f"  stderr:\n{shown(stderr)}".rstrip("\n"))
        if options.keep:
            report.append(f"  kept {tmp}")
        print("\n".join(report))
        return 1
    finally:
        if not options.keep:
            shutil.rmtree(tmp, ignore_errors=True)


def lint(cases_dir):
    """The problems of a folder of cases: cases that do not read, patterns that
    do not compile, files that belong to no case, pending names without a case."""
    problems, names = [], sorted(f[:-5] for f in os.listdir(cases_dir) if f.endswith(".args"))
    values = placeholders("/source", "/tmp")
    for name in names:
        try:
            case = Case(cases_dir, name)
            case.expected_status()
            for stream in ("stdout", "stderr"):
                case.pattern(stream, values)
        except CaseError as e:
            problems.append(str(e))
    for entry in sorted(os.listdir(cases_dir)):
        if entry != "PENDING" and not any(entry.startswith(name + ".") for name in names):
            problems.append(f"{entry}: belongs to no case (no {entry.split('.')[0]}.args)")
    for name in sorted(pending_cases(cases_dir) - set(names)):
        problems.append(f"PENDING names {name}, which is not a case")
    return problems


def pending_cases(cases_dir):
    path = os.path.join(cases_dir, "PENDING")
    if not os.path.exists(path):
        return set()
    return {line.strip() for line in read_text(path).splitlines() if line.strip() and not line.startswith("#")}


def main(argv):
    source = os.path.dirname(os.path.dirname(HERE))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--qffx", default=os.environ.get("QFFX", os.path.join(source, "build", "tools", "qffx", "qffx")),
                        help="the tool to run (default: $QFFX, else build/tools/qffx/qffx)")
    parser.add_argument("--source", default=source, help="the source tree that {source} and the others name")
    parser.add_argument("--cases", default=os.path.join(HERE, "cases"), help="the folder of cases")
    parser.add_argument("--no-gpu", action="store_true", help="skip the cases that need the GPU service")
    parser.add_argument("--keep", action="store_true", help="keep each case's {tmp} directory")
    parser.add_argument("--pending", action="store_true", help="with no NAME, run the pending cases too")
    parser.add_argument("--lint", action="store_true", help="read every case and report the malformed ones")
    parser.add_argument("names", nargs="*", metavar="NAME", help="case names, or paths to NAME.args")
    options = parser.parse_args(argv)
    options.qffx, options.source = os.path.abspath(options.qffx), os.path.abspath(options.source)

    if options.lint:
        problems = lint(options.cases)
        for problem in problems:
            print("ERROR", problem)
        return 2 if problems else 0
    names = options.names
    if not names:
        skip = set() if options.pending else pending_cases(options.cases)
        names = sorted(f[:-5] for f in os.listdir(options.cases) if f.endswith(".args") and f[:-5] not in skip)
    results = []
    for name in names:
        cases_dir = options.cases
        if name.endswith(".args"):
            cases_dir, name = os.path.dirname(os.path.abspath(name)), os.path.basename(name)[:-5]
        try:
            results.append(run_case(Case(cases_dir, name), options))
        except CaseError as e:
            print(f"ERROR {name}: {e}")
            results.append(2)
    if len(results) > 1:
        print(f"{results.count(0)} passed, {results.count(1)} failed, {results.count(SKIPPED)} skipped, "
              f"{results.count(2)} malformed")
    if 2 in results or 1 in results:
        return 2 if 2 in results else 1
    return SKIPPED if results and all(r == SKIPPED for r in results) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
