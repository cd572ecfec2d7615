"""Copies of the sources, built with mutants in them, and which tests execute which lines."""

import contextlib
import filecmp
import functools
import hashlib
import json
import os
import resource
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

JOBS = os.cpu_count()
LEAST_SECONDS = 20  # of the processor, before a test takes too long
STUCK_SECONDS = 1800  # after which a test that takes none will never end


class Failure(Exception):
    """What cannot go on, with the reason."""


@dataclass
class Test:
    name: str
    command: list
    folder: str
    environment: dict
    programs: list  # that have to be built for it


def mirror(source, target):
    """Makes a folder the same as another one, times included. What is the same is not touched."""
    present = _files(target)
    for name, (size, changed) in _files(source).items():
        if present.pop(name, None) != (size, changed):
            copy = target / name
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.unlink(missing_ok=True)
            shutil.copy2(source / name, copy, follow_symlinks=False)
    for name in present:
        (target / name).unlink()


def _files(folder):
    found = {}
    for parent, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(parent, name)
            status = os.lstat(path)
            found[os.path.relpath(path, folder)] = (status.st_size, status.st_mtime_ns)
    return found


class Trees:
    """In a folder: `sources`, a copy of a repository's files; `build`, where a mutant is built and
    run; `clean`, the same build without one; and `coverage`, a build that tells which tests execute
    a line."""

    def __init__(self, repository, folder, is_wanted, options=()):
        """Of all tests those whose name and labels are wanted; options are for CMake."""
        self.repository = repository
        self.is_wanted = is_wanted
        self.options = options
        self.sources = folder / "sources"
        self.build = folder / "build"
        self.clean = folder / "clean"
        self.coverage = folder / "coverage"
        self.known = folder / "tests.json"
        self.tests = {}
        self.seen = {}

    def prepare(self, say):
        """Builds everything, and looks at every test, unless that is known from before."""
        self._copy_sources()
        coverage = "-O1 --coverage -fprofile-abs-path"
        for build, flags in (self.build, "-O2"), (self.coverage, coverage):
            say(f"building {build}")
            self._configure(build, flags)
            _run(["ninja", "-C", build])
        mirror(self.build, self.clean)
        self.tests = self._tests(self.build)
        self._look_at_tests(say)

    def _copy_sources(self):
        listed = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
        names = _answer(listed, self.repository).split("\0")
        wanted = {name for name in names if (self.repository / name).is_file()}
        for name in _files(self.sources).keys() - wanted:
            (self.sources / name).unlink()
        for name in wanted:
            source, copy = self.repository / name, self.sources / name
            if not (copy.exists() and filecmp.cmp(source, copy, shallow=False)):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)

    def _configure(self, build, flags):
        # Without lines for debuggers: code that computes the same would differ by them. Programs
        # are not linked anew with a library that they load.
        _run(["cmake", "-G", "Ninja", "-S", self.sources, "-B", build,
              "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS_RELEASE={flags}",
              "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", *self.options])

    def _tests(self, build):
        answer = json.loads(_answer(["ctest", "--show-only=json-v1"], build))
        found = {}
        for each in answer["tests"]:
            name, command = each["name"], each["command"]
            properties = {one["name"]: one["value"] for one in each["properties"]}
            programs = [part for part in command if part.startswith(f"{build}/")]
            if programs and self.is_wanted(name, properties.get("LABELS", [])):
                variables = filter(None, properties.get("ENVIRONMENT", []))
                environment = dict(variable.split("=", 1) for variable in variables)
                if name in found:  # in another folder
                    name += f" of {Path(programs[0]).name}"
                folder = properties["WORKING_DIRECTORY"]
                found[name] = Test(name, command, folder, environment, programs)
        return found

    def _look_at_tests(self, say):
        """Finds out what tests execute, where that is not known."""
        covering = self._tests(self.coverage)
        keys = self._keys(covering.values())
        known = json.loads(self.known.read_text()) if self.known.exists() else {}
        self.seen = {name: seen for name, seen in known.items() if seen["key"] == keys.get(name)}
        new = [test for name, test in covering.items() if name not in self.seen]
        with tempfile.TemporaryDirectory() as data:
            # What ends without a word, as by a failed assertion, leaves no counts: see tests_of().
            for run in finished(new, lambda test: {"GCOV_PREFIX": f"{data}/{test.name}"}):
                name = run.test.name
                say(f"looked at {name}")
                self._learn(name, {"key": keys[name], "lines": self._lines(Path(data, name))})

    def _measure(self, names):
        """Finds out how long tests take without a mutant, where that is not known."""
        new = [self.tests[name] for name in names if "seconds" not in self.seen[name]]
        for run in finished(new, lambda test: {}):
            if not run.passed:
                raise Failure(f"{run.test.name} fails without any mutant")
            self._learn(run.test.name, {"seconds": run.seconds})

    def _keys(self, tests):
        """What each test depends on."""
        digest = functools.cache(_digest)
        libraries = [digest(path) for path in sorted(self.coverage.rglob("*.so"))]
        keys = {}
        for test in tests:
            files = libraries + [digest(program) for program in test.programs]
            parts = files, test.command, sorted(test.environment.items())
            keys[test.name] = hashlib.sha256(repr(parts).encode()).hexdigest()
        return keys

    def _learn(self, name, found):
        self.seen.setdefault(name, {}).update(found)
        self.known.write_text(json.dumps(self.seen))

    def _lines(self, data):
        """By file, the lines that were executed, of which a program left the counts in a folder."""
        counts = list(data.rglob("*.gcda"))
        if not counts:
            return {}
        for path in counts:
            notes = Path("/", path.relative_to(data)).with_suffix(".gcno")
            path.with_suffix(".gcno").symlink_to(notes)
        gcov = ["gcov", "--json-format", "--stdout", "--relative-only", "--source-prefix"]
        lines = {}
        for document in _answer([*gcov, self.sources, *counts], data).splitlines():
            for file in json.loads(document)["files"]:
                path = os.path.relpath(file["file"], self.sources)
                executed = lines.setdefault(path, set())
                executed.update(line["line_number"] for line in file["lines"] if line["count"])
        return {file: sorted(executed) for file, executed in lines.items() if executed}

    def tests_of(self, file, first, last):
        """The tests that execute any of these lines. Not counted are what is computed at compile
        time, the texts of shaders, and what a failed assertion ends: then it is the tests that
        execute any line of the file. Much of a header is counted nowhere: then it is all."""
        executing = {name: seen["lines"].get(file, ()) for name, seen in self.seen.items()}
        names = [name for name, lines in executing.items()
                 if any(first <= line <= last for line in lines)]
        if not names and file.endswith(".h"):
            return list(executing)
        return names or [name for name, lines in executing.items() if lines]

    def try_mutant(self, mutant):
        """What becomes of it: "does not compile", "same code", "noticed", or "survived"; and the
        tests by which."""
        path = self.sources / mutant.file
        before, times = path.read_text(), path.stat()
        last = mutant.line + before[mutant.start : mutant.end].count("\n")
        names = self.tests_of(mutant.file, mutant.line, last)
        self._measure(names)
        names.sort(key=lambda name: self.seen[name]["seconds"])
        tests = [self.tests[name] for name in names]
        programs = sorted({program for test in tests for program in test.programs})
        try:
            path.write_text(mutant.applied_to(before))
            targets = [os.path.relpath(program, self.build) for program in programs]
            ninja = ["ninja", "-C", self.build, *targets]
            built = subprocess.run(ninja, stdout=subprocess.DEVNULL)
            if built.returncode:
                return "does not compile", []
            if not self._has_other_code():
                return "same code", []
            failed = first_failure(tests, self.seen)
            return ("noticed", [failed]) if failed else ("survived", names)
        finally:
            # In this order: a source that is still changed is built anew, whatever else went wrong.
            mirror(self.clean, self.build)
            path.write_text(before)
            os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))

    def _has_other_code(self):
        clean = _files(self.clean)
        return any(
            name.endswith(".o") and clean[name] != status
            and not filecmp.cmp(self.clean / name, self.build / name, shallow=False)
            for name, status in _files(self.build).items()
        )


