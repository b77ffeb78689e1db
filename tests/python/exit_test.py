"""The interpreter ends while daemon threads are in calls."""

import subprocess
import sys
import unittest

# The thread is in a function that the library calls when the interpreter begins to end, and comes
# back from there while it ends.
IN_A_RUN = """
import threading, time
import numpy as np, talvora, talvora._runs

is_in_it = threading.Event()

@talvora._library.callback("talvora_should_stop", error=1)
def wait(context):
    is_in_it.set()
    time.sleep(0.3)
    return 0

talvora._runs.choose_stop = wait
signals = {"Imu/A": talvora.Signal(np.zeros((3, 1, 50), np.float32), rate=100)}

def work():
    while True:
        talvora.run("apply-set-rectify", signals, SourceGroup="Imu")

class SlowEnd:
    def __del__(self, sleep=time.sleep):
        sleep(0.6)

threading.slow_end = SlowEnd()
threading.Thread(target=work, daemon=True).start()
is_in_it.wait()
"""

# A child without the thread that is in a run has nothing to wait for.
FORKED_IN_A_RUN = IN_A_RUN + """
import os, sys
child = os.fork()
if child == 0:
    sys.exit(0)
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
"""

# What is done last may call, too.
LAST_WORDS = """
import atexit

def speak():
    print(*sorted(talvora.run("apply-set-rectify", signals, SourceGroup="Imu")))

atexit.register(speak)
import numpy as np, talvora
signals = {"Imu/A": talvora.Signal(-np.ones((3, 1, 50), np.float32), rate=100)}
"""


def run_python(text):
    done = subprocess.run([sys.executable, "-c", text], text=True, capture_output=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


class EndsWithCallsUnderWay(unittest.TestCase):
    def test_a_daemon_thread_comes_out_of_its_call(self):
        self.assertEqual(run_python(IN_A_RUN), (0, "", ""))

    def test_a_forked_process_waits_for_no_thread_of_its_parent(self):
        self.assertEqual(run_python(FORKED_IN_A_RUN), (0, "", ""))

    def test_the_last_functions_call_as_ever(self):
        self.assertEqual(run_python(LAST_WORDS), (0, "Imu/A\n", ""))


unittest.main()
