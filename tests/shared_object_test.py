"""Checks what a service's loader sees of the plug-in.

Usage: shared_object_test.py PLUGIN PLATFORM_LIBRARY...
"""
import re
import subprocess
import sys
import unittest

PLUGIN, *PLATFORM = sys.argv[1:]

# What the library may use of C and C++. Nothing for exceptions or RTTI.
RUNTIME = {
    "bcmp", "calloc", "free", "malloc", "memcmp", "memcpy", "memset", "snprintf", "strcmp", "strlen",
    "pthread_mutex_destroy", "pthread_mutex_init", "pthread_mutex_lock", "pthread_mutex_unlock",
    "_ZSt7nothrow", "_ZnwmRKSt9nothrow_t", "_ZnwjRKSt9nothrow_t",  # new (std::nothrow)
    "_ZdlPvm", "_ZdlPvj", "_ZdlPv",  # delete
    "__cxa_pure_virtual", "__cxa_finalize", "__gmon_start__",
    "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable",
    "__aeabi_ldivmod", "__aeabi_uldivmod",  # 32-bit Arm divides 64-bit numbers by calls
    "__stack_chk_fail", "__stack_chk_guard",  # -fstack-protector, as in device images
    "__getauxval",  # 64-bit Arm chooses atomic instructions at run time
}
NEEDED = {"libc.so.6", "libstdc++.so.6"}  # and the platform's
NEEDED_BY_MACHINE = {"ARM": {"libgcc_s.so.1"}}  # the division calls
PAGE_BY_MACHINE = {"AArch64": 16 * 1024}  # the largest page of a device


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(path, which):
    names = (line.split()[-1] for line in output("nm", "-D", which, path).splitlines())
    return {name.split("@")[0] for name in names}


def dynamic_names(path, key):
    """The NEEDED or SONAME entries that begin with "lib"."""
    return set(re.findall(rf"\({key}\).*\[(lib.*)\]", output("readelf", "-dW", path)))


def machine():
    return re.search(r"Machine:\s+(.*)", output("readelf", "-hW", PLUGIN)).group(1)


class SharedObject(unittest.TestCase):
    def test_exports_the_entry_alone(self):
        self.assertEqual(symbols(PLUGIN, "--defined-only"), {"GETEXTRACTORDEF"})

    def test_asks_only_for_what_is_there(self):
        platform = set().union(*(symbols(path, "--defined-only") for path in PLATFORM))
        self.assertEqual(symbols(PLUGIN, "--undefined-only") - platform - RUNTIME, set())

    def test_needs_exactly_its_libraries(self):
        # dynamic_names leaves out the loader, which has the stack protector's guard.
        platform = set().union(*(dynamic_names(path, "SONAME") for path in PLATFORM))
        self.assertEqual(dynamic_names(PLUGIN, "NEEDED"),
                         platform | NEEDED | NEEDED_BY_MACHINE.get(machine(), set()))

    def test_relocations_are_done_and_sealed_at_load(self):
        dynamic = output("readelf", "-dW", PLUGIN)
        self.assertIn("BIND_NOW", dynamic)
        self.assertNotIn("TEXTREL", dynamic)
        self.assertIn("GNU_RELRO", output("readelf", "-lW", PLUGIN))

    def test_segments_fit_the_largest_page(self):
        loads = re.findall(r"LOAD.*(0x[0-9a-f]+)$", output("readelf", "-lW", PLUGIN), re.M)
        self.assertGreaterEqual(len(loads), 2)
        for alignment in loads:
            self.assertGreaterEqual(int(alignment, 16), PAGE_BY_MACHINE.get(machine(), 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
