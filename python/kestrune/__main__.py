"""Command line: python3 -m kestrune range|lines|study|flops|batch ...

    range "TEXT"              the 1326 weights of a range, in hand order
    lines SPOT.toml           the commands that set the spot up
    study SPOT.toml --out DIR solve and write DIR/report.html, summary.json, nodes.json
    flops FLOPS               the flops of a set ("all", "sample:N", a file) with weights,
                              in the form of a flop list (a sample saved is a list)
    batch SPOT.toml FLOPS --out DIR [--slurm] [--jobs N]
                              solve the spot on every flop; DIR/report.html, flops.csv
    batch-task DIR INDEX      one flop of a batch (what batch and its Slurm tasks run)

Bad input ends with one line on the standard error and status 2, never a
traceback: these commands are typed by people.
"""

import argparse
import os
import sys
import time

from .batch import BatchError
from .client import KestruneError, KestruneTerminated
from .flops import FlopError
from .ranges import RangeError, combo_count, parse_range
from .results import PathError
from .spot import SpotError, load_spot


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m kestrune", description="Kestrune study toolkit")
    sub = parser.add_subparsers(dest="what", required=True)
    p = sub.add_parser("range", help="print the 1326 weights of a range in hand order")
    p.add_argument("text")
    p.add_argument("--count", action="store_true", help="print the number of combos instead")
    p = sub.add_parser("lines", help="print the commands that set a spot up")
    p.add_argument("spot")
    p = sub.add_parser("study", help="solve a spot and write its report")
    p.add_argument("spot")
    p.add_argument("--out", required=True, help="folder for report.html and summary.json")
    p.add_argument("--bin", help="the Kestrune program (default: $KESTRUNE_BIN or build/release/kestrune)")
    p.add_argument("--quiet", action="store_true", help="no progress bar")
    p.add_argument("--accuracy", type=float, help="override the spot's accuracy (% of the pot)")
    p.add_argument("--max-seconds", type=int, help="override the spot's time limit")
    p = sub.add_parser("flops", help="list the flops of a set with their weights")
    p.add_argument("flops", help='"all", "sample:N" or a file of flops')
    p.add_argument("--seed", type=int, default=0, help="which sample:N (default 0)")
    p = sub.add_parser("batch", help="solve a spot on many flops and aggregate the results")
    p.add_argument("spot")
    p.add_argument("flops", help='"all", "sample:N" or a file of flops, one a line')
    p.add_argument("--out", required=True, help="folder of the batch; re-running resumes it")
    p.add_argument("--slurm", action="store_true", help="one sbatch --array job, one task per flop")
    p.add_argument("--jobs", type=int, default=1, help="flops solved at once here (default 1)")
    p.add_argument("--dump", action="store_true", help="write each flop's tree file (dump_tree)")
    p.add_argument("--forget-rivers", action="store_true", help="forget rivers before the dump (implies --dump)")
    p.add_argument("--seed", type=int, default=0, help="which sample:N (default 0)")
    p.add_argument("--bin", help="the Kestrune program (default: $KESTRUNE_BIN or build/release/kestrune)")
    p.add_argument("--quiet", action="store_true", help="no progress bar")
    p = sub.add_parser("batch-task")
    p.add_argument("dir")
    p.add_argument("index", type=int)
    p.add_argument("--threads", type=int, default=1)
    p.add_argument("--index-file", help="INDEX is a line number (from 0) of this file of flop indices")
    p.add_argument("--bin")
    args = parser.parse_args(argv)
    if args.what == "batch-task":
        return batch_task(args)
    try:
        if args.what == "range":
            weights = parse_range(args.text)
            print(f"{combo_count(weights):g}" if args.count else " ".join(format(w, "g") for w in weights))
        elif args.what == "flops":
            from .flops import flop_set
            for f in flop_set(args.flops, args.seed):
                t = f.texture()
                print(f"{f.text}  {f.weight:.10g}  # {t['suits']} {t['pairing']} {t['high']}-high {t['connectedness']}")
        elif args.what == "batch":
            return batch(args)
        elif args.what == "lines":
            print("\n".join(load_spot(args.spot).commands()))
        else:
            from .report import study
            spot = load_spot(args.spot)
            if args.accuracy is not None:
                spot.accuracy = args.accuracy
            if args.max_seconds is not None:
                spot.max_seconds = args.max_seconds
            summary = study(spot, args.out, args.bin, progress=not args.quiet)
            print(f"stopped: {summary['stopped']} after {summary['iterations']} iterations, "
                  f"exploitable for {summary['exploitability_pct']:.3f}% of the pot")
            print("root: " + ", ".join(f"{a} {100 * f:.1f}%" for a, f in summary["root_strategy"].items()))
            print(f"report: {os.path.abspath(os.path.join(args.out, 'report.html'))}")
    except (RangeError, SpotError, PathError, KestruneError, KestruneTerminated, OSError, FlopError,
            BatchError) as e:
        print(f"kestrune: {e}", file=sys.stderr)
        return 2
    return 0


