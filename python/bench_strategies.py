"""How long reading a solved flop tree's strategies takes, against the solve.

    /usr/bin/python3 python/bench_strategies.py SPOT.toml [--rivers N] [--iterations N]

Solves the spot (to its accuracy, or a fixed number of iterations), then
walks every decision from the root to the river: all flop nodes, every
turn card's turn nodes and, below each turn card, the river nodes of N
river cards (N = 48 is the whole tree).  It times the protocol round trips
with parsing, and the parsing of the same reply text alone.
"""

import argparse
import os
import sys
import time

sys.path.insert(0, os.path.dirname(__file__))

from kestrune import Limit, Solver, Tree, load_spot, set_up, walk  # noqa: E402
from kestrune.client import parse_row  # noqa: E402


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("spot")
    ap.add_argument("--rivers", type=int, default=1)
    ap.add_argument("--iterations", type=int, default=0)
    args = ap.parse_args()
    spot = load_spot(args.spot)
    with Solver() as solver:
        set_up(solver, spot)
        t0 = time.perf_counter()
        solver.solve(Limit(spot.accuracy, args.iterations, spot.max_seconds), progress=False)
        solve = time.perf_counter() - t0
        tree = Tree(solver, spot.board, spot.pot, spot.stack)
        t0 = time.perf_counter()
        paths = [n.path for n in walk(tree.root(), rivers=lambda n: n.deals()[:args.rivers])
                 if n.kind == "decision"]
        nodes, numbers, parse = len(paths), 0, 0.0
        for start in range(0, nodes, 2000):      # in chunks: a whole tree's text won't fit in memory
            texts = solver.commands(f"show_strategy {p}" for p in paths[start:start + 2000])
            t1 = time.perf_counter()
            numbers += sum(parse_row(line).size for lines in texts for line in lines)
            parse += time.perf_counter() - t1
        fetch = time.perf_counter() - t0
    print(f"solve {solve:.1f} s ({solver.iterations} iterations); {nodes} decision nodes, {numbers} numbers: "
          f"read and parsed in {fetch:.2f} s ({1000 * fetch / nodes:.2f} ms a node), "
          f"of which parsing {parse:.2f} s; reading is {100 * fetch / solve:.1f}% of the solve")


if __name__ == "__main__":
    main()
