"""Where the programs are that the tests run."""

import os
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("MENDLOFT_BUILD", ROOT / "build" / "release"))
# 7-Zip's own console program, from the same source as the library.
NATIVE_7ZZ = BUILD / "native" / "7zz"
