#!/usr/bin/env python3
"""lml-mpi writes the files that lml writes, and fails with one line: mpi_command.py MPIEXEC LML-MPI LML."""
import filecmp
import os
import subprocess
import sys
import tempfile

mpiexec, shared, alone = sys.argv[1:]
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    with open("cloud.csv", "w", encoding="utf-8") as f:
        f.write("0 0 -0.02 1\n1e-4 1e-4 -0.03 1\n")
    for name, words in (("object", "points cloud.csv {} --size 512 --segments 4x2 --pitch 8um"),
                        ("near", "propagate object.alone.lm {} -d 5mm --method exact-asm --memory 1MiB"),
                        ("far", "propagate object.alone.lm {} -d 5cm --method shifted-fresnel --to-pitch 9um --memory 1MiB")):
        subprocess.run([alone, *words.format(f"{name}.alone.lm").split(), "-q"], check=True)
        subprocess.run([mpiexec, "-n", "3", shared, *words.format(f"{name}.ranks.lm").split(), "-q"], check=True)
        assert filecmp.cmp(f"{name}.alone.lm", f"{name}.ranks.lm", shallow=False), name
    failed = subprocess.run([mpiexec, "-n", "2", shared, "propagate", "none.lm", "x.lm", "-d", "1mm", "--method", "asm"],
                            stderr=subprocess.PIPE, text=True)
    assert failed.returncode == 1 and failed.stderr.count("lml-mpi propagate: ") == 1, failed.stderr
    assert not os.path.exists("x.lm") and len(os.listdir()) == 7, os.listdir()
