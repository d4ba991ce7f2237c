#!/usr/bin/env python3
"""A job of several ranks, one of which is killed, goes on in another number of ranks: mpi_kill.py MPIEXEC MPITEST."""
import filecmp
import os
import subprocess
import sys
import tempfile

mpiexec, program = sys.argv[1:]


def job(ranks, *words):
    done = subprocess.run([mpiexec, "-n", str(ranks), program, *words], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          timeout=60)
    return done.returncode, done.stdout


with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as folder:
    assert job(1, "make", folder)[0] == 0
    path = lambda name: os.path.join(folder, name)
    old = path("to") + ".old"
    os.rename(path("to"), old)
    went_on = 0
    # Sweep and rounds at which the last rank is killed: rows, columns, rows back.
    for before, then, reached in ((2, 3, 2), (4, 1, 3), (3, 7, 1001), (2, 1, 1002), (1, 2, 1003), (7, 2, 2000), (3, 3, 2002)):
        filecmp.clear_cache()
        with open(old, "rb") as f, open(path("to"), "wb") as t:
            t.write(f.read())
        code, _ = job(before, "job", folder, str(reached))
        killed = code != 0
        if killed:
            assert filecmp.cmp(path("to"), old, shallow=False), "the destination changed before it was complete"
            assert os.path.exists(path("to.part")), os.listdir(folder)
        code, text = job(then, "job", folder)
        assert code == 0, (before, then, code)
        assert filecmp.cmp(path("to"), path("expected"), shallow=False), (before, then, reached, text)
        assert sorted(os.listdir(folder)) == ["expected", "from", "to", "to.old"], os.listdir(folder)
        went_on += killed and not text.startswith("resumed 0 ")
        print(before, then, reached, "killed" if killed else "through", text.strip())
    assert went_on >= 4, went_on
