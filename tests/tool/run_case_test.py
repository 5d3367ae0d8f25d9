#!/usr/bin/env python3
"""run_case.py against a stand-in for qffx: a case that holds passes, and each
kind of wrong result (status, output, forbidden text, files, time) fails with
a message that shows what was expected and what came."""
import os
import subprocess
import sys
import tempfile
import textwrap
import unittest

RUNNER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "run_case.py")

# Does what its arguments say, in order: say TEXT (stdout), warn TEXT (stderr),
# env NAME (prints the variable), write PATH, sleep S, exit N.
FAKE_TOOL = textwrap.dedent("""\
    #!/usr/bin/env python3
    import os, sys, time
    args, status = sys.argv[1:], 0
    while args:
        word, value, args = args[0], args[1], args[2:]
        if word == "say": print(value)
        elif word == "warn": print(value, file=sys.stderr)
        elif word == "env": print(os.environ.get(value, "(unset)"))
        elif word == "write": open(value, "w").write("x")
        elif word == "sleep": time.sleep(float(value))
        elif word == "exit": status = int(value)
    sys.exit(status)
""")


class RunCaseTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.cases = os.path.join(self.dir.name, "cases")
        os.mkdir(self.cases)
        self.tool = os.path.join(self.dir.name, "fake-qffx")
        with open(self.tool, "w") as f:
            f.write(FAKE_TOOL)
        os.chmod(self.tool, 0o755)
        # A source directory whose name holds a "." that a pattern must take literally.
        self.source = os.path.join(self.dir.name, "src.d")
        os.mkdir(self.source)

    def tearDown(self):
        self.dir.cleanup()

    def case(self, name, files):
        """Writes NAME.SUFFIX for each SUFFIX: TEXT of files."""
        for suffix, text in files.items():
            with open(os.path.join(self.cases, name + "." + suffix), "w") as f:
                f.write(textwrap.dedent(text))

    def run_cases(self, *names, env=None, extra=()):
        result = subprocess.run([sys.executable, RUNNER, "--qffx", self.tool, "--source", self.source,
                                 "--cases", self.cases, *extra, *names],
                                capture_output=True, text=True, env=dict(os.environ, **(env or {})))
        return result.returncode, result.stdout + result.stderr

    def test_a_case_that_holds_passes_every_kind_of_check(self):
        self.case("good", {
            "args": """\
                # A comment, then the directives.
                # env: GREETING='hello there' PLACE={tmp}
                say 'a b' env GREETING env PLACE warn {data}/x.fx write {tmp}/out.txt
                exit 3
                """,
            "status": "3\n", "stdout.re": r"\Aa b\nhello there\n/.*/qffx-case-good-[^/]*\n\Z",
            "stderr": "{source}/tests/data/x.fx\n", "stderr.re": r"\A{data}/x\.fx$", "not": "secret\n",
            "files": "nonempty {tmp}/out.txt\nabsent {tmp}/other.txt\n"})
        status, output = self.run_cases("good")
        self.assertEqual(status, 0, output)
        self.assertIn("ok   good", output)

    def test_a_wrong_status_is_reported_with_the_expected_one(self):
        self.case("status", {"args": "say hi exit 0\n", "status": "2\n"})
        status, output = self.run_cases("status")
        self.assertEqual(status, 1, output)
        self.assertIn("exit status 0, expected 2", output)
        self.assertIn("command: " + self.tool + " say hi exit 0", output)

    def test_wrong_output_is_shown_as_a_diff(self):
        self.case("stdout", {"args": "say one say three\n", "stdout": "one\ntwo\n"})
        status, output = self.run_cases("stdout")
        self.assertEqual(status, 1, output)
        self.assertIn("stdout differs from stdout.stdout", output)
        self.assertIn("-two", output)
        self.assertIn("+three", output)
        self.assertIn(" one", output)

    def test_a_missing_last_newline_is_a_difference(self):
        self.case("newline", {"args": "say one\n", "stdout": "one"})
        status, output = self.run_cases("newline")
        self.assertEqual(status, 1, output)
        self.assertIn("no newline at the end", output)

    def test_a_pattern_not_found_shows_the_pattern_and_the_output(self):
        self.case("pattern", {"args": "warn 'compiled 3 effects'\n", "stderr.re": r"compiled [0-9]+ shaders"})
        status, output = self.run_cases("pattern")
        self.assertEqual(status, 1, output)
        self.assertIn("stderr does not match pattern.stderr.re", output)
        self.assertIn("| compiled [0-9]+ shaders", output)
        self.assertIn("| compiled 3 effects", output)

    def test_placeholders_in_a_pattern_are_literal_text(self):
        self.case("literal", {"args": "say {data}\n", "stdout.re": r"\A{source}/tests/data$"})
        self.assertEqual(self.run_cases("literal")[0], 0)
        near_miss = self.source.replace("src.d", "srcXd")
        self.case("near_miss", {"args": f"say {near_miss}/tests\n", "stdout.re": r"\A{source}/tests"})
        status, output = self.run_cases("near_miss")
        self.assertEqual(status, 1, output)

    def test_forbidden_text_in_either_stream_fails(self):
        self.case("forbidden", {"args": "say fine warn 'Manager::compile() : 3 ms'\n", "not": "Manager::compile()\n"})
        status, output = self.run_cases("forbidden")
        self.assertEqual(status, 1, output)
        self.assertIn("forbidden text 'Manager::compile()'", output)
        self.assertIn("2: Manager::compile() : 3 ms", output)

    def test_files_that_should_and_should_not_be_there(self):
        self.case("files", {"args": "write {tmp}/left.png\n",
                            "files": "absent {tmp}/left.png\nnonempty {tmp}/wanted.png\n"})
        status, output = self.run_cases("files")
        self.assertEqual(status, 1, output)
        self.assertIn("left.png exists", output)
        self.assertIn("wanted.png does not exist", output)

    def test_a_case_still_running_after_its_timeout_fails(self):
        self.case("slow", {"args": "# timeout: 1\nsleep 30\n"})
        status, output = self.run_cases("slow")
        self.assertEqual(status, 1, output)
        self.assertIn("still running after 1 s", output)

    def test_the_users_settings_do_not_reach_the_tool(self):
        self.case("isolated", {"args": "env QFFX_SHADERS_DIR env XDG_CONFIG_HOME\n",
                               "stdout.re": r"\A\(unset\)\n{tmp}/config\n\Z"})
        status, output = self.run_cases("isolated", env={"QFFX_SHADERS_DIR": "/home/me/fx", "XDG_CONFIG_HOME": "/home/me"})
        self.assertEqual(status, 0, output)

    def test_cases_needing_the_gpu_are_skipped_without_it(self):
        self.case("gpu", {"args": "# needs: gpu\nexit 1\n"})
        status, output = self.run_cases("gpu", extra=["--no-gpu"])
        self.assertEqual(status, 77, output)
        self.assertEqual(self.run_cases("gpu")[0], 1)

    def test_malformed_cases_are_errors_not_passes(self):
        self.case("typo", {"args": "say hi\n", "stdout.regex": "hi"})
        self.case("directive", {"args": "# enviroment: A=1\nsay hi\n"})
        self.case("files", {"args": "say hi\n", "files": "present {tmp}/x\n"})
        for name, message in (("typo", "typo.stdout.regex: unknown kind of case file"),
                              ("directive", "unknown directive 'enviroment:'"),
                              ("files", "expected 'exists|nonempty|absent PATH'"), ("missing", "no case missing")):
            status, output = self.run_cases(name)
            self.assertEqual(status, 2, output)
            self.assertIn(message, output)

    def test_running_every_case_leaves_the_pending_ones_out(self):
        self.case("done", {"args": "exit 0\n"})
        self.case("later", {"args": "exit 1\n"})
        with open(os.path.join(self.cases, "PENDING"), "w") as f:
            f.write("# not yet\nlater\n")
        status, output = self.run_cases()
        self.assertEqual(status, 0, output)
        self.assertNotIn("later", output)
        self.assertEqual(self.run_cases(extra=["--pending"])[0], 1)

    def test_lint_finds_what_no_single_run_would(self):
        self.case("fine", {"args": "exit 0\n"})
        self.case("bad", {"args": "say 'unclosed\n"})
        self.case("orphan", {"stdout": "left behind when orphan.args was renamed\n"})
        self.case("pattern", {"args": "exit 0\n", "stderr.re": "(unbalanced"})
        with open(os.path.join(self.cases, "PENDING"), "w") as f:
            f.write("fine\ngone\n")
        status, output = self.run_cases(extra=["--lint"])
        self.assertEqual(status, 2, output)
        for message in ("bad.args:1: No closing quotation", "orphan.stdout: belongs to no case",
                        "pattern.stderr.re: bad pattern", "PENDING names gone"):
            self.assertIn(message, output)
        self.assertNotIn("fine:", output)

    def test_the_tools_cases_are_well_formed(self):
        result = subprocess.run([sys.executable, RUNNER, "--lint"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stdout)


if __name__ == "__main__":
    unittest.main()
