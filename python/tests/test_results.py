"""Reading a solved tree: hand-class views against independent sums and
the program's own frequencies, EQR where it must be 1, locks, exports."""

import csv
import json

import numpy as np
import pytest

from kestrune import Limit, Solver, Tree, load_spot, set_up, walk
from kestrune.cards import HAND_TEXT
from kestrune.ranges import parse_range
from kestrune.results import PathError, export_json
from conftest import TURN, write_spot


def test_root_means_match_the_programs_totals(solved_river):
    solver, spot, tree = solved_river
    data = tree.root().read()
    summary = data.summary()
    results = solver.results()
    # The matchup-weighted mean EV of a range is the game's EV.
    assert summary["OOP"]["ev"] == pytest.approx(results["ev_oop"], abs=0.01)
    assert summary["IP"]["ev"] == pytest.approx(results["ev_ip"], abs=0.01)
    # Action frequencies over the whole range, as show_probs counts them.
    probs = solver.command("show_probs r:0")[0].split()[4:]
    program = dict(zip(probs[::2], map(float, probs[1::2])))
    assert summary["actions"]["bet 50"] == pytest.approx(program["b50"], abs=1e-6)
    assert summary["actions"]["check"] == pytest.approx(program["c"], abs=1e-6)


def test_class_cells_are_reach_weighted_means(solved_river):
    _, _, tree = solved_river
    node = tree.root().play("check").play("bet 50")
    data = node.read()
    cells = data.by_class()
    reach = np.nan_to_num(data.reach[0])
    # Aces, found by their text rather than by the class tables.
    aces = [i for i, t in enumerate(HAND_TEXT) if t[0] == "A" and t[2] == "A"]
    want = [np.dot(row[aces], reach[aces]) / reach[aces].sum() for row in data.strategy]
    assert cells["AA"]["strategy"] == pytest.approx(want)
    assert cells["AA"]["combos"] == pytest.approx(reach[aces].sum())
    for name, cell in cells.items():
        assert sum(cell["strategy"]) == pytest.approx(1.0, abs=1e-6), name
        assert 0.0 <= cell["equity"] <= 1.0
    assert "72o" not in cells     # nobody holds it


@pytest.mark.parametrize("path", [["check", "check"], ["check", "bet 50", "call"]])
def test_eqr_is_one_at_a_showdown(solved_river, path):
    """With no betting left a hand wins exactly its equity of the pot, so
    EV from here over equity times the pot is 1 for every hand."""
    _, _, tree = solved_river
    node = tree.root()
    for label in path:
        node = node.play(label)
    assert node.kind == "showdown"
    data = node.read()
    for p in (0, 1):
        eqr = data.eqr(p)
        useful = np.isfinite(eqr) & (np.nan_to_num(data.equity[p]) > 0.01)
        assert useful.sum() > 20
        assert np.allclose(eqr[useful], 1.0, atol=1e-4)


def test_navigation_errors_say_what_is_there(solved_river):
    _, _, tree = solved_river
    root = tree.root()
    with pytest.raises(PathError, match="there are: bet 50, check"):
        root.play("raise to 999")
    with pytest.raises(PathError, match="no card to deal"):
        root.deal("As")
    with pytest.raises(PathError, match="no action"):
        root.play("check").play("check").play("check")


def test_lock_by_hand_class(tmp_path):
    spot = load_spot(write_spot(tmp_path, TURN))
    with Solver() as solver:
        set_up(solver, spot)
        solver.solve(Limit(accuracy=1.0), progress=False)
        node = Tree(solver, spot.board, spot.pot, spot.stack).root()
        assert node.actions == ["bet 50", "check"]
        # "OOP bets every set": on Qs Jh 2h 8d the sets are QQ, JJ and 88,
        # three combos each with one card of the rank on the board.
        assert node.lock({"bet 50": 1.0}, "QQ,JJ,88") == 9
        mask = solver.rows(f"show_locked_combos {node.path}")[0]
        assert {HAND_TEXT[i][::2] for i in np.flatnonzero(mask)} == {"QQ", "JJ", "88"} and mask.sum() == 9
        solver.solve(Limit(accuracy=0, iterations=40), progress=False)
        strategy = node.strategy()
        sets = mask > 0
        assert np.all(strategy[0, sets] == 1.0)
        # The other hands stay free: some of them still check.
        in_range = np.nan_to_num(node.reach(0)) > 0
        assert np.any(strategy[1, in_range & ~sets] > 0.5)
        with pytest.raises(PathError, match="no action 'raise to 500'"):
            node.lock({"raise to 500": 1.0}, "AA")
        with pytest.raises(PathError, match="frequencies"):
            node.lock({"check": 0.0}, "AA")


def test_exports(solved_river, tmp_path):
    _, _, tree = solved_river
    count = export_json(walk(tree.root(), depth=2), str(tmp_path / "tree.json"))
    nodes = json.loads((tmp_path / "tree.json").read_text())
    # Depth 2 from the river root: root, its 2 children, and their 5 children.
    assert count == len(nodes) == 1 + 2 + 5
    assert nodes[0]["path"] == "r:0" and nodes[0]["actions"] == ["bet 50", "check"]
    node = tree.root().play("bet 50")
    data = node.read()
    data.write_csv(str(tmp_path / "node.csv"))
    rows = list(csv.reader(open(tmp_path / "node.csv")))
    assert rows[0][:5] == ["hand", "reach", "p(all-in)", "p(call)", "p(fold)"]
    assert len(rows) - 1 == np.count_nonzero(np.nan_to_num(data.reach[1]) > 0)


def test_walk_deals_the_named_turn_and_river_cards(solver, tmp_path):
    """On a flop tree the first deal is a turn: `turns` picks its cards,
    `rivers` those of the next one.  Only the tree's shape is read."""
    spot = load_spot(write_spot(tmp_path, """
board = "Qs Jh 2h"
pot = 100
stack = 100
oop_range = "QQ,22"
ip_range = "AA,KK"
[bets]
flop_ip = "50%"
"""))
    set_up(solver, spot)
    root = Tree(solver, spot.board, spot.pot, spot.stack).root()
    paths = [n.path for n in walk(root, turns=lambda n: ["Kd", "3c"], rivers=lambda n: ["As"])]
    deals = {tuple(t for t in p.split(":")[2:] if len(t) == 2 and t[0] != "b") for p in paths}
    assert deals == {(), ("Kd",), ("3c",), ("Kd", "As"), ("3c", "As")}
    chance = root.play("check").play("check")
    assert chance.kind == "chance" and chance.street == "turn" and len(chance.deals()) == 49
    assert chance.deal("Kd").play("check").play("check").street == "river"
