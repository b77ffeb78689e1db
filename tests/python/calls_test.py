"""While a call works: other threads run, Ctrl-C ends it, memory stays what was promised."""

import ctypes
import json
import os
import signal as signals
import subprocess
import sys
import threading
import unittest
import unittest.mock

import numpy as np
from scipy import signal

import talvora

B, A = signal.butter(4, 0.1)
MIB = 1 << 20

# Fills `out` from its first line to its last; how far that has come tells when it is at work.
LONG_CALL = """
import os, signal, sys, threading
import numpy as np, scipy.signal, talvora
b, a = scipy.signal.butter(4, 0.1)
x = np.broadcast_to(np.random.default_rng(3).standard_normal(20_000), (1500, 20_000))
out = np.zeros(x.shape)

def interrupt():
    while out[0, 1] == 0:
        pass
    os.kill(os.getpid(), signal.SIGINT)

threading.Thread(target=interrupt, daemon=True).start()
try:
    talvora.filtfilt(b, a, x, workers=WORKERS, out=out)
except KeyboardInterrupt:
    sys.exit(0 if (out[:, 1] == 0).any() else "all of it was done first")
sys.exit("not interrupted")
"""

# The backward pass fills `out` from its last sample to its first.
LONG_LINE = """
import os, signal, sys, threading
import numpy as np, scipy.signal, talvora
x = np.random.default_rng(3).standard_normal(3_000_000)
out = np.zeros(x.shape)

def interrupt():
    while out[-2] == 0:
        pass
    os.kill(os.getpid(), signal.SIGINT)

threading.Thread(target=interrupt, daemon=True).start()
try:
    talvora.filtfilt(scipy.signal.firwin(301, 0.1), [1.0], x, out=out)
except KeyboardInterrupt:
    sys.exit(0 if out[1] == 0 else "all of it was done first")
sys.exit("not interrupted")
"""

# Counts how often a run asks whether it is to stop, which it does whenever samples are read or
# written.
LONG_RUN = """
import gc, os, signal, sys
import numpy as np, talvora, talvora._runs
asked = 0
interrupted_at = None

@talvora._library.callback("talvora_should_stop", error=1)
def count(context):
    global asked
    asked += 1
    if asked == interrupted_at:
        os.kill(os.getpid(), signal.SIGINT)
    return 0

talvora._runs.choose_stop = count
samples = [np.random.default_rng(i).standard_normal((3, 1, 500), np.float32) for i in range(300)]
before = [array.copy() for array in samples]
held = [sys.getrefcount(array) for array in samples]
signals = {f"Imu/{i:03}": talvora.Signal(array, rate=100) for i, array in enumerate(samples)}
work = ("apply-set-butterworth", signals)
choices = {"SourceGroup": "Imu", "CutoffFrequency": 5, "Order": 4}
whole = talvora.run(*work, **choices)
in_all, asked, interrupted_at = asked, 0, 20
try:
    talvora.run(*work, **choices)
    sys.exit("not interrupted")
except KeyboardInterrupt:
    if asked >= in_all:
        sys.exit("all of it was done first")
again = talvora.run(*work, **choices)
assert all(np.array_equal(again[path].samples, whole[path].samples) for path in signals)
assert all(map(np.array_equal, samples, before))
del signals, work, whole, again
gc.collect()
assert [sys.getrefcount(array) for array in samples] == held
"""

# What a call takes at most beyond what was there before.
PEAK = """
import json, resource, sys
import numpy as np, scipy.signal, talvora
b, a = scipy.signal.butter(4, 0.1)
make, axis, workers = json.loads(sys.argv[1])
x = eval(make)
talvora.filtfilt(b, a, np.zeros((2 * workers, 200), x.dtype), workers=workers)
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
y = talvora.filtfilt(b, a, x, axis, workers=workers)
after = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
print(1024 * (after - before) - y.nbytes)
"""


class Sender:
    """Sends a signal to this thread by `[number]`: after a call Python would handle it at once."""

    __getitem__ = ctypes.CDLL(None)["raise"]


SENDER = Sender()


def run_python(text, *arguments):
    return subprocess.run([sys.executable, "-c", text, *arguments], text=True, capture_output=True)