class Run:
    """A test that runs, in a session of its own, so that all of it can be ended."""

    def __init__(self, test, environment, limit):
        """Ends after so many seconds of the processor, or when it is stuck."""
        self.test = test
        self.passed = None  # while it runs
        self.seconds = 0.0
        self._deadline = time.monotonic() + STUCK_SECONDS
        self._process = subprocess.Popen(
            test.command, cwd=test.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True,
            env={**os.environ, **test.environment, **environment})
        resource.prlimit(self._process.pid, resource.RLIMIT_CPU, (limit, limit))
        resource.prlimit(self._process.pid, resource.RLIMIT_CORE, (0, 0))

    def has_ended(self):
        pid, status, usage = os.wait4(self._process.pid, os.WNOHANG)
        if pid:
            self._process.returncode = os.waitstatus_to_exitcode(status)
            self.passed = status == 0
            self.seconds = usage.ru_utime + usage.ru_stime
        elif time.monotonic() > self._deadline:
            self.end()
        return self.passed is not None

    def end(self):
        if self.passed is not None:
            return
        os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()
        self.passed = False


def finished(tests, environment, limit=lambda test: resource.RLIM_INFINITY):
    """Runs tests beside each other, and gives each when it has ended."""
    waiting, running = list(tests), []
    try:
        while waiting or running:
            while waiting and len(running) < JOBS:
                test = waiting.pop(0)
                running.append(Run(test, environment(test), limit(test)))
            for run in [run for run in running if run.has_ended()]:
                running.remove(run)
                yield run
            time.sleep(0.01)
    finally:
        for run in running:
            run.end()


def first_failure(tests, seen):
    """Runs tests until one fails, and gives its name."""

    def limit(test):
        return round(max(LEAST_SECONDS, 10 * seen[test.name]["seconds"]))

    with contextlib.closing(finished(tests, lambda test: {"GTEST_FAIL_FAST": "1"}, limit)) as runs:
        return next((run.test.name for run in runs if not run.passed), None)


def _run(command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode:
        raise Failure(f"'{' '.join(map(str, command))}' failed:\n{done.stdout}")


def _answer(command, folder):
    quiet = {"stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL, "text": True}
    return subprocess.run(command, cwd=folder, check=True, **quiet).stdout


def _digest(path):
    return hashlib.sha256(Path(path).read_bytes()).hexdigest()
