"""Kills a worker right behind a sync, rename or link of publishing its result, or has two fail.

    killed_test.py TALVORA_HOST PLUGIN FAILING_CALLS

The result is there, so the file is not one that is yet to be done: done once more, in place, its
steps would be applied twice. What was replaced, the file and its older backup, has a name at every
moment.
"""

import itertools
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

import h5py
import numpy

import fault_test

HOST = PLUGIN = FAILING_CALLS = None
KIND_COUNT = len(fault_test.KINDS)


class KilledBehindTheRename(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name).resolve() / "work"
        self.folder.mkdir()
        for name in ("one.h5", "two.h5"):
            with h5py.File(self.folder / name, "w") as file:
                made = file.create_dataset("Imu/X", data=numpy.float32([[[1, -2, 3]]]))
                made.attrs["SampleRate"] = numpy.float32(100)

    def rectify(self, *words, plan):
        return self.call("run", "apply-set-rectify", "SourceGroup=Imu", *words, plan=plan)

    def call(self, *words, plan):
        counts = self.folder.parent / "counts"
        counts.write_bytes(bytes(8 * (KIND_COUNT + 1)))
        self.addCleanup(counts.unlink, missing_ok=True)
        environment = {**os.environ, "LD_PRELOAD": FAILING_CALLS, "FAILING_CALL": plan,
                       "FAILING_BELOW": str(self.folder), "FAILING_COUNTS": str(counts),
                       "TALVORA_PLUGIN_PATH": PLUGIN}
        done = subprocess.run([HOST, *words], cwd=self.folder, env=environment,
                              capture_output=True, text=True, timeout=60, check=False)
        *self.calls, self.failed_count = struct.unpack(f"{KIND_COUNT + 1}Q", counts.read_bytes())
        return done

    def count_calls(self, kind):
        return self.calls[fault_test.KINDS.index(kind)]

    def samples(self, name):
        with h5py.File(self.folder / name, "r") as file:
            return file["Imu/X"][0, 0].tolist()

    def test_the_result_counts_as_written(self):
        done = self.rectify("one.h5", "two.h5", "--in-place", "--failed-to", "failed.txt",
                            plan="rename:1:0:kill")
        self.assertEqual(self.failed_count, 1)
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertIn("error: one.h5: its worker was killed (SIGKILL); the output is written and "
                      "complete\n", done.stderr)
        self.assertEqual((self.folder / "failed.txt").read_text(), "")
        self.assertEqual(self.samples("one.h5"), [1, 2, 3])
        self.assertEqual(self.samples("two.h5"), [1, 2, 3])

    def test_with_nothing_in_place_the_file_is_yet_to_be_done(self):
        done = self.rectify("one.h5", "--in-place", "--backup", "--failed-to", "failed.txt",
                            plan="rename:1:0:kill")
        self.assertEqual(self.failed_count, 1)
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertIn("; the output is as it was\n"
                      "hint: 'one.h5.bak' was made before: it holds the same as 'one.h5'; "
                      "move or remove it\n", done.stderr)
        self.assertEqual((self.folder / "failed.txt").read_text(), "one.h5\n")
        self.assertEqual(self.samples("one.h5"), [1, -2, 3])

    def replace_backup(self, plan):
        """Of a file that has an older backup; the bytes of both, and what the run said."""
        (self.folder / "one.h5.bak").write_bytes(b"older")
        before = (self.folder / "one.h5").read_bytes()
        done = self.rectify("one.h5", "--in-place", "--backup", "--force", plan=plan)
        return before, done

    def contents(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def test_file_and_older_backup_have_a_name_behind_every_rename(self):
        for plan in ("link:1:0:kill", "rename:1:0:kill", "rename:2:0:kill",
                     "link:1:1:once,rename:1:0:kill", "link:1:1:once,rename:2:0:kill",
                     "link:1:1:once,rename:3:0:kill"):
            with self.subTest(plan):
                self.setUp()
                before, done = self.replace_backup(plan)
                self.assertEqual(self.failed_count, plan.count(":once") + 1)
                self.assertEqual(done.returncode, 4, done.stderr)
                # The next command sweeps what the killed one left.
                self.rectify("two.h5", "--in-place", plan="")
                left = self.contents()
                self.assertIn(before, left.values())
                self.assertIn(b"older", left.values())
                self.assertTrue(all(name.startswith(("one.h5", "two.h5")) for name in left), left)
                if self.samples("one.h5") == [1, 2, 3]:
                    self.assertIn("; the output is written and complete\n", done.stderr)
                    self.assertEqual(left["one.h5.bak"], before)
                else:
                    self.assertIn("; the output is as it was\n", done.stderr)
                    self.assertEqual(left["one.h5"], before)

    def test_an_older_backup_that_a_killed_run_kept_is_told(self):
        _, done = self.replace_backup("rename:1:0:kill")
        self.assertIn("'one.h5.bak.older' is the backup that stood there: give it back its name\n",
                      done.stderr)

    def test_without_a_backup_that_was_made_none_is_told(self):
        _, done = self.replace_backup("link:1:0:kill")
        self.assertEqual(done.returncode, 4)
        self.assertNotIn("was made before", done.stderr)

    def test_what_cannot_be_removed_is_told(self):
        before, done = self.replace_backup("unlink:1:5:always")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.samples("one.h5"), [1, 2, 3])
        for left, text in (("one.h5.bak.older",
                            "one.h5.bak.older: cannot be removed; it is the backup that was "
                            "replaced"),
                           (".one.h5.talvora-lock",
                            "one.h5: its lock file './.one.h5.talvora-lock' cannot be removed"),
                           (".one.h5.bak.talvora-lock",
                            "one.h5.bak: its lock file './.one.h5.bak.talvora-lock' cannot be "
                            "removed")):
            with self.subTest(left):
                self.assertIn(left, self.contents())
                self.assertIn(text, done.stderr)
        self.assertEqual(self.contents()["one.h5.bak"], before)

    def test_what_a_killed_run_kept_is_not_replaced(self):
        before, _ = self.replace_backup("rename:1:0:kill")
        done = self.rectify("one.h5", "--in-place", "--backup", "--force", plan="")
        self.assertEqual(done.returncode, 5)
        self.assertIn("error: one.h5.bak.older: exists\nhint: ", done.stderr)
        self.assertEqual(self.contents(), {"one.h5": before, "one.h5.bak": before,
                                           "one.h5.bak.older": b"older",
                                           "two.h5": self.contents()["two.h5"]})

    def test_an_older_backup_that_cannot_be_put_back_is_kept(self):
        before, done = self.replace_backup("rename:2:5:always,link:2:5:always")
        self.assertEqual(done.returncode, 5)
        self.assertIn("one.h5.bak: what stood there before cannot be put back; it is kept as "
                      "one.h5.bak.older\n", done.stderr)
        self.assertEqual(self.contents()["one.h5"], before)
        self.assertEqual(self.contents()["one.h5.bak.older"], b"older")

    def test_nothing_but_the_backup_is_left_of_replacing_one(self):
        before, done = self.replace_backup("")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(set(self.contents()), {"one.h5", "one.h5.bak", "two.h5"})
        self.assertEqual(self.contents()["one.h5.bak"], before)

    def test_what_is_in_place_is_told_as_complete(self):
        (self.folder / "table.csv").write_text("t,X\n0,1\n0.1,2\n")
        for words, made in ((["import", "table.csv", "-o", "one.h5", "--append", "--group", "G",
                              "--time", "t"], "one.h5"),
                            (["import", "two.h5", "-o", "out.h5", "--time-axis", "-1", "--rate",
                              "100"], "out.h5"),
                            (["attributes", "one.h5::Imu/X", "SampleRate=50", "--in-place"],
                             "one.h5"),
                            (["attributes", "two.h5::Imu/X", "SampleRate=50", "-o", "new.h5"],
                             "new.h5"),
                            (["export", "two.h5", "-o", "out.csv"], "out.csv"),
                            (["plot", "one.h5", "-o", "out.html"], "out.html")):
            with self.subTest(words):
                done = self.call(*words, plan="rename:1:0:kill")
                self.assertEqual(self.failed_count, 1)
                self.assertEqual(done.stderr, f"error: {made}: its worker was killed (SIGKILL); "
                                              "the output is written and complete\n")
                self.assertEqual(done.returncode, 5)
                self.assertFalse([name for name in self.contents() if "talvora" in name])
        with h5py.File(self.folder / "one.h5") as file:
            self.assertEqual(file["Imu/X"].attrs["SampleRate"], 50)
            self.assertEqual(file["G/X"][0, 0].tolist(), [1, 2])

    def test_a_backup_in_place_is_no_result(self):
        before = self.contents()
        done = self.call("attributes", "one.h5::Imu/X", "SampleRate=50", "--in-place", "--backup",
                         plan="rename:1:0:kill")
        self.assertEqual(self.failed_count, 1)
        self.assertEqual(done.returncode, 3, done.stderr)
        self.assertNotIn("complete", done.stderr)
        self.assertEqual(self.contents()["one.h5"], before["one.h5"])

    def test_no_lock_is_left_where_one_went_before_it_was_opened(self):
        """Its name is taken for an instant (EEXIST), and the file system knows no locks (ENOLCK)."""
        before = self.contents()
        self.rectify("one.h5", "-o", "out.h5", plan="")
        opened, locked = self.count_calls("open"), self.count_calls("lock")
        for plan in itertools.product(range(1, opened + 1), range(1, locked + 1)):
            with self.subTest(plan):
                (self.folder / "out.h5").unlink(missing_ok=True)
                self.rectify("one.h5", "-o", "out.h5",
                             plan="open:{}:17:once,lock:{}:37:always".format(*plan))
                self.assertEqual({**self.contents(), "out.h5": None}, {**before, "out.h5": None})

    def test_nothing_is_left_of_a_file_that_was_not_finished(self):
        before = self.contents()
        for words in (["export", "one.h5", "-o", "out.csv"],
                      ["export", "one.h5", "two.h5", "--tidy", "-o", "out.csv"],
                      ["plot", "one.h5", "-o", "out.html"],
                      ["import", "one.h5", "-o", "out.h5", "--time-axis", "-1", "--rate", "100"],
                      ["attributes", "one.h5::Imu/X", "SampleRate=50", "-o", "out.h5"]):
            with self.subTest(words):
                done = self.call(*words, plan="sync:1:0:kill")
                self.assertEqual(self.failed_count, 1)
                self.assertEqual(done.returncode, 3, done.stderr)
                self.assertIn("its worker was killed (SIGKILL)", done.stderr)
                self.assertEqual(self.contents(), before)


if __name__ == "__main__":
    HOST, PLUGIN, FAILING_CALLS = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1])
