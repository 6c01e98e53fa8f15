"""Wall time of a batch of flops: here one at a time, here two at a time,
and through a one-node Slurm cluster started on this machine.

    /usr/bin/python3 python/bench_batch.py SPOT.toml [--flops FILE] [--iterations N] [--report-turns T] [--slurm]

The spot is solved a fixed number of iterations (its accuracy is set out
of reach) so that every mode does the same work; its `threads` stay as
written (0: all), so one job at a time uses them all and two jobs split
them.  Under --slurm, threads 0 takes the node alone for each task.  The
per-flop report reads the turn cards of --report-turns ("" by default:
the flop nodes only), since reading every turn costs as much as a short
solve.  Needs root for --slurm (the cluster's daemons run as root).
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SIX = "As 7d 2c\nKh Qh 5h\n8s 8d 3c\nTd 9d 4s\nJc Jd Jh\n6s 5s 4d\n"


def batch(spot, flops, out, *extra, env=None):
    t0 = time.perf_counter()
    run = subprocess.run([sys.executable, "-m", "kestrune", "batch", spot, flops, "--out", out, "--quiet", *extra],
                         cwd=HERE, env=env, capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(f"batch failed: {run.stderr}")
    return time.perf_counter() - t0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("spot")
    ap.add_argument("--flops", help="a flop list (default: six flops of different textures)")
    ap.add_argument("--iterations", type=int, default=10)
    ap.add_argument("--report-turns", default="")
    ap.add_argument("--slurm", action="store_true")
    args = ap.parse_args()
    with tempfile.TemporaryDirectory(prefix="kestrune-bench-") as tmp:
        with open(args.spot) as f:
            text = f.read()
        text = re.sub(r"(?m)^(accuracy|max_iterations|max_seconds)\s*=.*\n", "", text)
        text = re.sub(r"(?m)^\[report\][^\[]*", "", text)
        head = f"accuracy = 0.0001\nmax_iterations = {args.iterations}\nmax_seconds = 0\n"
        spot = os.path.join(tmp, "spot.toml")
        with open(spot, "w") as f:
            f.write(head + text + f'\n[report]\nturns = "{args.report_turns}"\n')
        flops = args.flops or os.path.join(tmp, "flops.txt")
        if not args.flops:
            with open(flops, "w") as f:
                f.write(SIX)
        n = sum(1 for line in open(flops) if line.split("#")[0].strip())
        print(f"{n} flops, {args.iterations} iterations each, load average {os.getloadavg()[0]:.1f}")
        for jobs in (1, 2):
            wall = batch(spot, flops, os.path.join(tmp, f"local{jobs}"), "--jobs", str(jobs))
            print(f"local --jobs {jobs}: {wall:.1f} s")
        if args.slurm:
            sys.path.insert(0, os.path.join(HERE, "tests"))
            from slurm_cluster import OneNodeCluster
            with OneNodeCluster() as cluster:
                wall = batch(spot, flops, os.path.join(tmp, "slurm"), "--slurm", env=cluster.env)
            print(f"slurm (one-node cluster here): {wall:.1f} s")


if __name__ == "__main__":
    main()
