"""Range text as players write it, to and from 1326 weights in hand order.

Items are separated by commas; each is a hand or a span of hands with an
optional weight behind a colon:

    AA  AKs  AKo  AK  AhKh        one class, both suitednesses, one combo
    22+  A2s+  KTo+  K9+          pairs up to AA, kickers up to one below the top card
    AA-TT  A5s-A2s  KQo-KTo       spans, either end first
    AKo:0.5                       weight (default 1)

A later item overrides an earlier one for the hands they share, so
"AA-22,77:0.5" is all pairs with sevens at half weight.  A bad item raises
`RangeError` naming its position in the text and the item itself, because a
range of thirty items with "AKx" somewhere in it is otherwise hard to fix.
"""

import re

import numpy as np

from .cards import (CLASS_HANDS, GRID, HAND_HI, HAND_LO, HAND_TEXT, NUM_HANDS,
                    RANKS, card_index, hand_index)


class RangeError(ValueError):
    """A range item that can't be read; the message says where and which."""


def _class_hands(high, low, kind):
    """Hands of one class; kind is "s", "o", "" (both) or "p" (pair)."""
    if high == low:
        return CLASS_HANDS[GRID.index(RANKS[high] * 2)]
    names = {"s": ["s"], "o": ["o"], "": ["s", "o"]}[kind]
    a, b = max(high, low), min(high, low)
    return np.concatenate([CLASS_HANDS[GRID.index(RANKS[a] + RANKS[b] + n)] for n in names])


_CLASS = re.compile(r"^([2-9TJQKA])([2-9TJQKA])([so]?)$")


def _parse_class(text):
    m = _CLASS.match(text)
    if not m:
        return None
    high, low = RANKS.index(m.group(1)), RANKS.index(m.group(2))
    kind = m.group(3)
    if high == low and kind:
        raise RangeError("a pair has no suitedness")
    if high < low:
        high, low = low, high
    return high, low, kind


def _expand(item):
    """Hand indices of one item without its weight."""
    if len(item) == 4 and item[1] in "cdhsCDHS" and item[3] in "cdhsCDHS":
        try:
            return np.array([hand_index(card_index(item[:2]), card_index(item[2:]))])
        except (ValueError, KeyError) as e:
            raise RangeError(f"bad combo: {e}") from None
    norm = item[:2].upper() + item[2:]
    if norm.endswith("+"):
        cls = _parse_class(norm[:-1])
        if cls is None:
            raise RangeError("expected a class before '+'")
        high, low, kind = cls
        if high == low:
            return np.concatenate([_class_hands(r, r, "p") for r in range(low, 13)])
        return np.concatenate([_class_hands(high, k, kind) for k in range(low, high)])
    if "-" in norm:
        left, right = norm.split("-", 1)
        a, b = _parse_class(left), _parse_class(right.upper()[:2] + right[2:])
        if a is None or b is None:
            raise RangeError("a span needs a class on both sides of '-'")
        if a[0] == a[1] and b[0] == b[1]:
            lo_r, hi_r = sorted((a[0], b[0]))
            return np.concatenate([_class_hands(r, r, "p") for r in range(lo_r, hi_r + 1)])
        if a[0] != b[0] or a[2] != b[2] or a[0] == a[1] or b[0] == b[1]:
            raise RangeError("a span keeps its top card and suitedness, e.g. A5s-A2s")
        lo_k, hi_k = sorted((a[1], b[1]))
        return np.concatenate([_class_hands(a[0], k, a[2]) for k in range(lo_k, hi_k + 1)])
    cls = _parse_class(norm)
    if cls is None:
        raise RangeError("not a hand, class or span")
    return _class_hands(*cls)


def parse_range(text):
    """Range text to a float64 array of 1326 weights in hand order."""
    weights = np.zeros(NUM_HANDS)
    pos = 0
    for number, raw in enumerate(text.split(","), start=1):
        column = pos + len(raw) - len(raw.lstrip()) + 1
        pos += len(raw) + 1
        item = raw.strip()
        if not item:
            if text.strip():
                raise RangeError(f"item {number} at column {column}: empty item")
            continue
        body, sep, weight_text = item.partition(":")
        try:
            weight = float(weight_text) if sep else 1.0
            if not np.isfinite(weight) or weight < 0:
                raise ValueError
        except ValueError:
            raise RangeError(f"item {number} '{item}' at column {column}: bad weight") from None
        try:
            hands = _expand(body.strip())
        except RangeError as e:
            raise RangeError(f"item {number} '{item}' at column {column}: {e}") from None
        weights[hands] = weight
    return weights


def _weight_suffix(w):
    return "" if w == 1.0 else ":" + format(w, ".12g")


def _runs(values):
    """Runs of (kicker, weight) with equal weight and consecutive kickers."""
    runs = []
    for k, w in values:
        if runs and runs[-1][2] == w and runs[-1][0] == k + 1:
            runs[-1][0] = k
        else:
            runs.append([k, k, w])
    return runs  # each [low, high, weight], high first in input order


def format_range(weights):
    """1326 weights to the shortest text this module writes; parse_range
    of the result gives the same weights back."""
    weights = np.asarray(weights, dtype=float)
    if weights.shape != (NUM_HANDS,):
        raise ValueError("a range has 1326 weights")
    items, singles = [], []
    uniform = {}
    for k, name in enumerate(GRID):
        w = weights[CLASS_HANDS[k]]
        if np.all(w == w[0]):
            uniform[name] = float(w[0])
        else:
            singles.extend(int(h) for h, x in zip(CLASS_HANDS[k], w) if x > 0)
    # Pairs, from AA down.
    pairs = [(r, uniform.get(RANKS[r] * 2, 0.0)) for r in range(12, -1, -1)]
    for low, high, w in _runs([p for p in pairs if p[1] > 0]):
        if high == 12 and low < 12:
            items.append(f"{RANKS[low] * 2}+{_weight_suffix(w)}")
        elif high == low:
            items.append(f"{RANKS[low] * 2}{_weight_suffix(w)}")
        else:
            items.append(f"{RANKS[high] * 2}-{RANKS[low] * 2}{_weight_suffix(w)}")
    for kind in "so":
        for top in range(12, 0, -1):
            kick = [(k, uniform.get(RANKS[top] + RANKS[k] + kind, 0.0)) for k in range(top - 1, -1, -1)]
            for low, high, w in _runs([x for x in kick if x[1] > 0]):
                t = RANKS[top]
                if high == top - 1 and low < high:
                    items.append(f"{t}{RANKS[low]}{kind}+{_weight_suffix(w)}")
                elif high == low:
                    items.append(f"{t}{RANKS[low]}{kind}{_weight_suffix(w)}")
                else:
                    items.append(f"{t}{RANKS[high]}{kind}-{t}{RANKS[low]}{kind}{_weight_suffix(w)}")
    for h in sorted(singles, key=lambda h: (-int(HAND_HI[h]), -int(HAND_LO[h]))):
        items.append(HAND_TEXT[h] + _weight_suffix(float(weights[h])))
    return ",".join(items)


def combo_count(weights, dead=()):
    """Weighted number of combos, leaving out hands that touch dead cards."""
    weights = np.asarray(weights, dtype=float)
    if dead:
        dead = list(dead)
        live = ~(np.isin(HAND_HI, dead) | np.isin(HAND_LO, dead))
        weights = weights[live]
    return float(weights.sum())
