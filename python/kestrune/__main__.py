"""Command line: python3 -m kestrune range|lines|study ...

    range "TEXT"              the 1326 weights of a range, in hand order
    lines SPOT.toml           the commands that set the spot up
    study SPOT.toml --out DIR solve and write DIR/report.html, summary.json, nodes.json

Bad input ends with one line on the standard error and status 2, never a
traceback: these commands are typed by people.
"""

import argparse
import os
import sys

from .client import KestruneError, KestruneTerminated
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
    args = parser.parse_args(argv)
    try:
        if args.what == "range":
            weights = parse_range(args.text)
            print(f"{combo_count(weights):g}" if args.count else " ".join(format(w, "g") for w in weights))
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
    except (RangeError, SpotError, PathError, KestruneError, KestruneTerminated, OSError) as e:
        print(f"kestrune: {e}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
