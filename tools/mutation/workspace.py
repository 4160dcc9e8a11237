"""One worker's copy of the project, with a build of its own and a Wine prefix of its own."""

import os
import re
import shutil
import subprocess
import time
from dataclasses import dataclass

PREFIX = "win64-10.0"

# As in a release, but faster to compile. Warnings are off, because they are errors in this project: a
# test should catch a mutant, not a warning that something is unused.
_FLAGS = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG -w",
          "-DMENDLOFT_BENCH=OFF"]


class CannotWork(Exception):
    """Something that the work needs is missing or fails."""


@dataclass(frozen=True)
class Run:
    """How a test program ended. `how` is empty if it passed; `test` is the failing test, if it printed
    one."""

    how: str
    test: str
    seconds: float


class Workspace:
    """Copies, builds and runs.

    Only `prepare` writes outside the work folder: to the compiler's cache, and to the template of the
    Wine prefixes. It runs before the sandbox closes.
    """

    def __init__(self, root, work, number):
        self._root = root
        self._work = work
        self._tree = work / str(number) / "tree"
        self._build = work / str(number) / "build"
        self._prefix = f"{PREFIX}@mutant{number}"
        self._limits = {}
        self._files = None

    def prepare(self, programs):
        """Updates the copy, builds the programs and makes the prefix. Raises CannotWork."""
        self._copy_sources()
        self._command(["cmake", "-S", self._tree, "-B", self._build, "-G", "Ninja",
                       f"-DCMAKE_TOOLCHAIN_FILE={self._tree}/cmake/mingw32.cmake", *_FLAGS])
        self._command(["ninja", "-C", self._build, *programs])
        pristine = self._pristine
        if not (pristine / ".ready").exists():
            self._wine_run("cmd", ["/c", "exit"], 120)
            self._end_prefix()
            made = self._folder
            shutil.rmtree(pristine, ignore_errors=True)
            # Real copies: the prefix shares its files with the template of all prefixes.
            subprocess.run(["cp", "-a", made, pristine], check=True)

    def start(self, programs):
        """Runs the unchanged programs to learn how long they take and which files they leave in the
        prefix. Raises CannotWork if one of them fails."""
        self._renew_prefix()
        for program in programs:
            run = self.run(program, 600)
            if run.how:
                raise CannotWork(f"{program.name} does not pass on the unchanged sources: {run.how}")
            self._limits[program.name] = max(30, 4 * run.seconds)
        self._files = self._prefix_files()

    def still_works(self, programs):
        """Whether the unchanged programs pass after all mutants."""
        self._renew_prefix()
        return all(self.build(program) and not self.run(program, 600).how for program in programs)

    def write(self, file, text):
        """Writes one source of the copy. The new time makes the build compile it again."""
        (self._tree / file).write_text(text, encoding="utf-8")

    def build(self, program):
        """Builds one program; returns whether it compiles."""
        return subprocess.run(["ninja", "-j1", "-C", self._build, program.name], check=False,
                              stdout=subprocess.DEVNULL, stderr=subprocess.STDOUT).returncode == 0

    def run(self, program, limit=None, test=""):
        """Runs one program until its first failing test, or only one test of it.

        Restores the prefix if the files in it differ from before, so that no mutant meets what another
        has left behind.
        """
        chosen = [f"--gtest_filter={test}"] if test else program.arguments
        began = time.monotonic()
        done = self._wine_run(self._build / "bin" / f"{program.name}.exe",
                              ["--gtest_brief=1", "--gtest_fail_fast", *chosen],
                              limit or self._limits[program.name])
        seconds = time.monotonic() - began
        how, failed = outcome(done.returncode, done.stdout)
        if how and not failed:
            self._end_prefix()  # something may still be running
        if self._files is not None and self._prefix_files() != self._files:
            self._renew_prefix()
        return Run(how, failed, seconds)

    def run_twice(self, program):
        """Runs one program, and runs it again after a failure. A failure counts only if it happens both
        times, because tests can also fail on a busy computer."""
        first = self.run(program)
        if first.test and self.run(program, test=first.test).how:
            return first
        return self.run(program) if first.how else first

    @property
    def _folder(self):
        return self._work / "prefixes" / self._prefix

    @property
    def _pristine(self):
        return self._work / "prefixes" / "pristine"

    @property
    def _environment(self):
        return {**os.environ, "MENDLOFT_PREFIXES": str(self._work / "prefixes"),
                "MENDLOFT_PREFIX": PREFIX, "WINEPREFIX": str(self._folder)}

    def _copy_sources(self):
        """Copies all files except those that git ignores. Writes only files that differ, so that the build
        compiles no more than necessary."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                 "--exclude-standard"], cwd=self._root, check=True,
                                stdout=subprocess.PIPE).stdout
        names = {name for name in os.fsdecode(listed).split("\0")
                 if name and (self._root / name).is_file()}
        for name in names:
            source, target = self._root / name, self._tree / name
            if not target.exists() or source.read_bytes() != target.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        for path in [path for path in self._tree.rglob("*") if path.is_file()]:
            if str(path.relative_to(self._tree)) not in names:
                path.unlink()

    def _command(self, command):
        done = subprocess.run([str(part) for part in command], check=False, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise CannotWork(f"{command[0]} failed:\n{done.stdout[-4000:]}")

    def _wine_run(self, program, arguments, limit):
        return subprocess.run([self._tree / "scripts" / "wine-run", self._prefix, program, *arguments],
                              check=False, text=True, errors="replace", stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env={**self._environment, "MENDLOFT_TIMEOUT": str(round(limit))})

    def _end_prefix(self):
        subprocess.run(["wineserver", "-k"], env=self._environment, check=False)

    def _renew_prefix(self):
        self._end_prefix()
        shutil.rmtree(self._folder, ignore_errors=True)
        subprocess.run(["cp", "-al", self._pristine, self._folder], check=True)
        # Wine rewrites the registry. The other file is locked and touched by scripts/wine-run.
        for own in [*self._folder.glob("*.reg"), self._folder / ".ready"]:
            own.unlink()
            shutil.copy(self._pristine / own.name, own)

    def _prefix_files(self):
        found = []
        for folder, folders, files in os.walk(self._folder / "drive_c"):
            found += [(os.path.join(folder, name), os.lstat(os.path.join(folder, name)).st_size)
                      for name in files]
            found += [(os.path.join(folder, name), 0) for name in folders]
        return set(found)


def outcome(code, output):
    """Returns how a test program failed and in which test, from its exit code and output. Both are
    empty if it passed."""
    if code == 0:
        return "", ""
    if code == 124:
        return "timed out", ""
    failed = re.search(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
    if failed:
        return f"failed {failed.group(1)}", failed.group(1)
    return f"crashed (exit code {code})", ""
