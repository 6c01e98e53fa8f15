"""Fixtures: a real Kestrune process (built by scripts/test before these
run) and small river and turn spots that solve in well under a second."""

import os
import sys

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))

from kestrune import Limit, Solver, Tree, load_spot, set_up  # noqa: E402

RIVER = """
board = "Qs Jh 2h 8d 3c"
pot = 100
stack = 200
oop_range = "22+,A2s+,KTs+,QTs+,JTs,ATo+,KQo"
ip_range = "TT+,AQs+,AKo,T9s,98s,A5s-A3s"
accuracy = 0.3
[bets]
river_oop = "50%"
river_ip = "50%"
river_raise = "100%"
"""

TURN = """
board = "Qs Jh 2h 8d"
pot = 100
stack = 100
oop_range = "QQ-88,AQs-ATs,KQs,QJs,JTs,T9s"
ip_range = "AA-TT,AKs-AJs,KQs,KJs,QJs,JTs"
accuracy = 0.5
[bets]
turn_oop = "50%"
turn_ip = "50%"
river_oop = "50%"
river_ip = "50%"
"""


def write_spot(tmp_path, text, name="spot.toml"):
    path = tmp_path / name
    path.write_text(text)
    return str(path)


@pytest.fixture
def solver():
    with Solver() as s:
        yield s


@pytest.fixture(scope="module")
def solved_river(tmp_path_factory):
    """A solved river spot and its tree, shared by the tests of a module."""
    spot = load_spot(write_spot(tmp_path_factory.mktemp("river"), RIVER))
    with Solver() as s:
        set_up(s, spot)
        s.solve(Limit(accuracy=0.05, iterations=300), progress=False)
        yield s, spot, Tree(s, spot.board, spot.pot, spot.stack)
