"""Loads the library at run time: the installed library, and a plugin that contains it.

CMAKE, CC: programs. BUILD: a build of the library. PLUGIN: plugin.cpp, built.
"""
import glob
import os
import re
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
ENVIRONMENT = {"PATH": os.environ["PATH"], "TZ": "UTC", "LC_ALL": "C"}

# Loads the library, uses it in this thread and in others, and unloads it.
PYTHON = """
import _ctypes, ctypes, os, sys, threading

library = ctypes.CDLL(sys.argv[1])
to_time = library._ZN9DateUtils9strToTimeEPKcS1_
to_time.restype = ctypes.c_int32
from_date = library._ZN7StrConv8fromDateERKiPwPKw
from_date.restype = ctypes.c_bool
results = []


def convert():
    time = ctypes.c_int32(to_time(b"%Y%m%d%H%M", b"202401310835"))
    text = ctypes.create_unicode_buffer(12)
    assert from_date(ctypes.byref(time), text, ctypes.c_wchar_p("%Y%m%d%H%M"))
    results.append((time.value, text.value))


convert()
threads = [threading.Thread(target=convert) for _ in range(8)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
_ctypes.dlclose(library._handle)
assert results == [(1706690100, "202401310835")] * 9, results
try:
    ctypes.CDLL(sys.argv[1], mode=os.RTLD_NOLOAD)
except OSError:
    print("unloaded")
"""


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, env=ENVIRONMENT, **options)


class Loading(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        prefix = os.path.join(folder.name, "installed here")
        for command in ([os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", prefix, "--component", "runtime"],
                        [os.environ["CC"], "-std=c99", "-Wall", "-Werror", os.path.join(HERE, "host.c"), "-pthread", "-ldl",
                         "-o", os.path.join(folder.name, "host")]):
            done = run(*command)
            if done.returncode:
                raise RuntimeError(done.stdout + done.stderr)
        cls.host = os.path.join(folder.name, "host")
        cls.library, = glob.glob(os.path.join(glob.escape(prefix), "**", "libTramoStream.so.1"), recursive=True)
        cls.loaded = {"library": (cls.library, "_ZN9DateUtils9strToTimeEPKcS1_"), "plugin": (os.environ["PLUGIN"], "pluginDate")}

    def host_runs(self, scenario, *said):
        for name, (path, function) in self.loaded.items():
            with self.subTest(name):
                done = run(self.host, scenario, path, function)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertEqual([re.sub(r"-?\d+", "N", line) for line in done.stdout.splitlines()], list(said))

    def test_a_program_loads_uses_and_unloads_it(self):
        self.host_runs("here", "unloaded")

    def test_a_thread_uses_it(self):
        self.host_runs("inAThread", "unloaded")

    def test_a_thread_that_used_it_ends_after_it_is_unloaded(self):
        self.host_runs("threadOutlivesTheLibrary", "unloaded")

    def test_a_thread_that_used_it_ends_while_it_is_unloaded(self):
        self.host_runs("threadLeavesMeanwhile", "unloaded")

    def test_loading_it_repeatedly_does_not_leak(self):
        self.host_runs("againAndAgain", "grown by N KB", "unloaded")

    def test_threads_free_their_memory(self):
        self.host_runs("manyThreads", "grown by N KB", "unloaded")

    def test_a_host_without_free_keys_for_threads(self):
        self.host_runs("withoutKeys", "unloaded")

    def test_threads_with_small_stacks(self):
        self.host_runs("onSmallStacks", "unloaded")

    def test_the_program_ends_while_a_thread_uses_it(self):
        for _ in range(20):
            self.host_runs("endsWhileAThreadWorks")

    def test_python_loads_uses_and_unloads_it(self):
        done = run(sys.executable, "-B", "-c", PYTHON, self.library)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "unloaded\n", ""))

    def test_it_asks_for_no_static_thread_data(self):
        for path, _ in self.loaded.values():
            shown = run("readelf", "-lW", "-dW", path).stdout
            self.assertIn("Dynamic section", shown)
            self.assertNotIn("STATIC_TLS", shown)
            for size in re.findall(r"^ *TLS +(?:0x[0-9a-f]+ +){4}0x([0-9a-f]+)", shown, re.M):
                self.assertLessEqual(int(size, 16), 64)


if __name__ == "__main__":
    unittest.main()
