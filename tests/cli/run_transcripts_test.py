"""The runner of transcripts finds what differs."""

import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from run_transcripts import matches, run, steps_of

PAGE = """Words.
```console
$ echo one
one
$ echo two \\
> three
two three
```
$ no command
```sh
$ no command either
```
"""


class Transcripts(unittest.TestCase):
    def test_commands_of_console_blocks_are_read(self):
        steps = steps_of(PAGE)
        self.assertEqual([step.command for step in steps], ["echo one", "echo two \\\nthree"])
        self.assertEqual([step.expected for step in steps], [["one"], ["two three"]])
        self.assertEqual([step.line for step in steps], [3, 5])

    def test_a_line_before_the_first_command_is_refused(self):
        with self.assertRaises(ValueError):
            steps_of("```console\nshown\n```\n")
        with self.assertRaises(ValueError):
            steps_of(PAGE + "```console\nshown\n```\n")

    def test_lines_have_to_be_the_same(self):
        self.assertTrue(matches(["a.b", ""], ["a.b", ""]))
        for shown in (["axb", ""], ["a.b"], ["a.b", "", ""], ["a.b", " "], []):
            self.assertFalse(matches(["a.b", ""], shown), shown)
        self.assertTrue(matches([], []))
        self.assertFalse(matches([], [""]))

    def test_dots_stand_for_text_of_a_line(self):
        self.assertTrue(matches(["in ... seconds"], ["in 1.5 seconds"]))
        self.assertFalse(matches(["in ... seconds"], ["in 1.5", " seconds"]))
        self.assertFalse(matches(["in ... seconds"], ["in 1.5 minutes"]))

    def test_a_line_of_dots_stands_for_lines(self):
        self.assertTrue(matches(["a", "...", "z"], ["a", "z"]))
        self.assertTrue(matches(["a", "...", "z"], ["a", "b", "c", "z"]))
        self.assertFalse(matches(["a", "...", "z"], ["a", "b"]))

    def test_both_outputs_and_the_status_are_shown(self):
        step, = steps_of("```console\n$ echo out; echo error >&2; exit 3\n```\n")
        self.assertEqual(run(step, ".", dict(os.environ)), ["out", "error", "(exit status 3)"])


if __name__ == "__main__":
    unittest.main()
