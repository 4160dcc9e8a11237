"""The sandbox lets programs write to the work folder and nowhere else."""

import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import support

_UNSHARE = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]

_TRIES = """
import sys
from pathlib import Path
sys.path.insert(0, sys.argv[1])
from mutation import sandbox
work = Path(sys.argv[2])
sandbox.close(work)
for place in (work, work.parent, Path("/dev"), Path.home()):
    try:
        (place / "mendloft-sandbox-test").touch()
        (place / "mendloft-sandbox-test").unlink()
        print("written")
    except OSError:
        print("refused")
Path("/dev/null").write_text("gone")
"""


def _can_unshare():
    return shutil.which("unshare") and subprocess.run(
        [*_UNSHARE, "true"], check=False, stderr=subprocess.DEVNULL).returncode == 0


class Sandbox(unittest.TestCase):
    @unittest.skipUnless(_can_unshare(), "no namespaces here, so mutate does not work here either")
    def test_makes_only_the_work_folder_writable(self):
        with tempfile.TemporaryDirectory() as folder:
            work = Path(folder) / "work"
            work.mkdir()
            done = subprocess.run(
                [*_UNSHARE, sys.executable, "-B", "-c", _TRIES, support.ROOT / "tools", work],
                check=False, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

            self.assertEqual((0, ["written", "refused", "refused", "refused"]),
                             (done.returncode, done.stdout.split()), done.stdout)
            self.assertEqual(["work"], [path.name for path in Path(folder).iterdir()])


if __name__ == "__main__":
    unittest.main()
