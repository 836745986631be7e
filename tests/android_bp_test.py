"""Holds the source lists of Android.bp equal to those that CMake compiles.

Usage: android_bp_test.py SOURCE_FOLDER COMPILE_COMMANDS
"""
import json
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv[1])
COMMANDS = json.loads(pathlib.Path(sys.argv[2]).read_text())

# Modules and the CMake targets that hold the same sources. A target that the build at hand leaves
# out, and what is optional, is not compared.
FRONT_END = {"kelflac_frontend", "kelflac_plugin"}
MODULES = {
    "libkelflacfd": {"kelflac_demuxer"},
    "libkelflacextractor": FRONT_END,
    "libkelflacextractor_host": FRONT_END,
    "libkelflac_platform_host": {"platform_log", "extmediaformatdef", "platform_media"},
    "libkelflac_kit_host": {"kelflac_host", "kelflac_streams"},
    "kelflac_tests": {"kelflac_tests", "kelflac_codec"} | FRONT_END,
    "kelflac_bench": {"kelflac_bench", "kelflac_codec"} | FRONT_END,
    "kelflac_plugin_fuzz": {"plugin_fuzz"} | FRONT_END,
    "kelflac_demuxer_fuzz": {"demuxer_fuzz"} | FRONT_END,
    "kelflac_tags_fuzz": {"tags_fuzz"} | FRONT_END,
}
OPTIONAL = {"bench/peer_bench.cpp"}


def read_modules():
    """The name of each module of Android.bp, with the lists of strings among its properties."""
    modules = {}
    text = (ROOT / "Android.bp").read_text()
    for body in re.findall(r"^\w+ \{\n(.*?)^\}", text, re.M | re.S):
        lists = re.findall(r"^    (\w+): \[(.*?)\]", body, re.M | re.S)
        name = re.search(r'^    name: "(.*)"', body, re.M)
        if name:
            modules[name[1]] = {key: re.findall(r'"(.*?)"', value) for key, value in lists}
    return modules


def sources_of(modules, name):
    found = set()
    for pattern in modules[name].get("srcs", []):
        found |= {str(path.relative_to(ROOT)) for path in ROOT.glob(pattern)} or {pattern}
    for defaults in modules[name].get("defaults", []):
        found |= sources_of(modules, defaults)
    return found


def sources_by_target():
    targets = {}
    for entry in COMMANDS:
        path = pathlib.Path(entry["file"])
        target = re.search(r"CMakeFiles/(\w+)\.dir/", entry["command"])[1]
        if path.is_relative_to(ROOT):
            targets.setdefault(target, set()).add(str(path.relative_to(ROOT)))
    return targets


class AndroidBp(unittest.TestCase):
    def test_modules_have_the_sources_of_cmake(self):
        modules, targets = read_modules(), sources_by_target()
        compared = {name for name, wanted in MODULES.items() if wanted <= targets.keys()}
        self.assertLessEqual({"libkelflacfd", "libkelflacextractor", "kelflac_tests"}, compared)
        for name in compared:
            wanted = set().union(*(targets[target] for target in MODULES[name])) - OPTIONAL
            self.assertEqual(sources_of(modules, name), wanted, name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
