"""A copy of the sources, a build of it, and the test programs run on what was built."""

import concurrent.futures
import dataclasses
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time

OPTIONS = [
    "-G", "Ninja",
    "-DCMAKE_BUILD_TYPE=Debug",
    "-DCMAKE_CXX_FLAGS_DEBUG=",  # neither optimized nor with debug information
    "-DCMAKE_CXX_FLAGS=-w -O0",
]  # fmt: skip


@dataclasses.dataclass(frozen=True)
class Program:
    """A test program, run in so many parts at the same time: most tests wait more than they work."""

    target: str
    folder: str
    parts: int = 1
    arguments: tuple = ()


BLUEZ = Program("bluez_tests", "tests/bluez", parts=10)
UNIT = Program("unit_tests", "tests/unit")
ORACLE = Program("oracle_tests", "tests/oracle", arguments=("--values=2000",))
SHARED = Program("shared_tests", "tests/shared")
PROCESS = Program("process_tests", "tests/process", parts=4)

# What a file's mutations are tried by, first and, if they survive that, then: whatever comes first
# that begins like the file's path.
TRIED_BY = [
    ("src/platform/bluez/", [BLUEZ], []),
    ("src/platform/shared/", [SHARED, BLUEZ], []),
    ("src/platform/", [UNIT, BLUEZ], []),
    ("src/", [UNIT, ORACLE], [PROCESS]),
]

MEMORY_LIMIT = 8 << 30  # bytes of address space, for a mutation that allocates for ever


def programs_for(file):
    return next(tuple(rest) for start, *rest in TRIED_BY if file.startswith(start))


def compiler_for(file):
    """Clang takes a third of the time, once its headers are precompiled. But clang 14 does not know
    std::source_location, which the unit tests use."""
    quick = UNIT not in programs_for(file)[0] and shutil.which("clang++")
    return "clang++" if quick else "g++"


@dataclasses.dataclass
class Verdict:
    result: str  # killed, survived, not built, timed out
    by: str = ""


class Tree:
    """The copy. Only what differs is written, so that little is built anew."""

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
        """What the compiler complains of; nothing when all is built."""
        targets = [program.target for program in programs]
        command = ["cmake", "--build", str(self.folder), "-j", "1", "--target", *targets]
        done = subprocess.run(command, capture_output=True, text=True, errors="replace")
        return "" if done.returncode == 0 else done.stdout + done.stderr

    def take(self, program, folder):
        """Copies the built program away from where the next build puts its own."""
        built = self.folder / program.folder / program.target
        taken = pathlib.Path(folder) / program.target
        shutil.copy2(built, taken)
        return taken


class Trial:
    """The test programs of one build, run until one of them fails. Once this is made, the next may
    be built; but not while the process tests run, which start a program where it was built."""

    def __init__(self, build, programs, limits):
        self._programs = programs
        self._limits = limits  # seconds, by target
        self._folder = tempfile.TemporaryDirectory(prefix="vornix-mutation-")
        self._paths = {program: build.take(program, self._folder.name) for program in programs}
        self._build = build
        self._lock = threading.Lock()
        self._running = set()
        self._verdict = None

    def run(self):
        with self._folder:
            for program in self._programs:
                with concurrent.futures.ThreadPoolExecutor(program.parts) as pool:
                    list(pool.map(lambda part, it=program: self._run_part(it, part),
                                  range(program.parts)))  # fmt: skip
                if self._verdict:
                    return self._verdict
        return Verdict("survived")

    def _run_part(self, program, part):
        shard = {"GTEST_TOTAL_SHARDS": str(program.parts), "GTEST_SHARD_INDEX": str(part)}
        passed_anew = []
        while self._verdict is None:
            status, output = self._run_program(program, shard, skip=passed_anew)
            if status == 0:
                return
            if status is None:
                return self._decide(Verdict("timed out", last_test(output) or program.target))
            failed = failed_test(output)
            # A machine that is busy can make a test fail: it has to fail twice.
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
                end(process)

    def _run_program(self, program, shard, only="", skip=()):
        """The exit status (none after the time limit) and the output."""
        filters = [f"--gtest_filter={only}"] if only else []
        filters += [f"--gtest_filter=-{':'.join(skip)}"] if skip else []
        command = ["prlimit", f"--as={MEMORY_LIMIT}"] if not self._build.folder.name.startswith("asan") else []
        command += [str(self._paths[program]), "--gtest_color=no", *program.arguments, *filters]
        environment = os.environ | shard | {"GTEST_FAIL_FAST": "1", "TMPDIR": self._folder.name}
        with self._lock:
            if self._verdict is not None:
                return 0, ""
            process = subprocess.Popen(
                command, cwd=self._folder.name, env=environment, start_new_session=True,
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                text=True, errors="replace",
            )  # fmt: skip
            self._running.add(process)
        try:
            output, _ = process.communicate(timeout=self._limits.get(program.target, 600))
            return process.returncode, output
        except subprocess.TimeoutExpired:
            end(process)
            output, _ = process.communicate()
            return None, output
        finally:
            with self._lock:
                self._running.discard(process)
                end(process)


def end(process):
    """With what it has started: a test that crashes leaves its programs behind."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def failed_test(output):
    failed = re.search(r"^\[  FAILED  \] (\S+?),? .*\(\d+ ms\)", output, re.MULTILINE)
    return failed.group(1) if failed else last_test(output)


def last_test(output):
    started = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    ended = re.findall(r"^\[       OK \] (\S+)", output, re.MULTILINE)
    return started[-1] if len(started) > len(ended) else ""


def measure(build, programs):
    """Seconds that each program takes unchanged. They have to pass: whatever fails would kill all."""
    seconds = {}
    for program in programs:
        start = time.monotonic()
        verdict = Trial(build, [program], {}).run()
        if verdict.result != "survived":
            raise SystemExit(f"the unchanged sources fail: {program.target}: {verdict.by}")
        seconds[program.target] = time.monotonic() - start
    return seconds