def batch(args):
    """Check everything that can be checked before a process or a job
    starts, run the pending flops, aggregate.  Status 1 if a flop failed."""
    from . import batch as b
    from .batch_report import aggregate
    if args.jobs < 1:
        raise BatchError("--jobs is 1 or more")
    if (args.dump or args.forget_rivers) and any(c.isspace() for c in os.path.abspath(args.out)):
        # The program's command line splits at spaces: dump_tree takes one word.
        raise BatchError("tree files need an --out path without spaces")
    flops = b.parse_flops(args.flops, args.seed)
    if args.slurm:
        b.check_slurm()
    manifest = b.plan(args.spot, flops, args.dump, args.forget_rivers)
    b.check_resumable(args.out, manifest)
    todo = b.pending(args.out, manifest)
    done_before = len(manifest["flops"]) - len(todo)
    if todo:
        b.check_builds(manifest, args.bin)
    b.write_manifest(args.out, manifest)
    if not args.quiet:
        print(f"{len(manifest['flops'])} flops, {done_before} done before, {len(todo)} to solve")
    t0 = time.perf_counter()
    try:
        if args.slurm:
            job, flops_in_job = b.submit_slurm(args.out, manifest, args.bin)
            if job is not None:
                if not args.quiet:
                    print(f"Slurm job {job}: {len(flops_in_job)} tasks")
                b.wait_slurm(args.out, manifest, job, flops_in_job, progress=not args.quiet)
        elif todo:
            b.run_local(args.out, manifest, args.jobs, args.bin, progress=not args.quiet)
    except KeyboardInterrupt:
        # Here the flops in flight are lost and nothing else; on Slurm the
        # job goes on, and the same command waits for it again.
        print("kestrune: interrupted; run the same command again to go on", file=sys.stderr)
        return 130
    wall = time.perf_counter() - t0
    rows, _ = aggregate(args.out)
    failed = b.failures(args.out, manifest)
    left = len(b.pending(args.out, manifest))
    print(f"{len(rows)} of {len(manifest['flops'])} flops done ({wall:.1f} s this run); "
          f"report: {os.path.abspath(os.path.join(args.out, 'report.html'))}")
    for name, error in failed.items():
        print(f"failed {name}: {error}", file=sys.stderr)
    if left:
        where = f" (the tasks' output: {os.path.join(args.out, 'slurm')})" if args.slurm else ""
        print(f"kestrune: {left} flops not done{where}; run the same command again to retry them",
              file=sys.stderr)
        return 1
    return 0


def batch_task(args):
    """Exit status: 0 done (or done before), 1 failed, 3 another process
    has the flop."""
    from .batch import solve_task
    index = args.index
    if args.index_file:
        with open(args.index_file) as f:
            index = int(f.read().split()[index])
    outcome = solve_task(args.dir, index, args.threads, args.bin)
    return {"done": 0, "skipped": 0, "failed": 1, "busy": 3}[outcome]


if __name__ == "__main__":
    sys.exit(main())
