"""A solved tree as players read it: labelled actions, hand classes, locks.

The program addresses a node by a path of action tokens and dealt cards
(r:0:c:b50:Kd:...) and answers with unlabelled rows in child order.  `Tree`
reads the tree's betting histories once (`show_all_lines`) and replays the
chips along each path, so every action gets the label a player would say
("check", "bet 33", "raise to 150", "all-in", "call", "fold") and every node
knows its player, street and pot without asking the program again.

Numbers at a node (`Node.read`):

* strategy: one row per action, from `show_strategy`;
* reach: each player's own range at the node (`show_range`);
* ev: `calc_ev`, in chips counted as the program reports them (a hand that
  surely wins without further betting shows the start pot);
* equity and matchups: `calc_eq_node` (matchups weigh a hand in averages);
* eqr: the share of its equity a hand realises, EV from here on over
  equity times the pot here.  EV from here on is the reported EV plus what
  the player has paid so far, since chips already in the pot are sunk.

By hand class, strategies average over the acting player's reach and EV,
equity and EQR over the matchups.
"""

import csv
import json

import numpy as np

from .cards import (CLASS_HANDS, GRID, HAND_TEXT, NUM_HANDS, board_mask, card_index,
                    card_text)
from .client import parse_row
from .ranges import parse_range

PLAYERS = ("OOP", "IP")


class PathError(ValueError):
    """A path, action or card that isn't in the tree."""


class Tree:
    """The betting histories of the built tree, labelled."""

    def __init__(self, solver, board, pot, stack):
        self.solver = solver
        self.board = list(board)
        self.pot = pot
        self.stack = stack
        self.children = {}
        for path in solver.command("show_all_lines")[2:]:
            parent, _, token = path.rpartition(":")
            self.children.setdefault(parent, []).insert(0, token)
        self.root_street = len(self.board) - 3

    def root(self):
        return Node(self, [], [], _State(self.pot, self.stack))


class _State:
    """Chips along a path, replayed by the program's own rule: more than
    the last amount is a bet or raise, equal is a check, a check behind or
    a call."""

    def __init__(self, pot, stack):
        self.stack = stack
        self.paid = [0, 0]
        self.last = 0
        self.player = 0
        self.raises = 0
        self.checked = False
        self.street = 0
        self.street_start = 0
        self.pot0 = pot
        self.terminal = None   # "fold" or "showdown"
        self.pending_deal = False

    def copy(self):
        s = _State(self.pot0, self.stack)
        s.__dict__.update(self.__dict__)
        s.paid = list(self.paid)
        return s

    def step(self, token, closes_line):
        """Apply one action token; return its label."""
        s = self
        p = s.player
        if token == "f":
            s.terminal = "fold"
            return "fold"
        amount = s.last if token == "c" else int(float(token[1:]))
        if amount > s.last:
            facing = s.raises > 0
            s.raises += 1
            s.checked = False
            s.last = amount
            s.paid[p] = amount
            s.player = 1 - p
            street_to = amount - s.street_start
            if amount >= s.stack:
                return "all-in"
            return f"raise to {street_to}" if facing else f"bet {street_to}"
        if s.raises == 0 and not s.checked:
            s.checked = True
            s.player = 1 - p
            return "check"
        label = "call" if s.raises > 0 else "check"
        s.paid[p] = amount
        s.street += 1
        s.checked, s.raises, s.player = False, 0, 0
        s.street_start = amount
        if closes_line:
            s.terminal = "showdown"
        else:
            s.pending_deal = True
        return label


