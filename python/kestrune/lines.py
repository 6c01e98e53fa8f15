"""Betting trees from bet sizes, written out as `add_line` lines.

The program takes a tree as the list of its lines, each a list of
cumulative chips per player since the root.  Players think in sizes per
street instead ("bet 33% or 75%, raise 2.5x, all-in"), so this module walks
every betting sequence those sizes allow and writes one line per sequence
that ends in a call or a check behind; the program adds the folds itself.

How sizes become chips (the choices a reader would question):

* A bet of X% is X% of the pot at the start of the street.  `Ne` is the
  geometric size that, bet and called on N streets in a row, puts the stack
  in exactly; a bare `e` takes N as the streets left.  `a` is all-in.
* A raise of X% goes to: the bet faced plus X% of the pot after the call
  (so 100% is the pot-sized raise).  `2.5x` goes to 2.5 times the bet
  faced.  Both are measured on the street.
* Chips are whole: every size is rounded half away from zero.
* Anything at or above the stack is all-in.  With `allin_threshold` above
  0, a bet or raise that would leave behind less than that share of the pot
  (the pot once it is called) becomes all-in as well.
* A raise is at least a full raise (the raise-to less the bet faced at
  least the last bet or raise); a smaller raise is lifted to the minimum.
  An all-in that falls short of a full raise is left out: the call already
  covers the chips in play, and such a raise would only add nodes.
* `max_raises` counts the raises after the street's first bet.
* Without donk bets, a player out of position who called a bet on the last
  street must check to the bettor on this one.
"""

import math
import re
from dataclasses import dataclass, field

STREETS = ("flop", "turn", "river")
_SIZE = re.compile(r"^(?:(\d+(?:\.\d+)?)%|(\d+(?:\.\d+)?)x|(\d*)e|a)$")


class TreeError(ValueError):
    """Sizes or stacks that make no tree."""


def round_half_away(x):
    return math.floor(x + 0.5) if x >= 0 else -math.floor(-x + 0.5)


def parse_sizes(text, raise_sizes=False):
    """"33%, 75%, a" to a list of (kind, value); kind is "%", "x", "e" or "a"."""
    sizes = []
    for item in str(text).split(","):
        item = item.strip().lower()
        if not item:
            continue
        m = _SIZE.match(item)
        if not m:
            raise TreeError(f"bad size {item!r}: write 33%, 2.5x, 2e, e or a")
        if m.group(1) is not None:
            sizes.append(("%", float(m.group(1))))
        elif m.group(2) is not None:
            if not raise_sizes:
                raise TreeError(f"bad bet size {item!r}: 'x' sizes are for raises")
            sizes.append(("x", float(m.group(2))))
        elif item == "a":
            sizes.append(("a", 0.0))
        else:
            sizes.append(("e", float(m.group(3)) if m.group(3) else 0.0))
    return sizes


@dataclass
class BetSizes:
    """Sizes per street: `bets[street]` is (OOP's bets, IP's bets, raises)."""
    bets: dict = field(default_factory=dict)
    donk: bool = False
    max_raises: int = 1
    allin_threshold: float = 0.0

    @classmethod
    def from_table(cls, table):
        """From the [bets] table of a spot file."""
        known = {f"{s}_{k}" for s in STREETS for k in ("oop", "ip", "raise")}
        known |= {"donk", "max_raises", "allin_threshold"}
        unknown = set(table) - known
        if unknown:
            raise TreeError(f"unknown [bets] keys: {', '.join(sorted(unknown))}")
        bets = {s: (parse_sizes(table.get(f"{s}_oop", "")),
                    parse_sizes(table.get(f"{s}_ip", "")),
                    parse_sizes(table.get(f"{s}_raise", ""), raise_sizes=True))
                for s in STREETS}
        max_raises = int(table.get("max_raises", 1))
        threshold = float(table.get("allin_threshold", 0))
        if max_raises < 0 or not 0 <= threshold < 10:
            raise TreeError("max_raises must be 0 or more, allin_threshold a share of the pot from 0")
        return cls(bets, bool(table.get("donk", False)), max_raises, threshold)


