"""Copies the sources, builds the copy, and runs the test programs of the build."""

import concurrent.futures
import dataclasses
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

from verdicts import Verdict

OPTIONS = [
    "-G", "Ninja",
    "-DCMAKE_BUILD_TYPE=Debug",
    "-DCMAKE_CXX_FLAGS_DEBUG=",  # neither optimized nor with debug information
    # The library checks that an element that is accessed exists.
    "-DCMAKE_CXX_FLAGS=-w -O0 -D_GLIBCXX_ASSERTIONS",
]  # fmt: skip


@dataclasses.dataclass(frozen=True)
class Program:
    """A test program, run in this many parts at once, since most tests wait more than they work."""

    target: str
    folder: str
    parts: int = 1
    arguments: tuple = ()

    def command(self, only="", skip=()):
        """The arguments for all tests, for one test, or for all without some."""
        words = [*self.arguments, "--gtest_color=no"]
        if only:
            words.append(f"--gtest_filter={only}")
        elif skip:
            words.append(f"--gtest_filter=-{':'.join(skip)}")
        return words

    @staticmethod
    def failed_test(output):
        """The name of the test that failed; empty if it is not known."""
        failed = re.search(r"^\[  FAILED  \] (\S+?),? .*\(\d+ ms\)", output, re.MULTILINE)
        return failed.group(1) if failed else last_test(output)


@dataclasses.dataclass(frozen=True)
class Sessions(Program):
    """tests/world: here a session fails, named by its seed. A seed always gives the same session,
    however busy the machine is, so no session has to be skipped."""

    def command(self, only="", skip=()):
        del skip
        return ["--seed", only.removeprefix("seed ")] if only else list(self.arguments)

    @staticmethod
    def failed_test(output):
        failed = re.search(r"^seed \d+", output, re.MULTILINE)
        return failed.group(0) if failed else ""


BLUEZ = Program("bluez_tests", "tests/unit/bluez", parts=10)
CONTRACT = Program("contract-played", "tests/contract")
UNIT = Program("unit_tests", "tests/unit/core")
ORACLE = Program("oracle_tests", "tests/oracle", arguments=("--values=2000",))
SHARED = Program("shared_tests", "tests/unit/shared")
PROCESS = Program("process_tests", "tests/process", parts=4)
WORLD = Sessions("world", "tests/world", arguments=("--count", "200"))

# The programs that try a file's mutations: the fast ones, and the slow ones for survivors. The
# first entry with which the file's path begins counts.
TRIED_BY = [
    ("src/platform/bluez/", [BLUEZ, CONTRACT], [WORLD]),
    ("src/platform/shared/", [SHARED, BLUEZ, CONTRACT], [WORLD]),
    ("src/platform/", [UNIT, BLUEZ], [WORLD]),
    ("src/", [UNIT, ORACLE], [PROCESS, WORLD]),
]

MEMORY_LIMIT = 8 << 30  # bytes of address space, in case a mutation allocates without end


def programs_for(file):
    return next(tuple(rest) for start, *rest in TRIED_BY if file.startswith(start))


def compiler_for(file):
    """Clang takes a third of the time, once its headers are precompiled. Mutations that unit_tests
    tries are built with GCC."""
    quick = UNIT not in programs_for(file)[0] and shutil.which("clang++")
    return "clang++" if quick else "g++"


class Running:
    """The running programs, each the leader of a process group of its own, and the folders made for
    them. None of these is left behind, not even when this program gets a signal to end."""

    def __init__(self):
        self._lock = threading.Lock()
        self._groups = set()
        self._folders = set()

    def start(self, command, **options):
        with self._lock:
            process = subprocess.Popen(command, start_new_session=True, **options)
            self._groups.add(process.pid)
        return process

    def end(self, process):
        """Ends its whole group, since a test that crashes leaves its child processes behind."""
        with self._lock:
            self._groups.discard(process.pid)
            kill_group(process.pid)

    def make_folder(self):
        with self._lock:
            folder = tempfile.mkdtemp(prefix="vornix-mutation-")
            self._folders.add(folder)
        return folder

    def remove_folder(self, folder):
        with self._lock:
            self._folders.discard(folder)
        shutil.rmtree(folder, ignore_errors=True)

    def end_on(self, *signals):
        for each in signals:
            signal.signal(each, self._end_all)

    def _end_all(self, number, _frame):
        # This signal handler may have interrupted the holder of the lock, hence the timeout. The
        # lock is never released, so that nothing more is started.
        self._lock.acquire(timeout=5)
        for group in self._groups:
            kill_group(group)
        for folder in self._folders:
            shutil.rmtree(folder, ignore_errors=True)
        sys.stdout.flush()
        os._exit(128 + number)


def kill_group(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass


running = Running()


class Tree:
    """A copy of the sources. Only files that differ are written, so that little is rebuilt."""

    def __init__(self, source, folder):
        self.path = folder
        listed = subprocess.run(
            ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            cwd=source, check=True, capture_output=True, text=True,
        )  # fmt: skip
        wanted = {name for name in listed.stdout.split("\0") if name and (source / name).is_file()}
        for old in [path for path in folder.rglob("*") if path.is_file() or path.is_symlink()]:
            if str(old.relative_to(folder)) not in wanted:
                old.unlink()
        for name in sorted(wanted):
            self._copy(source / name, folder / name)

    @staticmethod
    def _copy(source, target):
        if target.is_file() and target.read_bytes() == source.read_bytes():
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)
        shutil.copymode(source, target)


