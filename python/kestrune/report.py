"""The study of one spot: solve it, read the tree, write report.html and
summary.json.

The page is one self-contained file (its data, style and script inline, no
network), so it can be mailed or opened from a disk.  Which nodes it holds
is a trade of size against reach: every flop node, the turn nodes for the
turn cards the spot's [report] table names (default all), and below each
turn card the river nodes of `rivers` river cards (default 0).  The same
data is written as nodes.json for scripts.
"""

import json
import os
import time

import numpy as np

from . import __version__, pages
from .cards import CLASS_HANDS, GRID, card_index, card_text, class_name, hand_index
from .client import Limit, Solver
from .results import PLAYERS, Tree, walk
from .spot import describe, node_counts, set_up


def _r(x, digits=4):
    return None if x is None or (isinstance(x, float) and not np.isfinite(x)) else round(float(x), digits)


def _turn_cards(spot):
    if spot.report_turns.strip().lower() == "all":
        return None
    return [card_text(card_index(c)) for c in spot.report_turns.replace(",", " ").split()]


def node_record(node, ev=True):
    """What the page needs of one node."""
    rec = {"path": node.path, "kind": node.kind, "street": node.street,
           "board": " ".join(card_text(c) for c in node.board), "pot": node.pot_here,
           "history": node.history, "paid": list(node.state.paid)}
    if node.kind != "decision":
        # End nodes are only named: a showdown below an all-in names no
        # river card, and the program refuses queries on such a street.
        return rec
    data = node.read(ev=ev)
    rec["player"] = PLAYERS[node.player] if node.player is not None else None
    rec["actions"] = node.actions
    rec["children"] = [child.path for _, child in node.children()]
    rec["summary"] = json.loads(json.dumps(data.summary()), parse_float=lambda s: round(float(s), 4))
    rec["ranges"] = {PLAYERS[p]: [_r(np.nansum(data.reach[p][h]), 3) for h in CLASS_HANDS] for p in (0, 1)}
    classes, combos = {}, {}
    for name, cell in data.by_class().items():
        classes[name] = {k: ([_r(x) for x in v] if isinstance(v, list) else _r(v)) for k, v in cell.items()}
    for c in data.combos():
        name = _class_of(c["hand"])
        combos.setdefault(name, []).append(
            [c["hand"], _r(c["reach"], 3), [_r(x, 3) for x in c.get("strategy", [])],
             _r(c.get("ev"), 2), _r(c.get("equity"), 3), _r(c.get("eqr"), 3)])
    rec["classes"], rec["combos"] = classes, combos
    return rec


def _class_of(hand):
    return class_name(hand_index(card_index(hand[:2]), card_index(hand[2:])))


def collect(tree, spot, ev=True):
    """Records of the nodes the report holds, keyed by path."""
    turns = _turn_cards(spot)
    rivers = spot.report_rivers
    root = tree.root()
    nodes = {}
    pick_turns = (lambda n: turns) if turns is not None else None
    pick_rivers = lambda n: n.deals()[:rivers]  # noqa: E731 - the top cards, a fixed choice
    for node in walk(root, turns=pick_turns, rivers=pick_rivers):
        nodes[node.path] = node_record(node, ev=ev)
    for rec in nodes.values():
        if "children" in rec:
            rec["children"] = [p if p in nodes else None for p in rec["children"]]
    return nodes


def study(spot, out_dir, solver_path=None, progress=True):
    """Solve `spot`, write the report files into `out_dir`; return the summary."""
    os.makedirs(out_dir, exist_ok=True)
    timings = {}
    with Solver(solver_path) as solver:
        t0 = time.perf_counter()
        size_mb = set_up(solver, spot)
        counts = node_counts(solver)
        if progress:
            print(f"tree: {len(spot.lines)} lines, decisions per street {counts}, estimated {size_mb} MB")
        timings["build"] = time.perf_counter() - t0
        t0 = time.perf_counter()
        reason = solver.solve(Limit(spot.accuracy, spot.max_iterations, spot.max_seconds), progress=progress)
        timings["solve"] = time.perf_counter() - t0
        results = solver.results()
        t0 = time.perf_counter()
        tree = Tree(solver, spot.board, spot.pot, spot.stack)
        nodes = collect(tree, spot)
        timings["report"] = time.perf_counter() - t0
    root = nodes["r:0"]
    summary = {
        "spot": {"name": spot.name, **describe(spot), "oop_name": spot.oop_name, "ip_name": spot.ip_name},
        "stopped": reason, "iterations": results["iterations"],
        "ev": {"OOP": results["ev_oop"], "IP": results["ev_ip"]},
        "exploitability": results["exploitability"], "exploitability_pct": results["exploitability_pct"],
        "root_strategy": root["summary"].get("actions", {}), "tree_mb": size_mb,
        "decisions_per_street": counts, "report_nodes": len(nodes),
        "seconds": {k: round(v, 3) for k, v in timings.items()},
        "toolkit": __version__,
    }
    with open(os.path.join(out_dir, "summary.json"), "w") as f:
        json.dump(summary, f, indent=2)
    with open(os.path.join(out_dir, "nodes.json"), "w") as f:
        json.dump(nodes, f)
    write_html(os.path.join(out_dir, "report.html"), summary, nodes)
    return summary


def write_html(path, summary, nodes):
    pages.write_page("report_page.html", path, summary["spot"]["name"],
                     {"summary": summary, "nodes": nodes, "grid": GRID})