class Node:
    """A place in the tree: a betting history and the cards dealt so far."""

    def __init__(self, tree, tokens, cards, state):
        self.tree = tree
        self.tokens = tokens
        self.cards = cards
        self.state = state

    # -- where we are -----------------------------------------------------

    @property
    def betting_path(self):
        return ":".join(["r", "0"] + [t for t in self.tokens if not t.startswith("@")])

    @property
    def path(self):
        """The program's path, cards included."""
        return ":".join(["r", "0"] + [t[1:] if t.startswith("@") else t for t in self.tokens])

    @property
    def kind(self):
        if self.state.terminal:
            return self.state.terminal
        if self.state.pending_deal:
            return "chance"
        return "decision"

    @property
    def player(self):
        return self.state.player if self.kind == "decision" else None

    @property
    def street(self):
        return ("flop", "turn", "river")[min(2, self.tree.root_street + self.state.street)]

    @property
    def pot_here(self):
        return self.tree.pot + self.state.paid[0] + self.state.paid[1]

    @property
    def board(self):
        return self.tree.board + self.cards

    def _child_tokens(self):
        return self.tree.children.get(self.betting_path, [])

    @property
    def actions(self):
        """Labels of the actions here, in the program's child order."""
        if self.kind != "decision":
            return []
        return [self.state.copy().step(t, False) for t in self._child_tokens()]

    @property
    def history(self):
        """Labels along the way, with the dealt cards."""
        out, state = [], _State(self.tree.pot, self.tree.stack)
        for t in self.tokens:
            if t.startswith("@"):
                out.append(t[1:])
                state.pending_deal = False
                continue
            who = PLAYERS[state.player]
            out.append(f"{who} {state.step(t, False)}")
        return out

    # -- moving -----------------------------------------------------------

    def play(self, label):
        """The node after the action with this label (or its index)."""
        if self.kind != "decision":
            raise PathError(f"no action at a {self.kind} node ({self.path})")
        tokens = self._child_tokens()
        labels = self.actions
        index = label if isinstance(label, int) else (labels.index(label) if label in labels else -1)
        if not 0 <= index < len(tokens):
            raise PathError(f"no action {label!r} at {self.path}; there are: {', '.join(labels)}")
        token = tokens[index]
        state = self.state.copy()
        child_path = self.betting_path + ":" + token
        state.step(token, child_path not in self.tree.children)
        return Node(self.tree, self.tokens + [token], self.cards, state)

    def deal(self, card):
        """The node after a turn or river card."""
        if self.kind != "chance":
            raise PathError(f"no card to deal at {self.path}")
        c = card_index(card)
        if c in self.board:
            raise PathError(f"{card} is already on the board")
        state = self.state.copy()
        state.pending_deal = False
        return Node(self.tree, self.tokens + ["@" + card_text(c)], self.cards + [c], state)

    def deals(self):
        """Cards that can come here."""
        return [card_text(c) for c in range(51, -1, -1) if c not in self.board]

    def children(self):
        if self.kind == "decision":
            return [(a, self.play(i)) for i, a in enumerate(self.actions)]
        if self.kind == "chance":
            return [(c, self.deal(c)) for c in self.deals()]
        return []

    # -- numbers ----------------------------------------------------------

    def strategy(self):
        """Array (actions, 1326) of action probabilities in hand order."""
        return np.array(self.tree.solver.rows(f"show_strategy {self.path}"))

    def reach(self, player):
        return parse_row(self.tree.solver.command(f"show_range {PLAYERS[player]} {self.path}")[0])

    def read(self, ev=True):
        """Everything about this node as a `NodeData`."""
        if self.kind == "chance":
            raise PathError(f"{self.path} waits for a card: deal one first")
        data = NodeData(self)
        cmds = [f"show_range {p} {self.path}" for p in PLAYERS]
        if self.kind == "decision":
            cmds.append(f"show_strategy {self.path}")
        if ev:
            cmds += [f"{c} {p} {self.path}" for p in PLAYERS for c in ("calc_ev", "calc_eq_node")]
        # One round trip for the node: the replies come back in order.
        replies = [[parse_row(line) for line in r] for r in self.tree.solver.commands(cmds)]
        data.reach = [replies[0][0], replies[1][0]]
        rest = replies[2:]
        if self.kind == "decision":
            data.strategy = np.array(rest.pop(0))
        if ev:
            for p in (0, 1):
                (data.ev[p], data.matchups[p]), eq_rows = rest[2 * p], rest[2 * p + 1]
                data.equity[p] = eq_rows[0]
        return data

    def lock(self, mix, hands, lock_combos=True):
        """Fix the play of `hands` (range text) here to `mix`, a mapping of
        action label to frequency; the other hands keep their current
        strategy and stay free.  Locks only this node on this board.  With
        `lock_combos` off the play is set but not locked, and the solver
        moves it again from the next iteration."""
        if self.kind != "decision":
            raise PathError("only a decision can be locked")
        labels = self.actions
        for label in mix:
            if label not in labels:
                raise PathError(f"no action {label!r} at {self.path}; there are: {', '.join(labels)}")
        total = sum(mix.values())
        if total <= 0 or any(v < 0 for v in mix.values()):
            raise PathError("a mix has frequencies of 0 or more, not all 0")
        mask = (parse_range(hands) > 0) & ~board_mask(self.board)
        rows = np.nan_to_num(self.strategy())
        for i, label in enumerate(labels):
            rows[i, mask] = mix.get(label, 0.0) / total
        s = self.tree.solver
        for i in range(len(labels)):
            s.command(f"set_strategy {self.path} {i} " + " ".join(format(v, ".8g") for v in rows[i]))
        if lock_combos:
            s.command(f"combo_lock_node {self.path} " + " ".join("1" if m else "0" for m in mask))
        return int(mask.sum())

    def __repr__(self):
        return f"<Node {self.path} {self.kind}>"


def _weighted(values, weights, hands):
    v, w = values[hands], weights[hands]
    ok = ~np.isnan(v) & ~np.isnan(w) & (w > 0)
    if not ok.any():
        return None
    return float(np.dot(v[ok], w[ok]) / w[ok].sum())


