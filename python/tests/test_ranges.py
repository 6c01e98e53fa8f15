"""Range text against hand counts worked out on paper, round trips, and
the hand order against the program's own."""

import re

import numpy as np
import pytest

from kestrune.cards import CLASS_HANDS, HAND_TEXT, parse_board
from kestrune.client import parse_row
from kestrune.ranges import RangeError, combo_count, format_range, parse_range

# (range, combos, board): pairs have 6 combos, suited classes 4, offsuit 12.
PAPER = [
    ("22+", 78, ""),
    ("A2s+", 48, ""),
    ("KTo+", 36, ""),
    ("AA-TT", 30, ""),
    ("A5s-A2s", 16, ""),
    ("AK", 16, ""),
    ("AhKh", 1, ""),
    ("AKo:0.5", 6, ""),
    ("QQ+,AKs,AKo", 34, ""),
    ("K9+", 64, ""),                       # 4 suited + 4 offsuit classes
    ("AA-22,AKs-A2s,KQs-K9s,AKo-ATo", 190, ""),
    ("AA-22,77:0.5", 75, ""),              # the later item wins
    ("22+,A2+,K2+,Q2+,J2+,T2+,92+,82+,72+,62+,52+,42+,32", 1326, ""),
    ("QQ", 3, "Qs Jh 2h"),                 # one queen is on the board
    ("QJo", 7, "Qs Jh 2h"),                # 3 queens x 3 jacks, less QcJc and QdJd
]


@pytest.mark.parametrize("text,combos,board", PAPER)
def test_paper_counts_and_round_trip(text, combos, board):
    weights = parse_range(text)
    assert combo_count(weights, parse_board(board) if board else ()) == combos
    again = format_range(weights)
    assert np.array_equal(parse_range(again), weights), again


def test_round_trip_of_mixed_weights():
    rng = np.random.default_rng(7)
    weights = np.zeros(1326)
    for k in rng.choice(169, 60, replace=False):          # whole classes at odd weights
        weights[CLASS_HANDS[k]] = rng.choice([1, 0.5, 0.25, 0.3])
    weights[rng.choice(1326, 30, replace=False)] = 0.75    # and single combos
    assert np.array_equal(parse_range(format_range(weights)), weights)


@pytest.mark.parametrize("text,where", [
    ("AA,AKx", "item 2 'AKx' at column 4"),
    ("AA, KK:abc", "item 2 'KK:abc' at column 5"),
    ("AA,,KK", "item 2 at column 4"),
    ("A5s-K2s", "item 1 'A5s-K2s' at column 1"),
    ("AAs", "item 1"),
    ("AhAh", "item 1"),
    ("QQ:-1", "item 1"),
])
def test_bad_items_name_position_and_text(text, where):
    with pytest.raises(RangeError, match=re.escape(where)):
        parse_range(text)


def test_hand_order_is_the_programs(solver):
    assert solver.hand_order() == HAND_TEXT


def test_weights_land_on_the_hands_the_program_evaluates(solver):
    """AA against KK on a board without straight or flush for either: the
    program's equities are 1 exactly where our table puts the aces."""
    solver.set_range("OOP", parse_range("AA"))
    solver.set_range("IP", parse_range("KK"))
    solver.command("set_board 7s 8d 2c 3h 9c")
    eq, _ = solver.rows("calc_eq OOP")[:2]
    aces = parse_range("AA") > 0
    assert np.all(eq[aces] == 1.0)
    assert not np.isfinite(eq[~aces]).any()      # inf off the range, nan on the board


def test_range_command_prints_weights_in_hand_order():
    import subprocess
    import sys
    out = subprocess.run([sys.executable, "-m", "kestrune", "range", "AKs:0.5"], capture_output=True,
                         text=True, cwd=__file__.rsplit("/tests/", 1)[0], check=True).stdout
    row = parse_row(out)
    assert row.sum() == 2.0 and {HAND_TEXT[i] for i in np.flatnonzero(row)} == {"AcKc", "AdKd", "AhKh", "AsKs"}
    bad = subprocess.run([sys.executable, "-m", "kestrune", "range", "AKx"], capture_output=True, text=True,
                         cwd=__file__.rsplit("/tests/", 1)[0])
    assert bad.returncode == 2 and "AKx" in bad.stderr and "Traceback" not in bad.stderr
