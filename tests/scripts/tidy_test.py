"""scripts/tidy examines a source again exactly when the result may have changed."""

import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

_ROOT = Path(__file__).resolve().parents[2]
_CLEAN = '#include "pointer.h"\nint* Nowhere() { return nullptr; }\n'
_WITH_FINDING = '#include "pointer.h"\nint* Nowhere() { return 0; }\n'


@unittest.skipUnless(shutil.which("clang-tidy") and shutil.which("clang++"), "clang-tidy is not installed")
class Tidy(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.clone = self.make_clone("clone")
        self.calls = self.folder / "calls"
        self.calls.touch()
        program = self.folder / "clang-tidy"  # notes each source, and runs the real program
        program.write_text('#!/bin/sh\n[ "$1" = --version ] || echo call >>"$CALLS"\n'
                           f'exec {shutil.which("clang-tidy")} "$@"\n')
        program.chmod(0o755)

    def make_clone(self, name):
        """Makes a folder with all that the script reads."""
        clone = self.folder / name
        (clone / "scripts").mkdir(parents=True)
        (clone / "src").mkdir()
        (clone / "build").mkdir()
        shutil.copy(_ROOT / "scripts" / "tidy", clone / "scripts")
        (clone / ".clang-tidy").write_text("Checks: '-*,modernize-use-nullptr'\nWarningsAsErrors: '*'\n")
        (clone / "src" / "pointer.h").write_text("#pragma once\n")
        (clone / "src" / "pointer.cpp").write_text(_CLEAN)
        self.compile_with(clone, "-O2")
        return clone

    @staticmethod
    def compile_with(clone, option):
        """Writes the commands of a build that uses one more option."""
        source = clone / "src" / "pointer.cpp"
        (clone / "build" / "compile_commands.json").write_text(json.dumps([{
            "directory": str(clone / "build"), "file": str(source),
            "command": f"clang++ -I{clone}/src {option} -o pointer.o -c {source}"}]))

    def examines(self, clone):
        """Runs the script. Returns its status, its output, and whether it ran clang-tidy."""
        self.calls.write_text("")
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}", "CALLS": str(self.calls)}
        done = subprocess.run([clone / "scripts" / "tidy", "--build", clone / "build",
                               "--cache", self.folder / "cache", "src"], env=environment, check=False,
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode, done.stdout, self.calls.read_text() != ""

    def assertExaminedWithoutFindings(self, clone):
        self.assertEqual((0, "1/1 src/pointer.cpp\n", True), self.examines(clone))

    def assertRemembered(self, clone):
        self.assertEqual((0, "1/1 src/pointer.cpp\n", False), self.examines(clone))

    def test_remembers_a_source_without_findings(self):
        self.assertExaminedWithoutFindings(self.clone)

        self.assertRemembered(self.clone)

    def test_remembers_it_for_a_clone_in_another_folder(self):
        self.assertExaminedWithoutFindings(self.clone)

        self.assertRemembered(self.make_clone("other"))

    def test_reports_a_finding_every_time(self):
        self.assertExaminedWithoutFindings(self.clone)
        (self.clone / "src" / "pointer.cpp").write_text(_WITH_FINDING)

        for _ in range(2):
            status, output, examined = self.examines(self.clone)

            self.assertEqual((1, True), (status, examined))
            self.assertIn("pointer.cpp:2:25: error: use nullptr", output)

    def test_examines_a_source_again_after_a_change(self):
        changes = {
            "source": lambda: (self.clone / "src" / "pointer.cpp").write_text(_CLEAN + "// A comment.\n"),
            "header": lambda: (self.clone / "src" / "pointer.h").write_text("#pragma once  // Once.\n"),
            "settings": lambda: (self.clone / "src" / ".clang-tidy").write_text(
                "Checks: '-*,modernize-use-override'\n"),
            "arguments": lambda: self.compile_with(self.clone, "-O1"),
        }
        self.assertExaminedWithoutFindings(self.clone)
        for what, change in changes.items():
            with self.subTest(what):
                change()

                self.assertExaminedWithoutFindings(self.clone)
                self.assertRemembered(self.clone)

    def test_reports_a_source_that_cannot_be_compiled(self):
        (self.clone / "src" / "pointer.h").unlink()

        for _ in range(2):
            status, output, examined = self.examines(self.clone)

            self.assertEqual((1, True), (status, examined))
            self.assertIn("'pointer.h' file not found", output)


if __name__ == "__main__":
    unittest.main()