@dataclass
class _Street:
    """Betting state of one street."""
    invested: int      # chips each player had in before this street
    pot: int           # pot at the start of the street
    level: int = 0     # chips to match on this street
    last_raise: int = 0
    bets: int = 0      # bets and raises made on this street
    checked: bool = False
    aggressor: int = -1


def build_lines(street, pot, stack, sizes):
    """All lines of the tree from `street` ("flop", "turn" or "river") with
    `pot` in the middle and `stack` behind each player, sorted."""
    if street not in STREETS:
        raise TreeError(f"unknown street {street!r}")
    if pot <= 0 or stack < 0 or pot != int(pot) or stack != int(stack):
        raise TreeError("pot and stack are whole chips, the pot above 0")
    first = STREETS.index(street)
    lines = []

    def amount_round(to, st, stack_left):
        to = round_half_away(to)
        if to >= stack_left:
            return stack_left
        behind = stack_left - to
        if sizes.allin_threshold > 0 and behind < sizes.allin_threshold * (st.pot + 2 * to):
            return stack_left
        return to

    def bet_amounts(kind_list, st, s_index):
        left = stack - st.invested
        out = set()
        for kind, v in kind_list:
            if kind == "%":
                to = v / 100.0 * st.pot
            elif kind == "a":
                to = left
            else:  # geometric
                n = v or (3 - s_index)
                f = ((1 + 2.0 * left / st.pot) ** (1.0 / n) - 1) / 2
                to = f * st.pot
            to = amount_round(to, st, left)
            if to >= 1:
                out.add(to)
        return out

    def raise_amounts(st, s_index):
        left = stack - st.invested
        out = set()
        min_to = st.level + st.last_raise
        for kind, v in sizes.bets[STREETS[s_index]][2]:
            after_call = st.pot + 2 * st.level
            if kind == "%":
                to = st.level + v / 100.0 * after_call
            elif kind == "x":
                to = v * st.level
            elif kind == "a":
                to = left
            else:
                n = v or (3 - s_index)
                f = ((1 + 2.0 * (left - st.level) / after_call) ** (1.0 / n) - 1) / 2
                to = st.level + f * after_call
            to = max(round_half_away(to), min_to)
            to = amount_round(to, st, left)
            if to >= min_to:
                out.add(to)
        return out

    def walk(line, s_index, st, player, prev_aggressor):
        left = stack - st.invested
        if st.level == 0:
            # Check, or a bet.
            if st.checked:
                close(line + [st.invested], s_index, st)
            else:
                nxt = _Street(st.invested, st.pot, checked=True)
                walk(line + [st.invested], s_index, nxt, 1 - player, prev_aggressor)
            donk = player == 0 and prev_aggressor == 1 and s_index > first
            if left > 0 and (sizes.donk or not donk):
                for to in sorted(bet_amounts(sizes.bets[STREETS[s_index]][player], st, s_index)):
                    nxt = _Street(st.invested, st.pot, to, to, 1, aggressor=player)
                    walk(line + [st.invested + to], s_index, nxt, 1 - player, prev_aggressor)
            return
        # Facing a bet: call (the fold is the program's), or raise.
        close(line + [st.invested + st.level], s_index, st)
        if st.level < left and st.bets - 1 < sizes.max_raises:
            for to in sorted(raise_amounts(st, s_index)):
                nxt = _Street(st.invested, st.pot, to, to - st.level, st.bets + 1, aggressor=player)
                walk(line + [st.invested + to], s_index, nxt, 1 - player, prev_aggressor)

    def close(line, s_index, st):
        invested = st.invested + st.level
        if s_index == 2 or invested >= stack:
            lines.append(line)
            return
        nxt = _Street(invested, st.pot + 2 * st.level)
        walk(line, s_index + 1, nxt, 0, st.aggressor)

    walk([], first, _Street(0, int(pot)), 0, -1)
    lines.sort()
    return lines


def format_lines(lines):
    return [("add_line " + " ".join(str(a) for a in line)) for line in lines]

