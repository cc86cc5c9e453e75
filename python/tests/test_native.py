"""How the module finds the library: by its path, whatever else the process holds."""

import os
import subprocess
import sys

FOREIGN = """
#include <stdlib.h>
void create(void) { abort(); }
void initiate(void) { abort(); }
void reset(void) { abort(); }
void calculate(void) { abort(); }
"""

SESSION = """
import ctypes, sys
ctypes.CDLL(sys.argv[1], mode=ctypes.RTLD_GLOBAL)
import harmotrack
run_up = harmotrack.simulate_run_up(duration=6.0, end_rpm=3000.0)
print(sorted(harmotrack.analyze(run_up.recording).order_map.dims))
"""


def test_process_with_a_create_of_its_own_is_safe(tmp_path):
    # Names of a library that was opened for all others come before those that a module links.
    foreign = tmp_path / "libforeign.so"
    subprocess.run(
        [os.environ.get("CC", "cc"), "-shared", "-fPIC", "-x", "c", "-", "-o", foreign],
        input=FOREIGN,
        text=True,
        check=True,
    )
    session = subprocess.run(
        [sys.executable, "-c", SESSION, foreign], capture_output=True, text=True, check=False
    )
    assert session.returncode == 0, session.stderr
    assert "order" in session.stdout
