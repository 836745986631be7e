"""Compares Soong's compile commands with CMake's, compiles each source with Soong's, and checks
TEST_MAPPING.

Usage: check_rules.py TREE SOONG_COMMANDS CMAKE_COMMANDS

TREE is the source tree for Soong. Its folder `kelflac` is the project. The other two are
compilation databases.
"""
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

TREE, SOONG, CMAKE = pathlib.Path(sys.argv[1]), *(json.load(open(path)) for path in sys.argv[2:])
ROOT = pathlib.Path(__file__).resolve().parents[2]

DEVICE, HOST = {"arm64", "arm"}, {"x86_64"}
TARGETS = {
    "arm64": "aarch64-linux-gnu",
    "arm": "arm-linux-gnueabihf",
    "x86_64": "x86_64-linux-gnu",
}
# Modules: what they are built for, and the CMake targets with the same sources.
FRONT_END = ["kelflac_frontend", "kelflac_plugin"]
MODULES = {
    "libkelflacfd": (DEVICE | HOST, ["kelflac_demuxer"]),
    "libkelflacfd_log_none": (DEVICE | HOST, ["kelflacfd"]),
    "libkelflacextractor": (DEVICE, FRONT_END),
    "libkelflac_frontend_host": (HOST, FRONT_END),
    "libkelflac_platform_host": (HOST, ["platform_log", "extmediaformatdef", "platform_media"]),
    "libkelflac_kit": (DEVICE | HOST, ["kelflac_host", "kelflac_streams"]),
    "kelflac_tests": (HOST, ["kelflac_tests", "kelflac_codec"]),
    "kelflac_device_tests": (DEVICE, ["kelflac_tests"]),
    "kelflac_bench": (HOST, ["kelflac_bench", "kelflac_codec"]),
    "kelflac_plugin_fuzz": (HOST, ["plugin_fuzz"]),
    "kelflac_demuxer_fuzz": (DEVICE | HOST, ["demuxer_fuzz"]),
    "kelflac_tags_fuzz": (DEVICE | HOST, ["tags_fuzz"]),
}
# What a module may leave out: a source that CMake may leave out too, and for devices any test.
OPTIONAL = {"kelflac_bench": r"bench/peer_bench\.cpp", "kelflac_device_tests": r"tests/.*"}

# Arguments that are dropped for Debian's compiler: output, dependencies, colours, paths of a
# device's compiler, headers and ignore lists, the float ABI, GoogleTest's settings, and one that
# clang 14 doesn't have.
LEFT_OUT = re.compile(
    r"-c|-MD|-B.*|--gcc-toolchain=.*|-nostdlibinc|-nostdinc\+\+|"
    r"-fsanitize-blacklist=build/soong/.*|"
    r"-msoft-float|-mfloat-abi=softfp|-DGTEST_OS_.*|-f(no-)?experimental-new-pass-manager|"
    r"-fcolor-diagnostics|-fdiagnostics-color")
LEFT_OUT_WITH_VALUE = {"-target", "--sysroot", "-MF", "-o"}
HEADERS = ["-isystem/usr/src/googletest/googletest/include",
           "-isystem/usr/src/googletest/googlemock/include"]


def sanitizers(arguments):
    """The checks that a command turns on, without the fuzzers'."""
    lists = [flag.split("=")[1].split(",") for flag in arguments if flag.startswith("-fsanitize=")]
    return {check for checks in lists for check in checks if not check.startswith("fuzzer")}


def soong_commands():
    """(module, architecture, source, arguments) of each object of the project."""
    for entry in SOONG:
        place = re.match(r"out/\.intermediates/kelflac/(\w+)/[a-z_]+?_(arm64|arm|x86_64|x86)(_.*)?/"
                         r"obj/.*\.o$", entry["output"])
        if place:
            source = entry["file"].removeprefix("kelflac/")
            yield place[1], place[2], source, shlex.split(entry["command"])


