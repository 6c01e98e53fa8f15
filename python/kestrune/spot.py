"""A spot file: one situation to solve, as players describe it, in TOML.

    board = "Qs Jh 2h"        # 3, 4 or 5 cards: the tree starts on that street
    pot = 100                 # chips in the middle at the start of the street
    stack = 200               # effective stack behind
    oop_range = "AA-22,AKs-A2s"
    ip_range = "AA-22,AKs-A2s,KQo:0.5"
    accuracy = 0.5            # target exploitability, % of the pot
    threads = 0               # 0: all
    compression = "auto"      # auto, none, low, medium, high, max, fast
    max_iterations = 0        # 0: no cap
    max_seconds = 0           # 0: no cap
    name = "BTN vs BB"        # title of the report
    oop_name = "BB"           # how the report calls the players
    ip_name = "BTN"
    [bets]                    # see kestrune.lines for what sizes mean
    flop_oop = "50%"  ...  river_raise = "100%"
    donk = false
    max_raises = 1
    allin_threshold = 0
    [report]
    turns = "all"             # turn cards the report reads: "all", "" or "Kd 7c ..."
    rivers = 0                # river cards per turn the report reads (each adds ~80 nodes a turn)

The file is read with the standard library's tomllib; unknown keys are
refused so that a typo does not silently solve a different spot.
"""

import os
import tomllib
from dataclasses import dataclass, field

import numpy as np

from .cards import CLASS_HANDS, board_mask, card_text, parse_board
from .lines import BetSizes, STREETS, TreeError, build_lines, format_lines
from .ranges import RangeError, format_range, parse_range

_TOP_KEYS = {"board", "pot", "stack", "oop_range", "ip_range", "accuracy", "threads",
             "compression", "max_iterations", "max_seconds", "name", "oop_name", "ip_name",
             "bets", "report"}
_COMPRESSION = ("auto", "none", "low", "medium", "high", "max", "fast")


class SpotError(ValueError):
    """A spot file that can't be solved as written; the message names the key."""


@dataclass
class Spot:
    board: list
    pot: int
    stack: int
    oop_range: object
    ip_range: object
    bets: BetSizes
    accuracy: float = 0.5
    threads: int = 0
    compression: str = "auto"
    max_iterations: int = 0
    max_seconds: int = 0
    name: str = ""
    oop_name: str = "OOP"
    ip_name: str = "IP"
    report_turns: str = "all"
    report_rivers: int = 0
    lines: list = field(default_factory=list)

    @property
    def street(self):
        return STREETS[len(self.board) - 3]

    @property
    def board_text(self):
        return " ".join(card_text(c) for c in self.board)

    def commands(self):
        """The commands that set the spot up, build included."""
        out = [
            "set_range OOP " + " ".join(format(w, ".10g") for w in self.oop_range),
            "set_range IP " + " ".join(format(w, ".10g") for w in self.ip_range),
            "set_board " + self.board_text,
            f"set_pot 0 0 {self.pot}",
            "clear_lines",
        ]
        out += format_lines(self.lines)
        out.append("build_tree")
        return out


def _get(table, key, kind, default=None):
    if key not in table:
        if default is None:
            raise SpotError(f"missing key '{key}'")
        return default
    value = table[key]
    if kind is float and isinstance(value, int) and not isinstance(value, bool):
        value = float(value)
    if not isinstance(value, kind) or isinstance(value, bool) and kind is not bool:
        raise SpotError(f"key '{key}' must be a {kind.__name__}, not {value!r}")
    return value


