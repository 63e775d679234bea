"""Tests of scripts/bench, with the programs of a build directory.

usage: bench_test.py BUILD-DIRECTORY [UNITTEST-ARGUMENT...]
"""

import importlib.machinery
import importlib.util
import pathlib
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
SCRIPT = pathlib.Path(__file__).resolve().parent.parent / "scripts/bench"
LOADER = importlib.machinery.SourceFileLoader("bench", str(SCRIPT))
bench = importlib.util.module_from_spec(importlib.util.spec_from_loader("bench", LOADER))
LOADER.exec_module(bench)


def tables(text):
    """The tables of a section, each as its rows of cells, without the line below the head."""
    return [[[cell.strip() for cell in line.strip("|").split("|")]
             for line in table.splitlines() if not line.startswith("|---")]
            for table in re.findall(r"(?:^\|.*\n)+", text, re.MULTILINE)]


class Goals(unittest.TestCase):
    COSTS = {"ours": {"time": 3e-6, "allocations": 12, "rate": 190},
             "curl": {"time": 2e-6, "allocations": 2, "rate": 200}}

    def met(self, goal):
        return goal(self.COSTS).met

    def test_an_amount_may_reach_its_limit(self):
        self.assertTrue(self.met(bench.at_most(12, "allocations")))
        self.assertFalse(self.met(bench.at_most(11, "allocations")))

    def test_a_surplus_is_what_ours_takes_beyond_theirs(self):
        self.assertTrue(self.met(bench.at_most_beyond(10, "allocations", "curl")))
        self.assertFalse(self.met(bench.at_most_beyond(9, "allocations", "curl")))

    def test_a_part_is_ours_of_theirs(self):
        self.assertTrue(self.met(bench.at_most_of(1.51, "time", "curl")))
        self.assertFalse(self.met(bench.at_most_of(1.49, "time", "curl")))

    def test_a_rate_is_to_be_high(self):
        self.assertTrue(self.met(bench.at_least_of(0.95, "rate", "curl")))
        self.assertFalse(self.met(bench.at_least_of(0.96, "rate", "curl")))

    def test_who_is_to_be_ahead_may_not_be_level(self):
        self.assertTrue(self.met(bench.less_than("rate", "curl")))
        self.assertFalse(bench.less_than("rate", "curl")({**self.COSTS, "curl": {"rate": 190}}).met)

    def test_nobody_is_compared_with_a_peer_that_is_missing(self):
        self.assertIsNone(bench.at_most_of(1, "time", "poco")(self.COSTS))


class Page(unittest.TestCase):
    PAGE = "# Words\n\n## The figures\n\n### Small operations: body\n\nold body\n\n### Many elements\n\nold scale\n"

    def test_a_subject_that_was_not_run_keeps_its_figures(self):
        self.assertEqual(bench.updated(self.PAGE, "### Many elements\n\nnew scale\n\n"),
                         self.PAGE.replace("old scale", "new scale"))

    def test_a_new_subject_comes_where_it_stands_among_the_subjects(self):
        self.assertEqual(bench.updated(self.PAGE, "### Small operations: frame\n\nnew frame\n\n"),
                         self.PAGE.replace("### Many", "### Small operations: frame\n\nnew frame\n\n### Many"))

    def test_a_subject_that_is_no_more_goes(self):
        self.assertEqual(bench.updated(self.PAGE + "\n### Gone\n\nold\n", ""), self.PAGE)


class QuickRun(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        done = subprocess.run([SCRIPT, "--quick", "--build-dir", BUILD_DIRECTORY], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise AssertionError(done.stderr)
        sections = re.split("^### (.*)\n", done.stdout, flags=re.MULTILINE)
        cls.sections = dict(zip(sections[1::2], sections[2::2]))

    def test_every_subject_has_its_section(self):
        self.assertEqual(list(self.sections), [subject.title for subject in bench.SUBJECTS.values()])

    def test_all_rows_of_a_table_fill_its_columns(self):
        for title, text in self.sections.items():
            self.assertGreater(len(tables(text)), 0, title)
            for head, *rows in tables(text):
                self.assertGreater(len(rows), 0, title)
                for row in rows:
                    self.assertEqual(len(row), len(head), row)
                    self.assertNotIn("", row)

    def test_each_operation_of_ours_has_its_time_allocations_and_instructions(self):
        for title, text in self.small():
            operations = [[row[0] for row in rows] for _, *rows in tables(text)[:3]]
            self.assertEqual(operations[1:], operations[:1] * 2, title)
            for head, *rows in tables(text)[:3]:
                for row in rows:
                    self.assertRegex(row[head.index("ours")], r"^-?[\d.,]+( [num]?s)?$", title)

    def test_goals_are_those_of_operations_that_there_are(self):
        for title, text in self.small():
            operations = {row[0] for row in tables(text)[0][1:]}
            [goals] = [subject.goals for subject in bench.SUBJECTS.values() if subject.title == title]
            self.assertLessEqual(set(goals) - {""}, operations, title)

    def test_goals_that_need_no_further_library_are_judged(self):
        # Each request is made for two sizes, and a unit compiled at two levels.
        for name, times in {"body": 1, "frame": 1, "requests": 2, "transfers": 1, "footprint": 2}.items():
            subject = bench.SUBJECTS[name]
            verdicts = re.findall(r"\| (met|missed) \|$", self.sections[subject.title], re.MULTILINE)
            self.assertEqual(len(verdicts), times * sum(map(len, subject.goals.values())), name)

    def small(self):
        return [(title, text) for title, text in self.sections.items() if title.startswith("Small operations")]


if __name__ == "__main__":
    BUILD_DIRECTORY = sys.argv.pop(1)
    unittest.main()