def cmake_targets():
    """The sources of each target, and their checks."""
    targets = collections.defaultdict(dict)
    for entry in CMAKE:
        path = pathlib.Path(entry["file"])
        if path.is_relative_to(ROOT):
            target = re.search(r"CMakeFiles/(\w+)\.dir/", entry["command"])
            checks = sanitizers(shlex.split(entry["command"]))
            targets[target[1]][str(path.relative_to(ROOT))] = checks
    if not any(targets["kelflac_demuxer"].values()):
        sys.exit("CMake builds the library for devices without checks")
    return targets


def faults_of_sources(module, architecture, built, wanted):
    for source in sorted(built.keys() - wanted.keys()):
        yield f"{module}, {architecture}: {source} is not in CMake's targets"
    for source in sorted(wanted.keys() - built.keys()):
        if not built or not re.fullmatch(OPTIONAL.get(module, ""), source):
            yield f"{module}, {architecture}: {source} is missing in Android.bp"
    for source in sorted(wanted.keys() & built.keys()):
        for check in sorted(wanted[source] ^ built[source]):
            only_in = "CMake" if check in wanted[source] else "Android.bp"
            yield f"{module}, {architecture}: {source}: only {only_in} has the check {check}"


def faults_of_modules(commands):
    targets = cmake_targets()
    found = collections.defaultdict(lambda: collections.defaultdict(dict))
    for module, architecture, source, arguments in commands:
        found[module][architecture][source] = sanitizers(arguments)
    for module in sorted(found.keys() - MODULES.keys()):
        yield f"{module}: check_rules.py does not know which targets of CMake have its sources"
    for module, (architectures, parts) in MODULES.items():
        wanted = {source: checks for part in parts for source, checks in targets[part].items()}
        for architecture in sorted(architectures):
            built = found[module][architecture]
            yield from faults_of_sources(module, architecture, built, wanted)
        for architecture in sorted(found[module].keys() - architectures):
            yield f"{module}: is built for {architecture} too"


def faults_of_test_mapping():
    groups = json.loads((ROOT / "TEST_MAPPING").read_text()).values()
    named = {test["name"]: test.get("host", False) for group in groups for test in group}
    tests = {name: where == HOST for name, (where, _) in MODULES.items() if name.endswith("_tests")}
    for name in sorted(named.keys() | tests.keys()):
        if named.get(name) != tests.get(name):
            yield f"TEST_MAPPING: {name} is missing, is no test, or has a wrong 'host'"


def fault_of_source(command):
    """What Debian's compiler reports for the source of a command."""
    module, architecture, source, arguments = command
    flags = iter(arguments[2:])  # after PWD=... and the compiler
    kept = []
    for flag in flags:
        if flag in LEFT_OUT_WITH_VALUE:
            next(flags)
        elif not LEFT_OUT.fullmatch(flag):
            kept.append(flag)
    compiler = ["clang++-14", "--target=" + TARGETS[architecture], "-fsyntax-only", *HEADERS]
    run = subprocess.run(compiler + kept, cwd=TREE, stderr=subprocess.PIPE, text=True)
    if run.returncode == 0 and not run.stderr:
        return ""
    return f"{module}, {architecture}: {source} does not compile:\n{run.stderr}"


def main():
    commands = sorted(soong_commands())
    faults = [*faults_of_modules(commands), *faults_of_test_mapping()]
    if not faults:
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            faults = [text for text in pool.map(fault_of_source, commands) if text]
    if faults:
        sys.exit("\n".join(faults))
    for architecture, target in TARGETS.items():
        built = [command for command in commands if command[1] == architecture]
        modules, sources = ({command[part] for command in built} for part in (0, 2))
        print(f"{architecture}: {len(modules)} modules, {len(sources)} sources; "
              f"{len(built)} commands pass as {target}")


if __name__ == "__main__":
    main()
