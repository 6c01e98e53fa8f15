"""Flop sets for batches: the strategically different flops, samples of
them that keep the textures' shares, and lists read from files.

Suits are interchangeable before the flop, so two flops that differ only
by a renaming of suits play the same: the 22,100 flops fall into 1,755
classes.  A class is shown by one representative, the one whose cards,
highest first, are highest in the card order (spades above hearts above
diamonds above clubs): "As Ks Qs", "As 7h 2d".  Its weight is the number
of real flops it stands for, so an average over classes weighted by it is
the average over every flop that can come.

A sample of N classes is drawn with chances in proportion to the weights,
systematically along the classes sorted by texture (suits, pairing, high
card, connectedness): every stretch of that order gets its share of the N
picks to within one, so the shares of the leading textures hold almost
exactly and the later ones closely.  Each pick then stands for 22,100 / N
flops, and a weighted average over the sample estimates the full one.
"""

import itertools
import random
from dataclasses import dataclass

from .cards import RANKS, SUITS, card_index, card_text

TOTAL_FLOPS = 22100


class FlopError(ValueError):
    """A flop or flop set that can't be used; the message says which."""


@dataclass(frozen=True)
class Flop:
    cards: tuple       # card numbers, highest first: the class representative
    weight: float      # how many of the 22,100 flops it stands for

    @property
    def text(self):
        return " ".join(card_text(c) for c in self.cards)

    @property
    def name(self):
        """The flop without spaces, for file and folder names."""
        return "".join(card_text(c) for c in self.cards)

    def texture(self):
        return texture(self.cards)


def canonical(cards):
    """The representative of the class of three distinct card numbers."""
    best = None
    for perm in itertools.permutations(range(4)):
        mapped = tuple(sorted((4 * (c // 4) + perm[c % 4] for c in cards), reverse=True))
        if best is None or mapped > best:
            best = mapped
    return best


def _classes():
    weights = {}
    for cards in itertools.combinations(range(52), 3):
        key = canonical(cards)
        weights[key] = weights.get(key, 0) + 1
    # Highest flops first, the order players list them in.
    return {key: weights[key] for key in sorted(weights, reverse=True)}


_CLASSES = None


def classes():
    """Every flop class, representative to weight (computed once; ~0.3 s)."""
    global _CLASSES
    if _CLASSES is None:
        _CLASSES = _classes()
    return _CLASSES


def all_flops():
    return [Flop(key, float(w)) for key, w in classes().items()]


# -- textures -------------------------------------------------------------

SUIT_TEXTURES = ("monotone", "two-tone", "rainbow")
PAIRINGS = ("unpaired", "paired", "trips")
CONNECTEDNESS = ("straight", "draw", "dry")


def _connectedness(ranks):
    """"straight": the three ranks fit in five in a row, so two hole cards
    can make a straight; "draw": two of them do, so a draw to one can be
    held; "dry": neither.  The ace also counts low."""
    distinct = set(ranks)
    most = 0
    for low in range(-1, 9):   # windows from A-5 (the ace as -1) to T-A
        most = max(most, sum(1 for r in distinct if low <= r <= low + 4 or (r == 12 and low == -1)))
    return "straight" if most == 3 else "draw" if most == 2 else "dry"


def texture(cards):
    """The texture of a flop as players group them."""
    suits = len({c % 4 for c in cards})
    ranks = sorted((c // 4 for c in cards), reverse=True)
    return {
        "suits": SUIT_TEXTURES[suits - 1],
        "pairing": PAIRINGS[3 - len(set(ranks))],
        "high": RANKS[ranks[0]],
        "connectedness": _connectedness(ranks),
    }


def texture_order(flop):
    """Sort key: suits, pairing, high card, connectedness, then the cards."""
    t = texture(flop.cards)
    return (SUIT_TEXTURES.index(t["suits"]), PAIRINGS.index(t["pairing"]), -RANKS.index(t["high"]),
            CONNECTEDNESS.index(t["connectedness"]), [-c for c in flop.cards])


# -- sets -----------------------------------------------------------------

def sample(n, seed=0):
    """N flop classes drawn in proportion to their weights, with the
    texture shares kept (see the module's note); `seed` picks the offset."""
    if not 1 <= n <= len(classes()):
        raise FlopError(f"a sample has 1 to {len(classes())} flops, not {n}")
    flops = sorted(all_flops(), key=texture_order)
    step = TOTAL_FLOPS / n
    start = random.Random(seed).random() * step
    picks, cumulative, i = {}, 0.0, 0
    for k in range(n):
        point = start + k * step
        while cumulative + flops[i].weight <= point:
            cumulative += flops[i].weight
            i += 1
        picks[flops[i].cards] = picks.get(flops[i].cards, 0.0) + step
    # A class heavier than a step can be hit twice; it then counts twice.
    return [Flop(cards, weight) for cards, weight in picks.items()]


def parse_flop(text):
    """Flop text ("As 7d 2c", "As7d2c") to a `Flop` of its class weight,
    in the cards as written: a batch solves the flop the user named."""
    compact = text.replace(" ", "").replace(",", "")
    if len(compact) != 6:
        raise FlopError(f"unknown flop {text!r}: three cards such as 'As 7d 2c'")
    try:
        cards = tuple(card_index(compact[i:i + 2]) for i in range(0, 6, 2))
    except ValueError:
        raise FlopError(f"unknown flop {text!r}: cards are a rank of {RANKS} and a suit of {SUITS}") from None
    if len(set(cards)) != 3:
        raise FlopError(f"unknown flop {text!r}: a card repeats")
    return Flop(tuple(sorted(cards, reverse=True)), float(classes()[canonical(cards)]))


def read_flops(path):
    """A list of flops from a file: one a line, optionally followed by a
    weight ("As 7d 2c  12"); '#' starts a comment.  Without a weight a flop
    stands for its class.  Two flops of one class would solve the same game
    twice, so they are refused."""
    flops, seen = [], {}
    try:
        with open(path) as f:
            lines = f.read().splitlines()
    except OSError as e:
        raise FlopError(f"can't read flop list {path}: {e.strerror}") from None
    for number, line in enumerate(lines, 1):
        words = line.split("#", 1)[0].replace(",", " ").split()
        if not words:
            continue
        weight = None
        try:   # a last word that reads as a number is the weight; no card does
            weight = float(words[-1])
            words = words[:-1]
        except ValueError:
            pass
        if weight is not None and not 0 < weight < float("inf"):
            raise FlopError(f"{path}:{number}: a weight is a number above 0")
        try:
            flop = parse_flop("".join(words))
        except FlopError as e:
            raise FlopError(f"{path}:{number}: {e}") from None
        key = canonical(flop.cards)
        if key in seen:
            raise FlopError(f"{path}:{number}: {flop.text} is the flop of line {seen[key]} with suits renamed")
        seen[key] = number
        flops.append(Flop(flop.cards, weight if weight is not None else flop.weight))
    if not flops:
        raise FlopError(f"{path} lists no flop")
    return flops


def flop_set(text, seed=0):
    """The flops a batch argument names: "all", "sample:N" or a file."""
    if text == "all":
        return all_flops()
    if text.startswith("sample:"):
        try:
            n = int(text[len("sample:"):])
        except ValueError:
            raise FlopError(f"bad flop set {text!r}: sample:N, N a whole number") from None
        return sample(n, seed)
    return read_flops(text)
