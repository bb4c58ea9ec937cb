"""Tries mutants in a copy of the tree: builds what depends on them and runs the library's tests."""

import collections
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading

LIBRARY_OBJECTS = "VBMigrationObjects.dir"
LIBRARY_ROOMS = ("Common", "DBusServiceClient", "MacNPicture", "VBMigration")
SECONDS_A_TEST = 30
# How many test programs are asked before all the others, those that have noticed most mutants of the file.
FIRST_ASKED = 4
LARGEST_FILE = 4 << 30  # bytes; nothing that runs away may fill the disk
FAILED_TEST = re.compile(r"^ *\d+/\d+ Test +#\d+: (\S+) .*\*\*\*(\w+)", re.MULTILINE)

Verdict = collections.namedtuple("Verdict", "outcome by")


def is_library_source(file):
    return file.split("/")[0] in LIBRARY_ROOMS and file.endswith((".h", ".cpp"))


def files_of(root):
    """What of a tree belongs to the project, including what is not committed yet."""
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            check=True, stdout=subprocess.PIPE, text=True).stdout
    return {file for file in listed.split("\0") if file and (root / file).is_file()}


class Stopped(Exception):
    """The copy was told to stop."""


class Copy:
    """A copy of the tree with a build of its own."""

    def __init__(self, directory):
        self.directory = directory
        self.tree = directory / "tree"
        self.build = directory / "build"
        self.log = directory / "log"
        self.lock = threading.Lock()
        self.group = None  # of the processes that run
        self.stopped = False

    def refresh(self, root):
        """Makes the copy what the tree is now; files that are as they were keep their age."""
        wanted = files_of(root)
        for file in sorted(wanted):
            target = self.tree / file
            if target.exists() and target.read_bytes() == (root / file).read_bytes():
                continue
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(root / file, target)
        for path in [path for path in self.tree.rglob("*") if path.is_file()]:
            if str(path.relative_to(self.tree)) not in wanted:
                path.unlink()

    def run(self, *command, cwd=None):
        """Runs a command, its output appended to the log. Returns exit status and output. Processes and temporary files
        that it leaves behind go with it."""
        with tempfile.TemporaryDirectory(prefix="mutate-", ignore_cleanup_errors=True) as temporary:
            environment = dict(os.environ, TMPDIR=temporary, CCACHE_DIR=str(self.directory.parent / "ccache"),
                               CCACHE_BASEDIR=str(self.directory), CCACHE_NOHASHDIR="1")
            with self.lock:
                if self.stopped:
                    raise Stopped
                process = subprocess.Popen(command, cwd=cwd, env=environment, text=True, errors="replace",
                                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                           start_new_session=True)
                self.group = process.pid
            output = process.communicate()[0]
            self.send(signal.SIGKILL)
            self.group = None
        if self.stopped:
            raise Stopped
        with open(self.log, "a", encoding="utf-8", errors="replace") as log:
            print("$", *command, file=log)
            print(output, file=log)
        return process.returncode, output

    def send(self, number):
        """Sends a signal to all that runs. (Ninja passes it on to what it has started in groups of their own.)"""
        with self.lock:
            try:
                if self.group is not None:
                    os.killpg(self.group, number)
            except ProcessLookupError:
                pass

    def stop(self):
        """Ends what runs, and whatever this copy is asked to do; to be called by another thread."""
        self.stopped = True
        self.send(signal.SIGTERM)

    def configure(self):
        linker = next((name for name in ("lld", "gold") if shutil.which("ld." + name)), "bfd")
        options = ["-DCMAKE_BUILD_TYPE=None", "-DCMAKE_C_FLAGS=-O0 -g0", "-DCMAKE_CXX_FLAGS=-O0 -g0",
                   f"-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld={linker}", f"-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld={linker}",
                   "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", f"-DTEST_TIMEOUT={SECONDS_A_TEST}"]
        if shutil.which("ccache"):
            options += ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        return self.run("cmake", "-S", str(self.tree), "-B", str(self.build), "-G", "Ninja", *options)[0] == 0

    def builds(self, *targets):
        return self.run("ninja", "-C", str(self.build), "-j1", *targets)[0] == 0

    def objects(self):
        """What the compiler made of the library's sources."""
        return {path.name: hashlib.sha256(path.read_bytes()).digest()
                for path in (self.build / "CMakeFiles" / LIBRARY_OBJECTS).rglob("*.o")}

    def optimised_objects(self, names):
        """What the compiler makes of some of the library's sources when it optimises."""
        made = []
        for entry in json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8")):
            output = pathlib.Path(entry["output"])
            if LIBRARY_OBJECTS in output.parts and output.name in names:
                words = ["-O2" if word == "-O0" else word for word in shlex.split(entry["command"])]
                target = self.directory / "optimised.o"
                words[words.index("-o") + 1] = str(target)
                self.run(*words, cwd=entry["directory"])
                made.append(target.read_bytes())
        return made

    def programs(self, *which):
        """Names of test programs, in order."""
        listed = subprocess.run(["ctest", "--show-only=json-v1", *which], check=True, stdout=subprocess.PIPE,
                                text=True).stdout
        return list(dict.fromkeys(test["name"].split(".")[0] for test in json.loads(listed)["tests"]))

    def first_failed(self, programs):
        """Runs the tests of programs. Returns the first that fails, or nothing."""
        if not programs:
            return None
        names = "|".join(map(re.escape, programs))
        status, output = self.run("prlimit", f"--fsize={LARGEST_FILE}", "ctest", "--test-dir", str(self.build), "-j1",
                                  "--stop-on-failure", "--no-tests=error", "-R", f"^({names})(\\.|$)")
        failed = FAILED_TEST.search(output)
        if failed:
            return failed.group(1) + (" (timeout)" if failed.group(2) == "Timeout" else "")
        return None if status == 0 else "ctest: " + output.strip()[-200:]

    def prepare(self):
        """Builds the copy as it is and learns its tests. Returns what is wrong, or nothing."""
        self.log.unlink(missing_ok=True)
        if not self.configure() or not self.builds():
            return f"the tree does not build: see {self.log}"
        self.original = self.objects()
        tests = self.build / "Tests"
        self.units = self.programs("--test-dir", tests, "-L", "library")
        others = [*self.programs("--test-dir", tests / "flow"), *self.programs("--test-dir", tests / "abi")]
        # The comparison with the baseline of the binary interface takes debug information, which these builds lack.
        self.others = [[program for program in others if program != "abi"], ["docs.message-index-is-complete"]]
        return None

    def failed_of_all(self, but=()):
        """Runs all tests, those of some programs left out. Returns the first that fails, or nothing."""
        for programs in [[program for program in self.units if program not in but], *self.others]:
            failed = self.first_failed(programs)
            if failed:
                return failed
        return None

    def try_mutant(self, mutant, most_telling):
        """Gives the verdict on a mutant.

        most_telling: test programs, those first that have noticed most
        """
        file = self.tree / mutant.file
        source = file.read_text(encoding="utf-8")
        self.log.write_text(f"{mutant}\n", encoding="utf-8")
        file.write_text(mutant.applied_to(source), encoding="utf-8")
        try:
            verdict = self.verdict([program for program in most_telling if program in self.units][:FIRST_ASKED])
            if verdict.outcome == "survived":
                changed = [name for name, made in self.objects().items() if made != self.original[name]]
                optimised = self.optimised_objects(changed)
        finally:
            file.write_text(source, encoding="utf-8")
        if verdict.outcome == "survived" and self.optimised_objects(changed) == optimised:
            return Verdict("same code", "")
        return verdict

    def verdict(self, first):
        if not self.builds("VBMigrationObjects", "VBMigration", "vbmigration"):
            return Verdict("unbuildable", "")
        if self.objects() == self.original:
            return Verdict("same code", "")
        if not self.builds(*first):
            return Verdict("noticed", "compiling the tests")
        failed = self.first_failed(first)
        if failed:
            return Verdict("noticed", failed)
        if not self.builds():
            return Verdict("noticed", "compiling the tests")
        failed = self.failed_of_all(but=first)
        return Verdict("noticed", failed) if failed else Verdict("survived", "")