class Build:
    """A build folder of a tree. One build at a time; tests of earlier ones may go on meanwhile."""

    def __init__(self, tree, folder, compiler, options=()):
        self.tree = tree
        self.folder = folder
        include = tree.path / "tests/mutation/Precompile.cmake"
        linker = ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold"] if shutil.which("ld.gold") else []
        command = ["cmake", "-S", str(tree.path), "-B", str(folder), *OPTIONS, *linker,
                   f"-DCMAKE_CXX_COMPILER={compiler}",
                   f"-DCMAKE_PROJECT_vornix_INCLUDE={include}", *options]  # fmt: skip
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    def make(self, programs):
        """Builds the programs. Returns the compiler's output if that fails, else an empty text."""
        targets = [program.target for program in programs]
        command = ["cmake", "--build", str(self.folder), "-j", "1", "--target", *targets]
        process = running.start(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                text=True, errors="replace")  # fmt: skip
        output, _ = process.communicate()
        running.end(process)
        return "" if process.returncode == 0 else output

    def take(self, program, folder):
        """Copies the built program to the folder, since the next build will overwrite it."""
        built = self.folder / program.folder / program.target
        taken = pathlib.Path(folder) / program.target
        shutil.copy2(built, taken)
        return taken


class Trial:
    """Runs the test programs of one build until one fails. The next build may begin once the trial
    is constructed, except for the process tests, which start a program in the build folder.

    An endless loop is ended by a limit of processor time, which does not depend on the load of the
    machine; an endless wait by a limit of clock time."""

    def __init__(self, build, programs, limits):
        self._programs = programs
        self._limits = limits  # by target
        self._folder = running.make_folder()
        self._paths = {program: build.take(program, self._folder) for program in programs}
        self._build = build
        self._lock = threading.Lock()
        self._running = set()
        self._verdict = None

    def run(self):
        try:
            for program in self._programs:
                with concurrent.futures.ThreadPoolExecutor(program.parts) as pool:
                    list(pool.map(lambda part, it=program: self._run_part(it, part),
                                  range(program.parts)))  # fmt: skip
                if self._verdict:
                    return self._verdict
        finally:
            running.remove_folder(self._folder)
        return Verdict("survived")

    def _run_part(self, program, part):
        shard = {"GTEST_TOTAL_SHARDS": str(program.parts), "GTEST_SHARD_INDEX": str(part)}
        passed_anew = []
        while self._verdict is None:
            status, output = self._run_program(program, shard, skip=passed_anew)
            if status == 0:
                return
            if status in (None, -signal.SIGXCPU):
                return self._decide(Verdict("timed out", last_test(output) or program.target))
            failed = program.failed_test(output)
            # A busy machine can make a test fail, so it has to fail twice.
            if failed and self._run_program(program, {}, only=failed)[0] == 0:
                passed_anew.append(failed)
                continue
            return self._decide(Verdict("killed", failed or f"{program.target}: {output[-200:]}"))

    def _decide(self, verdict):
        with self._lock:
            if self._verdict is not None:
                return
            self._verdict = verdict
            for process in self._running:
                running.end(process)

    def _run_program(self, program, shard, only="", skip=()):
        """The exit status (none after the time limit) and the output."""
        limit = self._limits.get(program.target, Limit())
        command = ["prlimit", f"--cpu={limit.processor}"]
        if not self._build.folder.name.startswith("asan"):
            command.append(f"--as={MEMORY_LIMIT}")
        command += [str(self._paths[program]), *program.command(only, skip)]
        environment = os.environ | shard | {"GTEST_FAIL_FAST": "1", "TMPDIR": self._folder}
        with self._lock:
            if self._verdict is not None:
                return 0, ""
            process = running.start(
                command, cwd=self._folder, env=environment,
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                text=True, errors="replace",
            )  # fmt: skip
            self._running.add(process)
        try:
            output, _ = process.communicate(timeout=limit.clock)
            return process.returncode, output
        except subprocess.TimeoutExpired:
            running.end(process)
            output, _ = process.communicate()
            return None, output
        finally:
            with self._lock:
                self._running.discard(process)
                running.end(process)


def last_test(output):
    started = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    ended = re.findall(r"^\[       OK \] (\S+)", output, re.MULTILINE)
    return started[-1] if len(started) > len(ended) else ""


@dataclasses.dataclass(frozen=True)
class Limit:
    """The limits for a part of a program, in seconds."""

    clock: int = 600
    processor: int = 600


def measure(build, programs):
    """Sets the limits of each program to several times what it takes with the unchanged sources. It
    has to pass with these, or it would kill every mutation."""
    limits = {}
    for program in programs:
        start = time.monotonic()
        used = processor_time()
        verdict = Trial(build, [program], {}).run()
        if verdict.result != "survived":
            raise SystemExit(f"the unchanged sources fail: {program.target}: {verdict.by}")
        limits[program.target] = Limit(clock=round(60 + 5 * (time.monotonic() - start)),
                                       processor=round(10 + 3 * (processor_time() - used)))  # fmt: skip
    return limits


def processor_time():
    """The processor time, in seconds, of all child processes that have ended."""
    ended = resource.getrusage(resource.RUSAGE_CHILDREN)
    return ended.ru_utime + ended.ru_stime
