"""Kestrune study toolkit: drive the solver, write spots as players do,
read results as players read them.

    from kestrune import Solver, Limit, load_spot, set_up, Tree
"""

__version__ = "0.1"

from .client import KestruneError, KestruneTerminated, Limit, Progress, Solver  # noqa: E402,F401
from .lines import BetSizes, build_lines, format_lines  # noqa: E402,F401
from .ranges import RangeError, format_range, parse_range  # noqa: E402,F401
from .results import Node, NodeData, PathError, Tree, walk  # noqa: E402,F401
from .spot import Spot, SpotError, load_spot, set_up  # noqa: E402,F401
