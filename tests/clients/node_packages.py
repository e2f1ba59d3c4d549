"""The packages of npm in the versions that tests/clients/node locks, in build/clients/node."""

import shutil
import subprocess
import sys
from pathlib import Path

LOCKED = Path(__file__).resolve().parent / "node"
FOLDER = LOCKED.parents[2] / "build" / "clients" / "node"


def install():
    """Once for all who need them, and again when the lock file is another."""
    lock = "package-lock.json"
    if not (FOLDER / "done").exists() or (FOLDER / lock).read_bytes() != (LOCKED / lock).read_bytes():
        shutil.rmtree(FOLDER, ignore_errors=True)
        shutil.copytree(LOCKED, FOLDER)
        done = subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"], cwd=FOLDER, text=True,
                              capture_output=True, timeout=300, check=False)
        if done.returncode:
            sys.exit(f"npm ci in {FOLDER}:\n{done.stdout}{done.stderr}")
        (FOLDER / "done").touch()
    return FOLDER