class IsOfUseWhileItWorks(unittest.TestCase):
    def test_ctrl_c_ends_a_call(self):
        for workers in ("1", "2"):
            with self.subTest(workers=workers):
                done = run_python(LONG_CALL.replace("WORKERS", workers))
                self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_ctrl_c_ends_a_call_within_a_long_line(self):
        done = run_python(LONG_LINE)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_ctrl_c_ends_a_run(self):
        done = run_python(LONG_RUN)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_an_exception_of_a_signal_handler_comes_out(self):
        class Alarm(Exception):
            pass

        def handle(number, frame):
            raise Alarm

        out = np.zeros((1500, 20_000))

        def alarm():
            while out[0, 1] == 0:
                pass
            os.kill(os.getpid(), signals.SIGUSR1)

        before = signals.signal(signals.SIGUSR1, handle)
        threading.Thread(target=alarm, daemon=True).start()
        x = np.broadcast_to(np.random.default_rng(3).standard_normal(20_000), out.shape)
        with self.assertRaises(Alarm):
            talvora.filtfilt(B, A, x, out=out)
        signals.signal(signals.SIGUSR1, before)

    def test_an_exception_comes_out_when_the_next_signal_is_there_already(self):
        class Alarm(Exception):
            pass

        def handle(number, frame):
            handled.append(number)
            if len(handled) == 1:
                SENDER[number]
            raise Alarm

        @talvora._library.callback("talvora_should_stop", error=1)
        def ask(context):
            os.kill(os.getpid(), signals.SIGUSR1)
            return 0

        handled = []
        before = signals.signal(signals.SIGUSR1, handle)
        with unittest.mock.patch("talvora._filters.choose_stop", ask):
            with self.assertRaises(Alarm):
                talvora.filtfilt(B, A, np.ones((100, 1000)))
        signals.signal(signals.SIGUSR1, before)
        self.assertEqual(len(handled), 2)

    def test_an_exception_comes_out_of_its_own_call_alone(self):
        class Alarm(Exception):
            pass

        def handle(number, frame):
            raise Alarm

        @talvora._library.callback("talvora_should_stop", error=1)
        def fail(context):
            error = KeyError("first")
            SENDER[signals.SIGUSR1]
            raise error

        before = signals.signal(signals.SIGUSR1, handle)
        with unittest.mock.patch("talvora._filters.choose_stop", fail):
            with self.assertRaises(Alarm):
                talvora.filtfilt(B, A, np.ones((100, 1000)))
        signals.signal(signals.SIGUSR1, before)
        np.testing.assert_array_equal(talvora.fill_gaps([1.0, 2.0]), [1, 2])

    def test_a_call_within_a_call_has_its_own_exceptions(self):
        @talvora._library.callback("talvora_should_stop", error=1)
        def fail_within(context):
            talvora.fill_gaps([1.0, np.nan, 3.0])
            raise KeyError("outer")

        with unittest.mock.patch("talvora._runs.choose_stop", fail_within):
            with self.assertRaisesRegex(KeyError, "outer"):
                talvora.run("apply-set-rectify", {"A": talvora.Signal([1.0], rate=1)},
                            SourceSets=["A"])

    def test_other_threads_run(self):
        out = np.zeros((1500, 20_000))
        seen = []

        def watch():
            while out[0, 1] == 0:
                pass
            seen.append(int((out[:, 1] != 0).sum()))

        thread = threading.Thread(target=watch)
        thread.start()
        x = np.broadcast_to(np.random.default_rng(3).standard_normal(20_000), out.shape)
        talvora.filtfilt(B, A, x, out=out)
        thread.join()
        self.assertLess(seen[0], 1500)

    def test_threads_call_side_by_side(self):
        x = np.random.default_rng(4).standard_normal((8, 20_000))
        expected = talvora.filtfilt(B, A, x)
        results = [None] * 4

        def work(i):
            for _ in range(5):
                results[i] = talvora.filtfilt(B, A, x)

        threads = [threading.Thread(target=work, args=(i,)) for i in range(len(results))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for result in results:
            np.testing.assert_array_equal(result, expected)

    def test_memory_beyond_the_result_is_bounded(self):
        made = "np.random.default_rng(5).standard_normal((200, 40_000))"
        for make, axis, workers in ((made, -1, 1), (made, -1, 2), (made + ".T", 0, 1),
                                    (made + ".reshape(40_000, 200)", 0, 1),
                                    (made[:-1] + ", dtype=np.float32)", -1, 1),
                                    (made + "[:, ::2]", -1, 1), (made + "[::-1]", -1, 1)):
            with self.subTest(make=make, axis=axis, workers=workers):
                done = run_python(PEAK, json.dumps([make, axis, workers]))
                self.assertEqual(done.stderr, "")
                self.assertLess(int(done.stdout), workers * 5 * MIB)


unittest.main()