def parse_spot(table):
    """A spot from the parsed TOML table."""
    unknown = set(table) - _TOP_KEYS
    if unknown:
        raise SpotError(f"unknown keys: {', '.join(sorted(unknown))}")
    try:
        board = parse_board(_get(table, "board", str))
    except ValueError as e:
        raise SpotError(f"board: {e}") from None
    if not 3 <= len(board) <= 5:
        raise SpotError("board: 3, 4 or 5 cards")
    ranges = {}
    for key in ("oop_range", "ip_range"):
        try:
            ranges[key] = parse_range(_get(table, key, str))
        except RangeError as e:
            raise SpotError(f"{key}: {e}") from None
        if ranges[key].sum() == 0:
            raise SpotError(f"{key} is empty")
    pot = _get(table, "pot", int)
    stack = _get(table, "stack", int)
    try:
        bets = BetSizes.from_table(_get(table, "bets", dict, {}))
    except TreeError as e:
        raise SpotError(f"[bets]: {e}") from None
    report = _get(table, "report", dict, {})
    if set(report) - {"turns", "rivers"}:
        raise SpotError("[report] knows 'turns' and 'rivers'")
    compression = _get(table, "compression", str, "auto")
    if compression not in _COMPRESSION:
        raise SpotError(f"compression is one of {', '.join(_COMPRESSION)}")
    spot = Spot(
        board=board, pot=pot, stack=stack, oop_range=ranges["oop_range"], ip_range=ranges["ip_range"],
        bets=bets, accuracy=_get(table, "accuracy", float, 0.5), threads=_get(table, "threads", int, 0),
        compression=compression, max_iterations=_get(table, "max_iterations", int, 0),
        max_seconds=_get(table, "max_seconds", int, 0), name=_get(table, "name", str, ""),
        oop_name=_get(table, "oop_name", str, "OOP"), ip_name=_get(table, "ip_name", str, "IP"),
        report_turns=str(report.get("turns", "all")), report_rivers=int(report.get("rivers", 0)))
    if spot.accuracy <= 0:
        raise SpotError("accuracy must be above 0 (% of the pot)")
    try:
        spot.lines = build_lines(spot.street, pot, stack, bets)
    except TreeError as e:
        raise SpotError(str(e)) from None
    return spot


def load_spot(path):
    with open(path, "rb") as f:
        return load_spot_text(f.read().decode(), path)


def load_spot_text(text, path="spot"):
    """A spot from the text of a spot file; `path` names it in errors and,
    without a `name` key, gives the name."""
    try:
        table = tomllib.loads(text)
    except tomllib.TOMLDecodeError as e:
        raise SpotError(f"{path}: {e}") from None
    spot = parse_spot(table)
    if not spot.name:
        spot.name = os.path.splitext(os.path.basename(path))[0]
    return spot


def _available_mb():
    try:
        with open("/proc/meminfo") as f:
            for line in f:
                if line.startswith("MemAvailable:"):
                    return int(line.split()[1]) // 1024
    except OSError:
        pass
    return None


def set_up(solver, spot, memory_share=0.8):
    """Send the spot and build the tree.  Returns the estimated size in MB;
    refuses a tree that would need more than `memory_share` of the free
    memory, saying where the nodes are."""
    solver.command(f"set_threads {spot.threads}")
    solver.command(f"set_compression {spot.compression}")
    # Suit isomorphism folds equivalent flop deals, but the program refuses
    # it unless every hand class has one weight; a range with single
    # combos (AhKh) is solved without it, slower but as written.
    solver.command(f"set_isomorphism {1 if _class_uniform(spot) else 0} 0")
    for cmd in spot.commands():
        if cmd.startswith("set_pot"):
            solver.pot = float(spot.pot)
        solver.command(cmd)
    size_line = solver.command("estimate_schematic_tree")[0]
    size_mb = int(size_line.rsplit(":", 1)[1].split()[0])
    available = _available_mb()
    if available is not None and size_mb > memory_share * available:
        counts = node_counts(solver)
        solver.command("free_tree")
        worst = max(counts, key=counts.get)
        raise SpotError(
            f"the tree needs about {size_mb} MB and {available} MB are free; "
            f"most decisions are on the {worst.lower()} ({counts[worst]} of {sum(counts.values())} "
            f"counted per deal): drop {worst.lower()} sizes, lower max_raises, or compress harder")
    return size_mb


def _class_uniform(spot):
    live = ~board_mask(spot.board[:3])
    for weights in (spot.oop_range, spot.ip_range):
        for hands in CLASS_HANDS:
            w = weights[hands[live[hands]]]
            if w.size and np.any(w != w[0]):
                return False
    return True


def node_counts(solver):
    """Decision nodes per street, counted once per deal, from node_count."""
    counts, group = {"FLOP": 0, "TURN": 0, "RIVER": 0}, None
    for line in solver.command("node_count"):
        word = line.split()[0]
        if word.endswith(":"):
            group = word[:-1]
        elif group in ("H_DEC", "V_DEC") and word in counts:
            counts[word] += int(line.split()[1])
    return counts


def describe(spot):
    """Text of the spot file form back (ranges as text), for reports."""
    return {"board": spot.board_text, "pot": spot.pot, "stack": spot.stack,
            "oop_range": format_range(spot.oop_range), "ip_range": format_range(spot.ip_range),
            "lines": len(spot.lines)}
