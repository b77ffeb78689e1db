"""Tries the commands of talvora-host on bad inputs and bad outputs.

    bad_input_test.py TALVORA_HOST PLUGIN TROUBLE_PLUGIN

Each command is tried on each input. It must end with the exit code of the kind of failure and
say in one line where, what and why, and leave every file byte for byte as it was.

TALVORA_KILL_COUNT sets how often a command is ended early (100), TALVORA_SEED the moments.
"""

import contextlib
import errno
import fcntl
import os
import pathlib
import pty
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HOST = PLUGIN = TROUBLE = None
NOBODY = 65534
KILL_COUNT = int(os.environ.get("TALVORA_KILL_COUNT", "100"))
SEED = int(os.environ.get("TALVORA_SEED", random.SystemRandom().randrange(1 << 32)))
LEFT_OVERS = (".talvora-tmp", ".talvora-lock")

WALK = "t,X,Y\n0,-1,1\n0.1,2,1\n0.3,-4,1\n0.4,-5,1\n"
RECIPE = ("variables: {group: Signals}\n"
          "steps:\n"
          "  - unit: apply-set-rectify\n"
          "    parameters: {SourceGroup: '${group}'}\n")
RUN = ["run", "apply-set-rectify", "SourceGroup=Signals"]


def forbid_large_files():
    """Stands in for a full disk."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (2048, 2048))


class CommandLine(unittest.TestCase):
    """A folder with the program, a recording, its table and a recipe."""

    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        # Whoever runs without privileges may not enter the folder of the build.
        cls.programs = pathlib.Path(temporary.name) / "programs"
        cls.folder = pathlib.Path(temporary.name) / "work"
        for folder in (cls.programs, cls.folder):
            folder.mkdir()
        for name in (temporary.name, cls.programs, cls.folder):
            os.chmod(name, 0o777)
        cls.host = shutil.copy(HOST, cls.programs)
        shutil.copy(PLUGIN, cls.programs)
        cls.write("walk.csv", WALK)
        cls.write("recipe.yaml", RECIPE)
        assert cls.call(["import", "walk.csv", "-o", "plain.h5"]).returncode == 0
        assert cls.call([*RUN, "plain.h5", "-o", "walk.h5"]).returncode == 0
        cls.walk = (cls.folder / "walk.h5").read_bytes()

    @classmethod
    def write(cls, name, content):
        path = cls.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    @classmethod
    def call(cls, words, *, environment=None, **options):
        """As the user calls it; `without_privileges` when the test runs as root."""
        if options.pop("without_privileges", False) and os.geteuid() == 0:
            options.update(user=NOBODY, group=NOBODY, extra_groups=[])
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        # After a failed write the HDF5 library keeps memory, which a leak check would report.
        variables = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000",
                     "ASAN_OPTIONS": "detect_leaks=0", **(environment or {})}
        variables.pop("TALVORA_PLUGIN_PATH", None) if not environment else None
        return subprocess.run([cls.host, *map(str, words)], cwd=cls.folder, env=variables,
                              timeout=20,
                              encoding="utf-8", errors="replace", **options)

    def contents(self):
        """Every file below the folder, with its mode; the content of those that hold any."""
        found = {}
        for path in sorted(self.folder.rglob("*")):
            status = path.lstat()
            content = (path.read_bytes() if path.is_file() and not path.is_symlink()
                       else os.readlink(path) if path.is_symlink() else None)
            found[str(path.relative_to(self.folder))] = (status.st_mode, content)
        return found

    @contextlib.contextmanager
    def nothing_changes(self):
        before = self.contents()
        yield
        after = self.contents()
        self.assertEqual(before.keys(), after.keys())
        self.assertEqual(before, after)

    def expect_failure(self, words, code, *texts, **options):
        with self.subTest(words=" ".join(map(str, words))[:200]), self.nothing_changes():
            result = self.call(words, **options)
            lines = result.stderr.splitlines() or [""]
            self.assertEqual(result.returncode, code, result.stderr)
            self.assertFalse(result.stdout, "a failure has no result")
            self.assertTrue(lines[0].startswith("error: "), result.stderr)
            self.assertLess(len(lines[0]), 700)
            for line in lines[1:]:
                self.assertTrue(line.startswith("hint: "), result.stderr)
            self.assertLess(len(lines), 4, "an error and at most two hints")
            for text in texts:
                self.assertIn(text, result.stderr)
            return result


# Name, and what the line must say of it.
BAD_HDF5 = [
    ("missing.h5", "there is no such file"),
    ("dangling.h5", "there is no such file"),
    ("loop.h5", "there is no such file"),
    ("empty.h5", "it is empty"),
    ("folder.h5", "it is a folder"),
    ("pipe.h5", "it is no regular file"),
    ("truncated.h5", "truncated file"),
    ("beginning.h5", "cannot open the file"),
    ("zeros.h5", "it is not an HDF5 file"),
    ("table.csv", "it is not an HDF5 file: it begins with 't,X,Y'"),
    ("locked.h5", "another program has it open: unable to lock file, errno = 11"),
    ("closed.h5", "Permission denied"),
]

READERS = [
    [*RUN, "BAD", "-o", "out.h5"],
    [*RUN, "BAD", "--out-dir", "new"],
    [*RUN, "BAD", "--in-place"],
    [*RUN, "BAD", "--in-place", "--backup", "--jobs", "2"],
    ["recipe", "run", "recipe.yaml", "BAD", "-o", "out.h5"],
    ["recipe", "run", "recipe.yaml", "BAD", "--in-place"],
    ["recipe", "check", "recipe.yaml", "BAD"],
    ["recipe", "extract", "BAD"],
    ["recipe", "extract", "BAD", "-o", "out.yaml"],
    ["import", "walk.csv", "-o", "BAD", "--append", "--group", "More"],
    ["import", "BAD", "-o", "out.h5", "--map", "nwb"],
    ["import", "BAD", "-o", "out.h5", "--time-axis", "-1", "--rate", "10", "-n"],
    ["import", "walk.h5", "-o", "BAD", "--time-axis", "-1", "--rate", "10", "--append",
     "--group", "More"],
    ["export", "BAD", "-o", "out.csv"],
    ["export", "BAD::Signals/X", "-o", "-"],
    ["attributes", "BAD"],
    ["attributes", "BAD::Signals/X", "SampleRate=50", "-o", "out.h5"],
    ["attributes", "BAD::Signals/X", "SampleRate=50", "--in-place", "--backup"],
    ["tree", "BAD"],
    ["tree", "BAD::Signals", "--statistics"],
    ["history", "BAD"],
    ["plot", "BAD", "-o", "out.html"],
    ["plot", "walk.h5", "--with", "BAD", "-o", "out.svg"],
]


def is_alive(group):
    """Whether a process of the group is left."""
    try:
        os.killpg(group, 0)
    except ProcessLookupError:
        return False
    return True


def processes_of(group):
    """The folders in /proc of a group's processes."""
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            # Behind the name, which may hold blanks: state, parent, group.
            if int((folder / "stat").read_text().rpartition(")")[2].split()[2]) == group:
                yield folder


