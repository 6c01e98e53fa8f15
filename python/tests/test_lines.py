"""The tree builder against a reference tree and against small trees
worked out by hand; the labels the results layer gives to the program's
children."""

import os

import pytest

from kestrune import Tree, load_spot, set_up
from kestrune.lines import STREETS, BetSizes, TreeError, build_lines, format_lines
from conftest import write_spot

REFERENCE = os.path.join(os.path.dirname(__file__), "..", "..", "..", "shared", "spots", "flop_qsjh2h_spr2.txt")


def sizes(**table):
    return BetSizes.from_table(table)


@pytest.mark.skipif(not os.path.exists(REFERENCE), reason="reference spot not present")
def test_half_pot_bets_pot_raises_reproduce_the_reference_flop_tree():
    table = {f"{s}_{k}": "100%" if k == "raise" else "50%" for s in STREETS for k in ("oop", "ip", "raise")}
    got = format_lines(build_lines("flop", 100, 200, sizes(**table, donk=True, max_raises=1)))
    with open(REFERENCE) as f:
        want = [line.strip() for line in f if line.startswith("add_line")]
    assert got == want


# River, pot 100, 150 behind.  Bets: 33% -> 33, 75% -> 75.  Raises after 33:
# 2.5x -> 82.5, rounded half away to 83 (a full raise: 50 >= 33), and all-in
# 150.  After 75: 2.5x -> 187.5, above the stack, so all-in, the same line as
# "a".  One raise per street, so no reraise.
HAND_RIVER = [
    [0, 0],
    [0, 33, 33], [0, 33, 83, 83], [0, 33, 150, 150],
    [0, 75, 75], [0, 75, 150, 150],
    [33, 33], [33, 83, 83], [33, 150, 150],
    [75, 75], [75, 150, 150],
]


def river_sizes(**extra):
    return sizes(river_oop="33%, 75%", river_ip="33%,75%", river_raise="2.5x, a", **extra)


def test_small_river_tree_by_hand():
    assert build_lines("river", 100, 150, river_sizes()) == HAND_RIVER


def test_allin_threshold_and_raise_cap():
    # Half the pot as threshold: a bet of 75 leaves 75 behind against a
    # called pot of 250, under 125: all-in.  33 leaves 117 against 166/2=83:
    # kept.  The raise to 83 leaves 67 against (100+166)/2=133: all-in.
    lines = build_lines("river", 100, 150, river_sizes(allin_threshold=0.5))
    assert lines == [[0, 0], [0, 33, 33], [0, 33, 150, 150], [0, 150, 150],
                     [33, 33], [33, 150, 150], [150, 150]]
    # No raises at all: bets and calls only.
    assert build_lines("river", 100, 150, river_sizes(max_raises=0)) == [
        [0, 0], [0, 33, 33], [0, 75, 75], [33, 33], [75, 75]]


def test_donk_bets_and_geometric_sizes():
    # Turn, pot 100, 1000 behind, half-pot bets, no raises.  After IP bets
    # the turn and OOP calls, OOP may not lead the river unless donk is on.
    base = dict(turn_oop="50%", turn_ip="50%", river_oop="50%", river_ip="50%")
    no_donk = build_lines("turn", 100, 1000, sizes(**base))
    assert no_donk == [[0, 0, 0, 0], [0, 0, 0, 50, 50], [0, 0, 50, 50],
                       [0, 50, 50, 50, 50], [0, 50, 50, 50, 150, 150],
                       [50, 50, 50, 50], [50, 50, 50, 150, 150], [50, 50, 150, 150]]
    with_donk = build_lines("turn", 100, 1000, sizes(**base, donk=True))
    assert sorted(set(map(tuple, with_donk)) - set(map(tuple, no_donk))) == [(0, 50, 50, 150, 150)]
    # Geometric over two streets: pot 100, 400 behind: (1 + 2f)^2 = 9, f = 1,
    # so 100 on the turn and 300 (pot 300) on the river puts the stack in.
    geo = build_lines("turn", 100, 400, sizes(turn_ip="2e", river_ip="e"))
    assert [0, 100, 100, 100, 400, 400] in geo


@pytest.mark.parametrize("table,message", [
    ({"flop_oop": "33"}, "bad size"),
    ({"flop_oop": "2.5x"}, "for raises"),
    ({"flop_raise": "2.5y"}, "bad size"),
    ({"flop_ipp": "33%"}, "unknown"),
    ({"max_raises": -1}, "max_raises"),
])
def test_bad_sizes_are_refused(table, message):
    with pytest.raises(TreeError, match=message):
        BetSizes.from_table(table)


def test_labels_follow_the_programs_children(solver, tmp_path):
    spot = load_spot(write_spot(tmp_path, """
board = "Qs Jh 2h 8d 3c"
pot = 100
stack = 150
oop_range = "QQ,JJ,AK"
ip_range = "QQ,JJ,AK"
[bets]
river_oop = "33%, 75%"
river_ip = "33%, 75%"
river_raise = "2.5x, a"
"""))
    assert spot.lines == HAND_RIVER
    set_up(solver, spot)
    root = Tree(solver, spot.board, spot.pot, spot.stack).root()
    assert root.actions == ["bet 75", "bet 33", "check"]
    facing = root.play("check").play("bet 33")
    assert facing.actions == ["all-in", "raise to 83", "call", "fold"]
    assert facing.pot_here == 133 and facing.player == 0
    assert facing.play("raise to 83").actions == ["call", "fold"]
    assert facing.play("call").kind == "showdown" and facing.play("fold").kind == "fold"
