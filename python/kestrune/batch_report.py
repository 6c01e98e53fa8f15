"""The aggregate of a batch: DIR/flops.csv and DIR/report.html.

Per flop: its weight and texture, both EVs, the exploitability and the
action frequencies of each player's first decision.  Across flops: those
frequencies and the mean bet size, averaged with the flop weights over the
flops of each texture and each high card, so that a sample or a partial
batch reads as the whole flop set would.  A flop's frequencies at a
decision are its player's (reach-weighted over his range), as the spot
report shows them; an average over flops weighs every flop by its weight
only, not by how often the play reaches the decision.

The page is one file like the spot report, with the data inline; each flop
links to its own report in flops/<FLOP>/report.html.
"""

import csv
import json
import os
import re

from . import pages
from .batch import flop_dir, read_manifest
from .cards import RANKS, parse_board
from .flops import CONNECTEDNESS, PAIRINGS, SUIT_TEXTURES, Flop, texture, texture_order
from .results import PLAYERS
from .spot import load_spot_text

GROUPS = (("suits", SUIT_TEXTURES), ("pairing", PAIRINGS), ("connectedness", CONNECTEDNESS),
          ("high", tuple(RANKS[::-1])))
_BET = re.compile(r"^(?:bet|raise to) (\d+)$")


def load_rows(out_dir):
    """One record per done flop, in the order players list flops."""
    manifest = read_manifest(out_dir)
    rows = []
    for entry in manifest["flops"]:
        path = os.path.join(flop_dir(out_dir, entry["name"]), "summary.json")
        if not os.path.exists(path):
            continue
        with open(path) as f:
            s = json.load(f)
        cards = parse_board(entry["text"])
        row = {"flop": entry["text"], "name": entry["name"], "weight": entry["weight"], **texture(cards),
               "ev_oop": s["ev"]["OOP"], "ev_ip": s["ev"]["IP"],
               "exploitability_pct": s["exploitability_pct"], "iterations": s["iterations"],
               "seconds": s["seconds"]["total"], "stopped": s["stopped"],
               "first": {p: d["actions"] for p, d in s["first_decisions"].items()},
               "reach": {p: d["reach"] for p, d in s["first_decisions"].items()},
               "report": os.path.join("flops", entry["name"], "report.html")}
        rows.append(row)
    rows.sort(key=lambda r: texture_order(Flop(tuple(sorted(parse_board(r["flop"]), reverse=True)), r["weight"])))
    return manifest, rows


def action_columns(rows):
    """Per player, the labels of his first decision's actions, in first-seen order."""
    out = {p: [] for p in PLAYERS}
    for r in rows:
        for p, mix in r["first"].items():
            for label in mix:
                if label not in out[p]:
                    out[p].append(label)
    return {p: labels for p, labels in out.items() if labels}


def bet_size(label, pot, stack):
    """Chips a bet or raise label puts in on the flop, as % of the pot."""
    m = _BET.match(label)
    if m:
        return 100.0 * int(m.group(1)) / pot
    if label == "all-in":
        return 100.0 * stack / pot
    return None


def weighted_mix(rows, player, labels, pot, stack):
    """Weighted means over `rows` of each action's frequency, the share of
    betting and the mean bet size (% of the pot) when betting."""
    total = sum(r["weight"] for r in rows if player in r["first"])
    if total <= 0:
        return None
    mix = {a: sum(r["weight"] * (r["first"][player].get(a) or 0.0) for r in rows if player in r["first"]) / total
           for a in labels}
    sizes = {a: bet_size(a, pot, stack) for a in labels}
    bet = sum(f for a, f in mix.items() if sizes[a] is not None)
    size = sum(f * sizes[a] for a, f in mix.items() if sizes[a] is not None) / bet if bet > 0 else None
    return {"mix": mix, "bet": bet, "size": size, "weight": total}


def charts(rows, pot, stack):
    """The chart data: per player, per grouping, per group value."""
    labels = action_columns(rows)
    out = {}
    for player, acts in labels.items():
        per = {"all": _group(rows, player, acts, pot, stack, "all flops"), "groups": {}}
        for key, values in GROUPS:
            subsets = [(v, [r for r in rows if r[key] == v]) for v in values]
            per["groups"][key] = [e for e in (_group(s, player, acts, pot, stack, v) for v, s in subsets if s) if e]
        out[player] = {"actions": acts, **per}
    return out


def _group(rows, player, actions, pot, stack, value):
    entry = weighted_mix(rows, player, actions, pot, stack)
    if entry:
        w = sum(r["weight"] for r in rows)
        entry.update(value=value, flops=len(rows), ev_oop=sum(r["weight"] * r["ev_oop"] for r in rows) / w)
    return entry


def write_csv(path, rows, labels):
    with open(path, "w", newline="") as f:
        w = csv.writer(f)
        w.writerow(["flop", "weight", "suits", "pairing", "high_card", "connectedness", "ev_oop", "ev_ip",
                    "exploitability_pct", "iterations", "seconds"]
                   + [f"{p} {a}" for p, acts in labels.items() for a in acts])
        for r in rows:
            w.writerow([r["flop"], r["weight"], r["suits"], r["pairing"], r["high"], r["connectedness"],
                        r["ev_oop"], r["ev_ip"], r["exploitability_pct"], r["iterations"], r["seconds"]]
                       + [_blank(r["first"].get(p, {}).get(a)) for p, acts in labels.items() for a in acts])


def _blank(x):
    return "" if x is None else x


def aggregate(out_dir):
    """Write flops.csv and report.html from the done flops; return (rows, charts)."""
    manifest, rows = load_rows(out_dir)
    spot = load_spot_text(manifest["spot_text"], manifest["spot_file"])
    labels = action_columns(rows)
    write_csv(os.path.join(out_dir, "flops.csv"), rows, labels)
    data = charts(rows, spot.pot, spot.stack)
    failed = {}
    for entry in manifest["flops"]:
        err = os.path.join(flop_dir(out_dir, entry["name"]), "error.txt")
        if entry["name"] not in {r["name"] for r in rows} and os.path.exists(err):
            with open(err) as f:
                failed[entry["text"]] = f.read().strip()
    page_data = {"title": spot.name, "pot": spot.pot, "stack": spot.stack, "players": {"OOP": spot.oop_name,
                 "IP": spot.ip_name}, "flops_total": len(manifest["flops"]),
                 "weight_total": sum(e["weight"] for e in manifest["flops"]),
                 "rows": rows, "labels": labels, "charts": data, "failed": failed}
    pages.write_page("batch_page.html", os.path.join(out_dir, "report.html"), spot.name, page_data)
    return rows, data
