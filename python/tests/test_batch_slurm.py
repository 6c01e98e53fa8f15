"""A batch of six flops here (one and two at a time) and through a real
one-node Slurm cluster started on this machine: same program, same
iterations, one thread a flop, so every per-flop number must agree to the
bit.  The wall times and the cluster's own record of the tasks go to
build/toolkit/batch_slurm.txt.  A minute or so; `-m "not slurm"` leaves it
out."""

import csv
import json
import os
import shutil
import time

import pytest

from conftest import FLOP, SIX_FLOPS, write_spot
from slurm_cluster import OneNodeCluster
from test_batch import run_batch

pytestmark = pytest.mark.slurm
RECORD = os.path.join(os.path.dirname(__file__), "..", "..", "build", "toolkit", "batch_slurm.txt")


def results(folder):
    """Per flop, everything a solve decides (not its times)."""
    out = {}
    for d in sorted((folder / "flops").iterdir()):
        s = json.loads((d / "summary.json").read_text())
        del s["seconds"]
        out[d.name] = s
    with open(folder / "flops.csv") as f:
        rows = [{k: v for k, v in r.items() if k != "seconds"} for r in csv.DictReader(f)]
    return out, rows


def test_slurm_array_matches_local_runs(tmp_path):
    missing = [t for t in ("munged", "slurmctld", "slurmd", "sbatch") if not shutil.which(t)]
    if missing:
        pytest.skip(f"no {', '.join(missing)} (scripts/setup-toolkit --slurm installs them)")
    if os.geteuid() != 0:
        pytest.skip("the test cluster runs its daemons as root")
    spot = write_spot(tmp_path, FLOP)
    flops = tmp_path / "flops.txt"
    flops.write_text(SIX_FLOPS)
    walls = {}
    for jobs in (1, 2):
        t0 = time.perf_counter()
        run = run_batch(spot, flops, "--out", tmp_path / f"local{jobs}", "--jobs", jobs)
        walls[f"local --jobs {jobs}"] = time.perf_counter() - t0
        assert run.returncode == 0, run.stderr
    # Array indices up to 5: six flops fit, seven are refused before submitting.
    with OneNodeCluster(cpus=2, max_array_size=6) as cluster:
        run = run_batch(spot, "sample:7", "--out", tmp_path / "seven", "--slurm", env=cluster.env)
        assert run.returncode == 2 and "MaxArraySize" in run.stderr, run.stderr
        assert not (tmp_path / "seven" / "slurm" / "job.json").exists()
        t0 = time.perf_counter()
        run = run_batch(spot, flops, "--out", tmp_path / "slurm", "--slurm", env=cluster.env)
        walls["slurm"] = time.perf_counter() - t0
        assert run.returncode == 0, run.stderr + cluster.logs()
        with open(cluster.jobcomp) as f:
            accounting = f.read()
    local, local_rows = results(tmp_path / "local1")
    assert len(local) == 6 and all(s["iterations"] == 20 and s["threads"] == 1 for s in local.values())
    for other in ("local2", "slurm"):
        summaries, rows = results(tmp_path / other)
        assert summaries == local, other
        assert rows == local_rows, other
    job = json.loads((tmp_path / "slurm" / "slurm" / "job.json").read_text())["id"]
    tasks = [line for line in accounting.splitlines() if f"ArrayJobId={job} " in line]
    assert len(tasks) == 6 and all("JobState=COMPLETED" in t and "ExitCode=0:0" in t for t in tasks)
    assert sorted(int(t.split("ArrayTaskId=")[1].split()[0]) for t in tasks) == list(range(6))
    os.makedirs(os.path.dirname(RECORD), exist_ok=True)
    with open(RECORD, "w") as f:
        f.write("wall time of 6 flops, one thread each, 20 iterations:\n")
        f.writelines(f"  {k}: {v:.1f} s\n" for k, v in walls.items())
        f.write("the cluster's job completion record:\n" + "\n".join(tasks) + "\n")
