"""Fixtures: a real Kestrune process (built by scripts/test before these
run), small river and turn spots that solve in well under a second, and a
flop spot for batches that solves in a second or two on one thread, a fixed
number of iterations so that every run of it gives the same numbers."""

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

FLOP = """
name = "batch test"
board = "As 7d 2c"
pot = 55
stack = 100
oop_range = "JJ-88,AJs-ATs,KQs,QJs,JTs,T9s"
ip_range = "AA-TT,AKs-AQs,KQs,AKo"
accuracy = 0.001
threads = 1
max_iterations = 20
compression = "none"
[bets]
flop_oop = ""
flop_ip = "33%, 75%"
turn_oop = "75%"
turn_ip = "75%"
river_oop = "a"
river_ip = "a"
[report]
turns = ""
"""

SIX_FLOPS = "As 7d 2c\nKh Qh 5h\n8s 8d 3c\nTd 9d 4s\nJc Jd Jh\n6s 5s 4d\n"


def pytest_configure(config):
    config.addinivalue_line("markers", "slurm: starts a one-node Slurm cluster (a minute or two)")


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
