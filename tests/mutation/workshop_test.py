#!/usr/bin/env python3
"""That a run leaves nothing behind, names what failed, and knows what it has tried before."""

import os
import pathlib
import select
import signal
import subprocess
import sys
import tempfile
import unittest

import mutations as lists
import verdicts as kept
import workshop

HERE = pathlib.Path(__file__).resolve().parent

# A test program that has started a daemon, as those with a bus of their own do.
RUN = """
import signal, subprocess, sys
sys.path.insert(0, sys.argv[1])
import workshop
workshop.running.end_on(signal.SIGTERM)
folder = workshop.running.make_folder()
program = workshop.running.start(["sh", "-c", "sleep 1000 & echo $!; wait"],
                                 stdout=subprocess.PIPE, text=True)
print(program.stdout.readline().strip(), folder, flush=True)
program.wait()
"""


@unittest.skipUnless(hasattr(os, "pidfd_open"), "watches processes as Linux does")
class Ended(unittest.TestCase):
    def test_leaves_neither_programs_nor_folders(self):
        with subprocess.Popen([sys.executable, "-B", "-c", RUN, str(HERE)],
                              stdout=subprocess.PIPE, text=True) as run:  # fmt: skip
            daemon, folder = run.stdout.readline().split()
            watched = os.pidfd_open(int(daemon))
            run.send_signal(signal.SIGTERM)
            status = run.wait()
            ended, _, _ = select.select([watched], [], [], 20)
            os.close(watched)
            if not ended:
                os.kill(int(daemon), signal.SIGKILL)
            self.assertTrue(ended)
            self.assertEqual(status, 128 + signal.SIGTERM)
            self.assertFalse(pathlib.Path(folder).exists())


class Failed(unittest.TestCase):
    def test_is_the_test_that_says_so(self):
        output = "[ RUN      ] A.B\n[  FAILED  ] A.B (3 ms)\n"
        self.assertEqual(workshop.BLUEZ.failed_test(output), "A.B")

    def test_is_the_test_that_has_not_ended(self):
        output = "[ RUN      ] A.B\n[       OK ] A.B (3 ms)\n[ RUN      ] A.C\n"
        self.assertEqual(workshop.BLUEZ.failed_test(output), "A.C")

    def test_is_a_session_by_its_seed_which_plays_it_again(self):
        output = "seed 17: a value was lost\n100 sessions\n"
        failed = workshop.WORLD.failed_test(output)
        self.assertEqual(workshop.WORLD.command(only=failed), ["--seed", "17"])


class Kept(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)
        (self.root / "src").mkdir()
        (self.root / "src/File.cpp").write_text("stop();\n", encoding="utf-8")
        self.mutation = lists.Mutation("area", "src/File.cpp", "name", before="stop();")
        self.tried()[self.mutation] = kept.Verdict("killed", "A.B")

    def tried(self):
        return kept.Verdicts(self.root / "build/verdicts.json", self.root)

    def test_from_one_run_to_the_next(self):
        self.assertEqual(self.tried()[self.mutation], kept.Verdict("killed", "A.B"))

    def test_no_longer_than_the_file_stays_as_it_was(self):
        (self.root / "src/File.cpp").write_text("stop();\nstart();\n", encoding="utf-8")
        self.assertEqual(self.tried()[self.mutation].result, "not tried")

    def test_no_longer_than_the_mutation_stays_as_it_was(self):
        self.mutation.after = "halt();"
        self.assertEqual(self.tried()[self.mutation].result, "not tried")


if __name__ == "__main__":
    unittest.main()