def held_back_by_threads(process):
    """The signals that each thread beside the first holds back."""
    for thread in (process / "task").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if thread.name != process.name:
                status = (thread / "status").read_text()
                mask = int(status.partition("SigBlk:")[2].split()[0], 16)
                yield {number for number in signal.Signals if mask >> (number - 1) & 1}


class BadInput(CommandLine):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.write("empty.h5", "")
        cls.write("table.csv", WALK)
        cls.write("truncated.h5", cls.walk[:len(cls.walk) // 2])
        cls.write("beginning.h5", cls.walk[:8] + bytes(2000))
        cls.write("zeros.h5", bytes(2000))
        (cls.folder / "folder.h5").mkdir()
        os.mkfifo(cls.folder / "pipe.h5")
        (cls.folder / "dangling.h5").symlink_to("nowhere.h5")
        (cls.folder / "loop.h5").symlink_to("loop.h5")
        cls.write("closed.h5", cls.walk).chmod(0)
        locked = open(cls.write("locked.h5", cls.walk), "rb")
        cls.addClassCleanup(locked.close)
        fcntl.flock(locked, fcntl.LOCK_EX)

    def test_every_reader_says_what_is_wrong_with_its_file(self):
        for name, text in BAD_HDF5:
            for reader in READERS:
                words = [word.replace("BAD", name) for word in reader]
                self.expect_failure(words, 3, name, text,
                                    without_privileges=name == "closed.h5")

    def test_a_table_is_recognised(self):
        self.expect_failure([*RUN, "walk.csv", "-o", "out.h5"], 3,
                            "hint: is it a table?  talvora-host import walk.csv -o walk.h5")

    def test_the_error_stack_comes_when_asked_for(self):
        words = ["tree", "locked.h5"]
        self.assertNotIn("HDF5-DIAG", self.call(words).stderr)
        self.assertIn("HDF5-DIAG", self.call([*words, "-v"]).stderr)

    def test_one_bad_file_costs_the_others_nothing(self):
        for name, text in BAD_HDF5:
            with self.subTest(name=name):
                result = self.call([*RUN, name, "walk.h5", "plain.h5", "--out-dir", "made",
                                    "--jobs", "2"], without_privileges=name == "closed.h5")
                self.assertEqual(result.returncode, 3, result.stderr)
                self.assertIn(text, result.stderr)
                self.assertEqual(sorted(os.listdir(self.folder / "made")),
                                 ["plain.h5", "walk.h5"])
                shutil.rmtree(self.folder / "made")


class BadTables(CommandLine):
    TABLES = {
        "empty.csv": ("", "empty"),
        "names.csv": ("t,X\n", "no row below the names"),
        "quote.csv": ('t,X\n0,"1\n', "the text ends inside a quoted field"),
        "wide.csv": ("t,X\n0,1,2\n", "row 2 has 3 fields"),
        "twice.csv": ("t,X,X\n0,1,2\n", "two columns named 'X'"),
        "utf16.csv": (WALK.encode("utf-16"), "UTF-16"),
        "times.csv": ("t (ms),X\n0,1\n12:30:05,2\n1,3\n",
                      "times.csv: row 3, column 't (ms)': '12:30:05' is no time (allowed: a "
                      "number of ms with a decimal point)"),
        "no_time.csv": ("t,X\n0,1\n,2\n1,3\n", "row 3, column 't': '' is no time"),
        "back.csv": ("t,X\n0,1\n2,2\n1,3\n", "time goes back from 2 to 1 in row 4"),
        "slashes.csv": ("t,a/b,a_b\n0,1,2\n1,3,4\n",
                        "the columns 'a/b' and 'a_b' would both make the set 'a_b'"),
        "zero.csv": (b"t,X\0Y\n0,1\n", "the name of column 2 holds a zero byte"),
        "latin1.csv": (b"t,Force (\xb5V)\n0,1\n1,2\n",
                       "latin1.csv: the name of column 2 is no UTF-8: byte 0xb5"),
        "latin1_unit.csv": (b"t,X\ns,\xb5V\n0,1\n1,2\n",
                            "latin1_unit.csv: the unit of column 2 is no UTF-8: byte 0xb5"),
        "words.csv": ("t,X\n0,a\n1,b\n", "no column with numbers"),
    }

    def test_import_says_what_is_wrong_with_a_table(self):
        for name, (content, text) in self.TABLES.items():
            self.write(name, content)
            self.expect_failure(["import", name, "-o", "out.h5"], 3, name, text)
            self.expect_failure(["import", name, "-o", "out.h5", "-n"], 3, name, text)
            self.expect_failure(["import", name, "-o", "plain.h5", "--force"], 3, name, text)

    def test_import_says_what_else_a_file_is(self):
        (self.folder / "folder.csv").mkdir(exist_ok=True)
        self.write("closed.csv", WALK).chmod(0)
        for name, text in (("missing.csv", "No such file"), ("folder.csv", "a folder"),
                           ("walk.h5", "an HDF5 file, no CSV file")):
            self.expect_failure(["import", name, "-o", "out.h5"], 3, name, text)
        self.expect_failure(["import", "closed.csv", "-o", "out.h5"], 3, "Permission denied",
                            without_privileges=True)
        self.expect_failure(["import", "walk.h5", "-o", "out.h5"], 3,
                            "hint: what it holds: talvora-host tree walk.h5")

    def test_import_names_the_nearest_column(self):
        self.write("gyro.csv", "t,Gyroscope X (deg/s)\n0,1\n1,2\n")
        near = "did you mean 'Gyroscope X (deg/s)'?"
        self.expect_failure(["import", "gyro.csv", "-o", "out.h5", "--set", "A=gyroscope x"], 2,
                            "no column 'gyroscope x'", near)
        self.expect_failure(["import", "gyro.csv", "-o", "out.h5", "--time", "Gyroscope X"], 2,
                            near)

    def test_import_announces_the_names_it_changes(self):
        self.write("rates.csv", "t,X/s,..\n0,1,1\n1,2,2\n")
        result = self.call(["import", "rates.csv", "-o", "out.h5", "-n"])
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("info: rates.csv: column 'X/s' becomes the set 'X_s'", result.stderr)
        self.assertIn("info: rates.csv: column '..' becomes the set '_'", result.stderr)


class BadRecipes(CommandLine):
    DEEP = 20_000
    RECIPES = {
        "empty.yaml": ("", 2, "empty.yaml"),
        "tab.yaml": ("steps:\n\t- unit: apply-set-rectify\n", 2, "tab.yaml:2:1"),
        "twice.yaml": (RECIPE + "variables: {}\n", 2, "twice.yaml:5:1"),
        "list.yaml": ("[" * DEEP, 2, "list.yaml:1:"),
        "map.yaml": ("{a: " * DEEP, 2, "map.yaml:1:"),
        "block.yaml": ("".join(" " * i + "a:\n" for i in range(2000)), 2, "block.yaml:"),
        "bytes.yaml": (bytes(range(256)), 2, "bytes.yaml"),
        "unit.yaml": (RECIPE.replace("rectify", "rectfy"), 2, "did you mean 'apply-set-rectify'?"),
    }

    def try_recipe(self, name, code, *texts, **options):
        for words in (["check", name], ["check", name, "walk.h5"],
                      ["run", name, "walk.h5", "-o", "out.h5"],
                      ["run", name, "walk.h5", "--in-place"]):
            self.expect_failure(["recipe", *words], code, *texts, **options)

    def test_check_and_run_say_what_is_wrong_with_a_recipe(self):
        for name, (content, code, text) in self.RECIPES.items():
            self.write(name, content)
            self.try_recipe(name, code, text)

    def test_check_and_run_say_what_else_a_file_is(self):
        (self.folder / "folder.yaml").mkdir()
        self.write("closed.yaml", RECIPE).chmod(0)
        self.try_recipe("missing.yaml", 3, "missing.yaml", "No such file")
        self.try_recipe("folder.yaml", 3, "folder.yaml")
        self.try_recipe("walk.h5", 2, "walk.h5")
        self.try_recipe("closed.yaml", 3, "Permission denied", without_privileges=True)


class EndlessInputs(CommandLine):
    """What is read from its beginning to its end, and has none, or is waited for."""

    READERS = [
        ["import", "BAD", "-o", "out.h5"],
        ["import", "BAD", "-o", "out.h5", "-n"],
        ["recipe", "check", "BAD"],
        ["recipe", "run", "BAD", "walk.h5", "-o", "out.h5"],
        [*RUN, "--files-from", "BAD", "--out-dir", "new"],
    ]

    def test_they_are_refused(self):
        os.mkfifo(self.folder / "pipe")
        for name, kind in (("pipe", "named pipe"), ("/dev/zero", "device")):
            for reader in self.READERS:
                words = [word.replace("BAD", name) for word in reader]
                self.expect_failure(words, 3, f"error: {name}: is a {kind}")

    def test_pipes_of_the_shell_are_read(self):
        for content, words in ((WALK, ["import", "PIPE", "-o", "out.h5"]),
                               (RECIPE, ["recipe", "check", "PIPE", "walk.h5"]),
                               ("walk.h5\n", [*RUN, "--files-from", "PIPE", "-o", "out.h5"])):
            reading, writing = os.pipe()
            os.write(writing, content.encode())
            os.close(writing)
            result = self.call([word.replace("PIPE", f"/dev/fd/{reading}") for word in words],
                               pass_fds=[reading])
            os.close(reading)
            self.assertEqual(result.returncode, 0, result.stderr)
            (self.folder / "out.h5").unlink(missing_ok=True)

    def test_standard_input_is_read(self):
        reading, writing = os.pipe()
        os.write(writing, WALK.encode())
        os.close(writing)
        result = self.call(["import", "/dev/stdin", "-o", "out.h5"], stdin=reading)
        os.close(reading)
        self.assertEqual(result.returncode, 0, result.stderr)
        (self.folder / "out.h5").unlink()


# Each command that makes a file.
WRITERS = [
    [*RUN, "plain.h5", "-o", "OUT"],
    ["recipe", "run", "recipe.yaml", "plain.h5", "-o", "OUT"],
    ["recipe", "extract", "walk.h5", "-o", "OUT"],
    ["import", "walk.csv", "-o", "OUT"],
    ["import", "plain.h5", "-o", "OUT", "--time-axis", "-1", "--rate", "10"],
    ["attributes", "plain.h5::Signals/X", "SampleRate=50", "-o", "OUT"],
    ["export", "plain.h5", "-o", "OUT"],
    ["plot", "plain.h5", "-o", "OUT"],
    ["design", "ZeroLagLowPass", "CutoffFrequency=10", "Order=4", "--rate", "100", "-o", "OUT"],
]
ENDINGS = {"plot": ".svg", "design": ".svg"}

# Each command that prints a result.
PRINTERS = [
    ["units"],
    ["units", "--json"],
    ["describe", "apply-set-butterworth"],
    ["tree", "walk.h5"],
    ["tree", "walk.h5", "--statistics", "--attributes"],
    ["tree", "walk.h5", "--json"],
    ["history", "walk.h5"],
    ["attributes", "walk.h5"],
    ["attributes", "walk.h5::Signals/*", "--json"],
    ["export", "walk.h5", "-o", "-"],
    ["recipe", "extract", "walk.h5"],
    ["recipe", "check", "recipe.yaml"],
    ["version"],
    [*RUN, "plain.h5", "-o", "out.h5", "-n", "--json"],
    ["design", "ZeroLagLowPass", "CutoffFrequency=1.5", "Order=4", "--rate", "100.5"],
]


def fill_in(writer, output):
    return [output + ENDINGS.get(writer[0], "") if word == "OUT" else word for word in writer]


class BadOutput(CommandLine):
    def each_writer(self, output):
        for writer in WRITERS:
            yield fill_in(writer, output), output + ENDINGS.get(writer[0], "")

    def test_every_writer_makes_its_file_where_it_can(self):
        for words, output in self.each_writer("good"):
            result = self.call(words)
            self.assertEqual(result.returncode, 0, f"{words} {result.stderr}")
            (self.folder / output).unlink()

    def test_an_existing_file_stays(self):
        for words, output in self.each_writer("taken"):
            self.write(output, "precious")
            self.expect_failure(words, 5, f"error: {output}: exists", "hint: --force replaces it")

    def test_a_folder_is_no_file(self):
        for words, output in self.each_writer("folder"):
            (self.folder / output).mkdir(exist_ok=True)
            for force in ([], ["--force"]):
                self.expect_failure([*words, *force], 5, f"{output}: exists and is no regular file")

    def test_a_missing_folder_is_named(self):
        for words, output in self.each_writer("no/where"):
            self.expect_failure(words, 5, f"{output}: no folder 'no'", "hint: make it: mkdir -p no")

    def test_a_closed_folder_is_named(self):
        closed = self.folder / "closed"
        closed.mkdir(exist_ok=True)
        closed.chmod(0o555)
        for words, output in self.each_writer("closed/out"):
            self.expect_failure(words, 5, output, "Permission denied", without_privileges=True)

    def test_nothing_is_left_in_a_folder_that_allows_only_adding(self):
        adding = self.folder / "adding"
        adding.mkdir()
        if subprocess.run(["chattr", "+a", adding], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("the file system or the user knows no such folders")
        self.addCleanup(subprocess.run, ["chattr", "-a", adding], check=True)
        for words, output in self.each_writer("adding/out"):
            self.expect_failure(words, 5, f"error: {output}: folder 'adding' allows only adding "
                                          "(chattr +a)")
        self.assertEqual(list(adding.iterdir()), [])

    def test_a_file_that_may_not_be_written_stays(self):
        for words, output in self.each_writer("read_only"):
            self.write(output, "precious").chmod(0o444)
            self.expect_failure([*words, "--force"], 5, output, "cannot be written",
                                without_privileges=True)

    def test_a_name_may_be_too_long(self):
        for words, output in self.each_writer("n" * 256):
            self.expect_failure(words, 5, output[:250], "File name too long")

    def test_a_device_is_no_file(self):
        for writer in WRITERS[:6]:
            self.expect_failure(fill_in(writer, "/dev/full"), 5,
                                "/dev/full: exists and is no regular file")

    def test_the_input_is_no_output(self):
        for name, target in (("link.h5", "plain.h5"), ("link.csv", "walk.csv")):
            (self.folder / name).symlink_to(target)
        for output in ("plain.h5", "./plain.h5", "link.h5"):
            self.expect_failure([*RUN, "plain.h5", "-o", output, "--force"], 2,
                                "input and output are the same file", "hint: --in-place")
            self.expect_failure(["recipe", "run", "recipe.yaml", "plain.h5", "-o", output], 2,
                                "hint: --in-place")
        for words, output in ((["import", "walk.csv"], "walk.csv"),
                              (["import", "walk.csv"], "link.csv"),
                              (["export", "plain.h5"], "plain.h5"),
                              (["recipe", "extract", "walk.h5"], "walk.h5")):
            result = self.expect_failure([*words, "-o", output, "--force"], 2,
                                         "input and output are the same file",
                                         "hint: give the output a name of its own")
            self.assertNotIn("--in-place", result.stderr if result else "")

    def test_a_link_stays_a_link_to_the_new_content(self):
        for words, output in self.each_writer("to_target"):
            target = self.write("target", "old")
            (self.folder / output).unlink(missing_ok=True)
            (self.folder / output).symlink_to("target")
            result = self.call([*words, "--force"])
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(os.readlink(self.folder / output), "target")
            self.assertNotEqual(target.read_bytes(), b"old")

    def test_a_disk_without_room_keeps_the_old_file(self):
        limits = {"preexec_fn": forbid_large_files}
        rows = "".join(f"{i},{i % 7}\n" for i in range(3000))
        self.write("long.csv", "t,X\n" + rows)
        self.assertEqual(self.call(["import", "long.csv", "-o", "long.h5"]).returncode, 0)
        for words in ([*RUN, "long.h5"], ["recipe", "run", "recipe.yaml", "long.h5"],
                      ["import", "long.csv"], ["export", "long.h5"], ["plot", "long.h5"]):
            output = "room" + ENDINGS.get(words[0], "")
            self.expect_failure([*words, "-o", output], 5, output, **limits)
            self.write(output, "precious")
            self.expect_failure([*words, "-o", output, "--force"], 5, output, **limits)
        self.expect_failure([*RUN, "long.h5", "--in-place"], 5, "long.h5", **limits)
        self.expect_failure(["import", "long.csv", "-o", "plain.h5", "--append", "--group", "G"],
                            5, "plain.h5", **limits)

    def test_a_full_file_system_keeps_the_old_file(self):
        small = self.folder / "small"
        small.mkdir()
        mounted = os.geteuid() == 0 and subprocess.run(
            ["mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", small],
            stderr=subprocess.DEVNULL).returncode == 0
        if not mounted:
            small.rmdir()
            self.skipTest("a small file system can be mounted by root alone")
        self.addCleanup(subprocess.run, ["umount", small], check=True)
        self.write("rows.csv", "t,X\n" + "".join(f"{i},{i % 7}\n" for i in range(9000)))
        for words in (["import", "rows.csv", "-o", "small/a.h5"],):
            self.expect_failure(words, 5, "small/a.h5", os.strerror(errno.ENOSPC))

    def test_standard_output_may_be_full(self):
        for words in PRINTERS:
            with open("/dev/full", "w") as full, self.subTest(words=words):
                result = self.call(words, stdout=full)
                self.assertEqual(result.returncode, 5, result.stderr)
                self.assertIn("error: standard output: No space left on device\n", result.stderr)

    def test_an_empty_name_is_none(self):
        output = [*RUN, "plain.h5", "-o", "out.h5"]
        for words in (*([word.replace("OUT", "") for word in writer] for writer in WRITERS),
                      ["export", "plain.h5", "--tidy", "-o", ""],
                      [*RUN, "plain.h5", "--out-dir", ""],
                      *([*output, option, ""] for option in ("--files-from", "--failed-to",
                                                             "--plugin")),
                      ["recipe", "run", "", "plain.h5", "-o", "out.h5"],
                      ["import", "walk.h5", "-o", "out.h5", "--map", ""],
                      ["plot", "plain.h5", "--with", "", "-o", "out.svg"],
                      ["validate", ""],
                      ["manual", ""]):
            self.expect_failure(words, 2, ": is empty (allowed: the name of a file or a folder)")

    def test_what_was_written_before_standard_output_was_full_is_complete(self):
        for words, made in (([*RUN, "plain.h5", "-o", "run.h5"], "run.h5"),
                            (["import", "walk.csv", "-o", "new.h5"], "new.h5"),
                            (["import", "walk.csv", "-o", "new.h5", "--append", "--group", "G"],
                             "new.h5"),
                            (["import", "plain.h5", "-o", "mapped.h5", "--time-axis", "-1",
                              "--rate", "10"], "mapped.h5"),
                            (["attributes", "plain.h5::**", "Who=7", "-o", "who.h5"], "who.h5"),
                            (["attributes", "plain.h5::**", "Who=7", "-o", "told.h5", "--json"],
                             "told.h5"),
                            (["export", "plain.h5", "-o", "new.csv"], "new.csv"),
                            (["plot", "plain.h5", "-o", "new.svg"], "new.svg")):
            with open("/dev/full", "w") as full, self.subTest(words=words):
                result = self.call(words, stdout=full)
                self.assertEqual(result.returncode, 5, result.stderr)
                self.assertTrue(result.stderr.endswith(
                    "error: standard output: No space left on device; what was written to files "
                    "is complete\n"), result.stderr)
                self.assertTrue((self.folder / made).exists())
        for made in ("run.h5", "new.h5", "mapped.h5", "who.h5", "told.h5", "new.csv", "new.svg"):
            (self.folder / made).unlink()


class StandardStreams(CommandLine):
    """Closed, full or without a reader when the program starts."""

    IMPORT = ["import", "walk.csv", "-o", "out.h5", "--force"]  # which tells of a missing row
    WRITERS = [IMPORT, [*RUN, "plain.h5", "-o", "out.h5", "--force"],
               ["recipe", "run", "recipe.yaml", "plain.h5", "-o", "out.h5", "--force"],
               ["recipe", "extract", "walk.h5", "-o", "out.h5", "--force"],
               ["export", "walk.h5::Signals/X", "-o", "out.h5", "--force"]]

    def complete(self, words, **options):
        """What the command leaves, its exit code in front."""
        (self.folder / "out.h5").unlink(missing_ok=True)
        result = self.call(words, **options)
        made = self.folder / "out.h5"
        return result, made.read_bytes() if made.exists() else None

    def test_no_file_takes_the_place_of_a_closed_stream(self):
        for words in self.WRITERS:
            _, expected = self.complete([*words, "--quiet"])
            self.assertIsNotNone(expected)
            for closed in ((0,), (1,), (2,), (0, 1), (1, 2), (0, 1, 2)):
                with self.subTest(words=words, closed=closed):
                    result, made = self.complete(
                        [*words, "--quiet"], preexec_fn=lambda: [os.close(i) for i in closed])
                    self.assertEqual(result.returncode, 0, result.stderr)
                    self.assertEqual(made, expected)

    def test_results_for_a_closed_standard_output_are_an_error(self):
        for words in (["units"], ["tree", "walk.h5"], ["tree", "walk.h5", "--json"],
                      ["history", "walk.h5"], ["export", "walk.h5", "-o", "-"],
                      ["recipe", "extract", "walk.h5"], ["version"], ["--version"], ["--help"],
                      [*RUN, "plain.h5", "-o", "trial.h5", "-n", "--json"],
                      [*RUN, "plain.h5", "-o", "trial.h5", "-n"]):
            for closed in ((1,), (0, 1)):
                with self.subTest(words=words, closed=closed), self.nothing_changes():
                    result = self.call(words, preexec_fn=lambda: [os.close(i) for i in closed])
                    self.assertEqual(result.returncode, 5, result.stderr)
                    self.assertIn("error: standard output: Bad file descriptor\n", result.stderr)

    def test_a_list_from_a_closed_standard_input_is_an_error(self):
        self.expect_failure([*RUN, "--files-from", "-", "--out-dir", "new"], 3,
                            preexec_fn=lambda: os.close(0))

    def test_a_message_that_cannot_be_told_does_not_end_the_work(self):
        failing = [[*RUN, "missing.h5", "-o", "out.h5"], ["describe", "no-such-unit"],
                   ["run", "fail", "--plugin", TROUBLE, "plain.h5", "-o", "out.h5"]]
        for words in [*self.WRITERS, *failing]:
            told, expected = self.complete(words)
            reading, writing = os.pipe()
            os.close(reading)
            with open("/dev/full", "w") as full, open(writing, "w") as unread:
                for name, options in (("full", {"stderr": full}), ("unread", {"stderr": unread}),
                                      ("closed", {"preexec_fn": lambda: os.close(2)})):
                    with self.subTest(words=words, stderr=name):
                        result, made = self.complete(words, **options)
                        self.assertEqual(result.returncode, told.returncode)
                        self.assertEqual(result.stdout, told.stdout)
                        self.assertEqual(made, expected)


class Terminal(CommandLine):
    def show(self, words):
        """What a terminal gets."""
        mine, other = pty.openpty()
        result = self.call(words, stdout=other)
        os.close(other)
        shown = b""
        with contextlib.suppress(OSError):  # the end of a terminal is an error
            while block := os.read(mine, 4096):
                shown += block
        os.close(mine)
        self.assertEqual(result.returncode, 0, result.stderr)
        return shown.decode()

    def test_a_table_does_nothing_to_it(self):
        self.write("odd.csv", 't,"X\x1b[31m\x9b31m"\n0,1\n1,2\n')
        self.assertEqual(self.call(["import", "odd.csv", "-o", "odd.h5"]).returncode, 0)
        self.assertEqual(self.show(["export", "odd.h5", "-o", "-"]),
                         "Time (s),X [31m 31m\r\n0,1\r\n1,2\r\n")
        self.assertEqual(self.call(["export", "odd.h5", "-o", "-"]).stdout,
                         "Time (s),X\x1b[31m\x9b31m\n0,1\n1,2\n")


class OddNames(CommandLine):
    NAMES = ["with blank", "a=b", "a::b", "Größe", "-x", "[1]", "a'b\"", "new\nline", "*",
             "l" * 247, "\udcff"]

    def test_every_command_takes_odd_names(self):
        expected = None
        for name in self.NAMES:
            stem = f"./{name}"
            chain = [["import", "walk.csv", "-o", stem + ".h5"],
                     [*RUN, stem + ".h5", "--in-place"],
                     ["recipe", "run", "recipe.yaml", stem + ".h5", "--in-place"],
                     ["recipe", "check", "recipe.yaml", stem + ".h5"],
                     ["import", stem + ".h5::Signals", "-o", "mapped.h5", "--force",
                      "--time-axis", "-1", "--rate", "10"],
                     ["tree", stem + ".h5::Signals"],
                     ["attributes", stem + ".h5::Signals/X", "Trial=1", "--in-place"],
                     ["history", stem + ".h5"],
                     ["recipe", "extract", stem + ".h5", "-o", stem + ".y"],
                     ["export", stem + ".h5::Signals/X", "-o", stem + ".c"],
                     ["plot", stem + ".h5", "-o", "picture.svg", "--force"]]
            with self.subTest(name=name):
                for words in chain:
                    result = self.call(words)
                    self.assertEqual(result.returncode, 0, f"{words} {result.stderr}")
                made = (self.folder / f"{name}.c").read_bytes()
                expected = expected or made
                self.assertEqual(made, expected)


class OddWords(CommandLine):
    def test_a_stray_word_is_told_from_a_file(self):
        hint = "hint: a parameter is Key=Value, as in talvora-host describe apply-set-rectify"
        for words in (["Foo"], ["CutOff-Frequency=3"], ["SourceGroup:Signals"]):
            for output in (["-o", "out.h5"], ["--out-dir", "."], ["--in-place"]):
                self.expect_failure([*RUN, "walk.h5", *words, *output], 2,
                                    f"'{words[0]}' was taken for a file, and there is none", hint)
        self.expect_failure(["recipe", "run", "recipe.yaml", "walk.h5", "group=Signals",
                             "--in-place"], 2, "'group=Signals' was taken for a file",
                            "hint: a variable is set by --set NAME=VALUE")

    def test_what_a_unit_did_not_find_is_told_with_what_is_near(self):
        for word, near in (("SourceGroup=signals", "nearest: Signals"),
                           ("SourceSets=Signals/x", "nearest: Signals/X"),
                           ("SourceGroup=Imu", "list them: talvora-host tree walk.h5")):
            result = self.expect_failure(["run", "apply-set-rectify", word, "walk.h5", "-o", "o.h5"],
                                         3, word.split("=")[1], near)
            self.assertIsNotNone(result)

    def test_a_list_is_given_by_repeating_its_key(self):
        self.expect_failure(["run", "apply-set-rectify", "SourceSets=Signals/X,Signals/Y",
                             "walk.h5", "-o", "out.h5"], 3,
                            "hint: repeat the key for each name: SourceSets=Signals/X "
                            "SourceSets=Signals/Y")

    def test_a_unit_is_found_by_a_part_of_its_name(self):
        for part, unit in (("butterworth", "apply-set-butterworth"),
                           ("Rectify", "apply-set-rectify"), ("fill-gap", "apply-set-fill-gap")):
            self.expect_failure(["describe", part], 2, f"no unit '{part}'",
                                f"did you mean '{unit}'?")

    def test_units_begin_with_the_current_ones(self):
        lines = self.call(["units"]).stdout.splitlines()
        legacy = ["legacy identifier of" in line for line in lines]
        self.assertEqual(legacy, sorted(legacy))
        self.assertEqual(sum(legacy), 6)

    def test_a_plugin_may_be_named_by_its_folder(self):
        for words in (["units"], ["describe", "apply-set-rectify"]):
            by_folder = self.call(words, environment={"TALVORA_PLUGIN_PATH": str(self.programs)})
            self.assertEqual(by_folder.returncode, 0, by_folder.stderr)
            self.assertEqual(by_folder.stdout, self.call(words).stdout)
        plugins = self.folder / "plugins"
        plugins.mkdir()
        for words in (["units", "--plugin", "plugins"], ["validate", "plugins"]):
            self.expect_failure(words, 4, "plugins: a folder without a plug-in library (allowed: a "
                                "library, or a folder with one *.so in it)")
        for name in ("b.so", "a.so"):
            shutil.copy(PLUGIN, plugins / name)
        self.expect_failure(["units", "--plugin", "plugins"], 4,
                            "plugins: a folder with 2 libraries (a.so, b.so)")

    def test_refusals_that_repeat_are_counted(self):
        result = self.call(["run", "read-everywhere", "--plugin", TROUBLE, "walk.h5", "-o", "o.h5"])
        self.assertEqual(result.returncode, 1)
        lines = result.stderr.splitlines()
        self.assertEqual(len(lines), 4, result.stderr)
        self.assertEqual(lines[3], "error: walk.h5: read-everywhere: 197 more requests were refused")

    def test_one_sample_is_singular(self):
        self.write("one.csv", "X\n1\n")
        self.assertEqual(self.call(["import", "one.csv", "-o", "one.h5", "--rate", "10"]).stdout,
                         "one.h5: Signals/X (1 sample at 10 Hz)\n")


class CommaLocale(CommandLine):
    def test_results_are_the_same(self):
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8",
                               self.folder / "de_DE.UTF-8"], stderr=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL) if shutil.which("localedef") else None
        if made is None or not (self.folder / "de_DE.UTF-8").exists():
            self.skipTest("no localedef, or no source of the locale de_DE")
        german = {"LOCPATH": str(self.folder), "LC_ALL": "de_DE.UTF-8",
                  "ASAN_OPTIONS": "detect_leaks=0"}
        for words in (*PRINTERS, ["import", "walk.csv", "-o", "out.h5", "-n", "--rate", "2.5", "--time", ""]):
            with self.subTest(words=words):
                plain = self.call(words)
                self.assertEqual(plain.returncode, 0, plain.stderr)
                other = self.call(words, environment=german)
                self.assertEqual((other.returncode, other.stdout, other.stderr),
                                 (0, plain.stdout, plain.stderr))


class Killed(CommandLine):
    """Ended at random moments, a command leaves the old file or the new one."""

    SIGNALS = [signal.SIGINT, signal.SIGTERM, signal.SIGKILL]

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        rows = "".join(f"{i},{i % 7},{-i}\n" for i in range(5000))
        cls.write("old.csv", "t,X,Y\n" + rows)
        cls.write("new.csv", "t,X,Z\n" + rows)
        for name in ("one.h5", "two.h5"):
            assert cls.call(["import", "old.csv", "-o", name]).returncode == 0
        cls.commands = [[*RUN, "one.h5", "--in-place"],
                        ["recipe", "run", "recipe.yaml", "one.h5", "two.h5", "--in-place",
                         "--jobs", "2"],
                        ["import", "new.csv", "-o", "one.h5", "--force"]]
        cls.old = cls.targets()

    @classmethod
    def targets(cls):
        return {name: (cls.folder / name).read_bytes() for name in ("one.h5", "two.h5")}

    def restore(self):
        for name, content in self.old.items():
            if (self.folder / name).read_bytes() != content:
                self.write(name, content)

    def left_overs(self):
        return {name for name in os.listdir(self.folder) if name.endswith(LEFT_OVERS)}

    def wait_for_the_dead(self, group):
        """A worker ends with its parent, a moment later, and may make a file in that moment."""
        deadline = time.monotonic() + 20
        while is_alive(group):
            self.assertLess(time.monotonic(), deadline, "a worker outlives its parent")
            time.sleep(0.002)

    def complete(self, words):
        begin = time.monotonic()
        self.assertEqual(self.call(words).returncode, 0)
        duration = time.monotonic() - begin
        return self.targets(), duration

    def end_early(self, words, after, number):
        process = subprocess.Popen([self.host, *words], cwd=self.folder,
                                   env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000"},
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   start_new_session=True)
        time.sleep(after)
        process.send_signal(number)
        code = process.wait(timeout=60)
        self.wait_for_the_dead(process.pid)
        return code

    def watch_threads(self, words):
        """What the threads beside the first hold back, as soon as there is one."""
        process = subprocess.Popen([self.host, *words], cwd=self.folder, start_new_session=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        found = []
        while not found and process.poll() is None:
            for member in processes_of(process.pid):
                found += held_back_by_threads(member)
        process.terminate()
        process.wait()
        self.wait_for_the_dead(process.pid)
        (self.folder / "out.h5").unlink(missing_ok=True)
        return found

    def test_only_the_first_thread_takes_signals(self):
        """Another one would clean up while the first is making a file."""
        interrupting = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE}
        self.restore()
        shutil.copy(self.folder / "one.h5", self.folder / "long.h5")
        os.truncate(self.folder / "long.h5", 256 << 20)  # long to hash
        tries = (self.watch_threads([*RUN, "long.h5", "-o", "out.h5"]) for _ in range(10))
        found = next((masks for masks in tries if masks), None)
        self.assertTrue(found, "the thread that hashes has not been seen")
        for held_back in found:
            self.assertLessEqual(interrupting, held_back)

    def test_no_moment_leaves_a_mix(self):
        print(f"\nTALVORA_SEED={SEED} repeats the moments", flush=True)
        swept_count = 0
        moments = random.Random(SEED)
        for words in self.commands:
            self.restore()
            new, duration = self.complete(words)
            self.assertNotEqual(new, self.old)
            for _ in range(-(-KILL_COUNT // len(self.commands))):
                self.restore()
                number = moments.choice(self.SIGNALS)
                after = moments.uniform(0, 1.1 * duration)
                code = self.end_early(words, after, number)
                with self.subTest(words=words, signal=number, after=after):
                    self.assertIn(code, (0, -number, 128 + number))
                    for name, content in self.targets().items():
                        self.assertTrue(content in (self.old[name], new[name]), name)
                    if code == 128 + number:
                        self.assertFalse(self.left_overs())
                    if self.left_overs():
                        swept_count += 1
                        self.complete(words)
                        self.assertFalse(self.left_overs(), "the next start sweeps")
        print(f"{swept_count} left-overs were swept", flush=True)


if __name__ == "__main__":
    HOST, PLUGIN, TROUBLE = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
