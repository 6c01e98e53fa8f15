"""Cards, the 1326 two-card hands in the program's order, and hand classes.

Every list of 1326 numbers that crosses the protocol (ranges, strategies,
EVs) is in one fixed order: cards numbered rank-major (2c 2d 2h 2s 3c ...
As), and the hand of cards a > b at index a * (a - 1) / 2 + b.  The toolkit
keeps all its arrays in that order too, so a reply row is used as it comes,
without reordering; the tables here are computed once at import.

A hand class is what a player writes in a 13x13 grid: "AA", "AKs", "AKo".
`GRID` lists the 169 classes row by row in the usual layout (AA top left,
suited hands above the diagonal, offsuit below).
"""

import numpy as np

RANKS = "23456789TJQKA"
SUITS = "cdhs"
NUM_HANDS = 1326


def card_index(text):
    """Card text such as "Qs" or "qs" to its rank-major number 0..51."""
    if len(text) != 2:
        raise ValueError(f"bad card {text!r}")
    rank = RANKS.find(text[0].upper())
    suit = SUITS.find(text[1].lower())
    if rank < 0 or suit < 0:
        raise ValueError(f"bad card {text!r}")
    return 4 * rank + suit


def card_text(card):
    return RANKS[card // 4] + SUITS[card % 4]


def parse_board(text):
    """"Qs Jh 2h" or "QsJh2h" to a list of card numbers, refusing repeats."""
    compact = text.replace(" ", "").replace(",", "")
    if len(compact) % 2:
        raise ValueError(f"bad board {text!r}")
    cards = [card_index(compact[i:i + 2]) for i in range(0, len(compact), 2)]
    if len(set(cards)) != len(cards):
        raise ValueError(f"board {text!r} repeats a card")
    return cards


def _build_tables():
    hi = np.empty(NUM_HANDS, dtype=np.int16)
    lo = np.empty(NUM_HANDS, dtype=np.int16)
    i = 0
    for a in range(1, 52):
        for b in range(a):
            hi[i], lo[i] = a, b
            i += 1
    return hi, lo


HAND_HI, HAND_LO = _build_tables()
HAND_TEXT = [card_text(h) + card_text(l) for h, l in zip(HAND_HI, HAND_LO)]
_HAND_BY_CARDS = {(int(h), int(l)): i for i, (h, l) in enumerate(zip(HAND_HI, HAND_LO))}


def hand_index(c1, c2):
    """Index in hand order of the hand of two distinct card numbers."""
    if c1 == c2:
        raise ValueError("a hand needs two different cards")
    return _HAND_BY_CARDS[(max(c1, c2), min(c1, c2))]


def class_name(hand):
    """Hand class of the hand at an index: "AA", "AKs" or "AKo"."""
    h, l = int(HAND_HI[hand]), int(HAND_LO[hand])
    rh, rl = h // 4, l // 4
    if rh == rl:
        return RANKS[rh] * 2
    return RANKS[rh] + RANKS[rl] + ("s" if h % 4 == l % 4 else "o")


def _grid():
    order = RANKS[::-1]
    cells = []
    for i, r1 in enumerate(order):
        for j, r2 in enumerate(order):
            if i == j:
                cells.append(r1 + r2)
            elif i < j:
                cells.append(r1 + r2 + "s")
            else:
                cells.append(r2 + r1 + "o")
    return cells


GRID = _grid()
CLASS_OF_HAND = np.array([GRID.index(class_name(i)) for i in range(NUM_HANDS)], dtype=np.int16)
# Hands of each class as index arrays, in hand order.
CLASS_HANDS = [np.flatnonzero(CLASS_OF_HAND == k) for k in range(len(GRID))]


def board_mask(cards):
    """True for every hand that holds a card of the board."""
    cards = list(cards)
    return np.isin(HAND_HI, cards) | np.isin(HAND_LO, cards)