class NodeData:
    """Per-combo numbers of one node, and their hand-class view."""

    def __init__(self, node):
        self.node = node
        self.strategy = None
        self.reach = [None, None]
        self.ev = [None, None]
        self.equity = [None, None]
        self.matchups = [None, None]

    def eqr(self, player):
        if self.ev[player] is None:
            return None
        ev_here = self.ev[player] + self.node.state.paid[player]
        with np.errstate(divide="ignore", invalid="ignore"):
            return ev_here / (self.equity[player] * self.node.pot_here)

    def by_class(self):
        """169 entries keyed by class: the acting player's reach-weighted
        strategy, his combos in range, and EV/equity/EQR averaged by
        matchups.  Classes without a hand in range are left out."""
        player = self.node.player if self.node.player is not None else 0
        reach = np.nan_to_num(self.reach[player])
        out = {}
        eqr = self.eqr(player)
        for k, name in enumerate(GRID):
            hands = CLASS_HANDS[k]
            weight = float(reach[hands].sum())
            if weight <= 0:
                continue
            cell = {"combos": weight}
            if self.strategy is not None:
                cell["strategy"] = [_weighted(row, reach, hands) for row in self.strategy]
            if self.ev[player] is not None:
                m = self.matchups[player]
                cell["ev"] = _weighted(self.ev[player], m, hands)
                cell["equity"] = _weighted(self.equity[player], m, hands)
                cell["eqr"] = _weighted(eqr, m, hands)
            out[name] = cell
        return out

    def combos(self):
        """One record per hand in the acting player's range."""
        player = self.node.player if self.node.player is not None else 0
        reach = self.reach[player]
        eqr = self.eqr(player)
        out = []
        for h in np.flatnonzero(np.nan_to_num(reach) > 0):
            rec = {"hand": HAND_TEXT[h], "reach": float(reach[h])}
            if self.strategy is not None:
                rec["strategy"] = [float(x) for x in self.strategy[:, h]]
            if self.ev[player] is not None:
                rec.update(ev=_num(self.ev[player][h]), equity=_num(self.equity[player][h]),
                           eqr=_num(eqr[h]), matchups=_num(self.matchups[player][h]))
            out.append(rec)
        return out

    def summary(self):
        """Range-wide means per player: EV, equity, EQR, combos."""
        out = {}
        for p in (0, 1):
            reach = np.nan_to_num(self.reach[p])
            entry = {"combos": float(reach[~board_mask(self.node.board)].sum())}
            if self.ev[p] is not None:
                m = np.nan_to_num(self.matchups[p])
                every = np.arange(NUM_HANDS)
                entry["ev"] = _weighted(self.ev[p], m, every)
                entry["equity"] = _weighted(self.equity[p], m, every)
                ev_here = entry["ev"] + self.node.state.paid[p] if entry["ev"] is not None else None
                entry["eqr"] = (ev_here / (entry["equity"] * self.node.pot_here)
                                if ev_here is not None and entry["equity"] else None)
            out[PLAYERS[p]] = entry
        if self.strategy is not None:
            reach = np.nan_to_num(self.reach[self.node.player])
            total = reach.sum()
            out["actions"] = {a: (float(np.dot(np.nan_to_num(row), reach) / total) if total else None)
                              for a, row in zip(self.node.actions, self.strategy)}
        return out

    def to_dict(self):
        n = self.node
        return {"path": n.path, "history": n.history, "kind": n.kind,
                "player": PLAYERS[n.player] if n.player is not None else None,
                "street": n.street, "board": " ".join(card_text(c) for c in n.board),
                "pot": n.pot_here, "actions": n.actions, "summary": self.summary(),
                "classes": self.by_class(), "combos": self.combos()}

    def write_csv(self, path):
        recs = self.combos()
        actions = self.node.actions
        with open(path, "w", newline="") as f:
            w = csv.writer(f)
            w.writerow(["hand", "reach"] + [f"p({a})" for a in actions] + ["ev", "equity", "eqr", "matchups"])
            for r in recs:
                w.writerow([r["hand"], r["reach"]] + r.get("strategy", [])
                           + [r.get("ev"), r.get("equity"), r.get("eqr"), r.get("matchups")])


def _num(x):
    x = float(x)
    return None if np.isnan(x) or np.isinf(x) else x


def walk(node, depth=99, turns=None, rivers=None):
    """Nodes below `node` in depth-first order, down `depth` actions, with
    chance nodes dealt to the cards `turns(node)` and `rivers(node)` name
    (default: every card)."""
    yield node
    if depth <= 0:
        return
    if node.kind == "decision":
        for _, child in node.children():
            yield from walk(child, depth - 1, turns, rivers)
    elif node.kind == "chance":
        choose = turns if node.street == "turn" else rivers   # the street being dealt
        cards = choose(node) if choose else node.deals()
        for c in cards:
            yield from walk(node.deal(c), depth, turns, rivers)


def export_json(nodes, path, ev=True):
    """Write nodes (an iterable of `Node`) as one JSON list."""
    out = [n.read(ev=ev).to_dict() for n in nodes if n.kind != "chance"]
    with open(path, "w") as f:
        json.dump(out, f)
    return len(out)
