"""Flop classes against counts worked out by hand, samples against the
shares of the full set, and flop lists from files."""

from collections import Counter

import pytest

from kestrune.__main__ import main
from kestrune.flops import (FlopError, TOTAL_FLOPS, all_flops, canonical, flop_set, parse_flop,
                            read_flops, sample, texture)


def test_classes_and_weights_match_hand_counts():
    flops = all_flops()
    assert len(flops) == 1755
    assert sum(f.weight for f in flops) == TOTAL_FLOPS == 52 * 51 * 50 // 6
    by_kind = Counter()
    weights = {}
    for f in flops:
        t = f.texture()
        key = (t["suits"], t["pairing"])
        by_kind[key] += 1
        weights.setdefault(key, set()).add(f.weight)
    # Three ranks out of 13 is C(13,3) = 286.  Unpaired: monotone and
    # rainbow one class each (weights 4 and 4*3*2 = 24), two-tone three
    # (which rank is off-suit; 4*3 = 12 each).  Paired: 13 * 12 rank
    # pairs, the kicker on a suit of the pair or not (12 flops each way).
    # Trips: 13 ranks, 4 flops each.
    assert by_kind == {("monotone", "unpaired"): 286, ("rainbow", "unpaired"): 286,
                       ("two-tone", "unpaired"): 3 * 286, ("two-tone", "paired"): 156,
                       ("rainbow", "paired"): 156, ("rainbow", "trips"): 13}
    assert weights == {("monotone", "unpaired"): {4}, ("rainbow", "unpaired"): {24},
                       ("two-tone", "unpaired"): {12}, ("two-tone", "paired"): {12},
                       ("rainbow", "paired"): {12}, ("rainbow", "trips"): {4}}
    # Renaming suits never leaves a class, and the representative is one of its flops.
    assert canonical((51, 21, 0)) == canonical((48, 22, 1)) == (51, 22, 1)   # As 7d 2c ~ Ac 7h 2d
    assert [f.text for f in flops[:2]] == ["As Ah Ad", "As Ah Ks"]


@pytest.mark.parametrize("text, want", [
    ("As 5d 2c", ("rainbow", "unpaired", "A", "straight")),     # the wheel: the ace plays low
    ("Kh Qh 5h", ("monotone", "unpaired", "K", "draw")),
    ("Ks 8d 2c", ("rainbow", "unpaired", "K", "dry")),
    ("8s 8d 3c", ("rainbow", "paired", "8", "dry")),            # 3 and 8 are six apart
    ("Td 9d 6s", ("two-tone", "unpaired", "T", "straight")),
    ("Jc Jd Jh", ("rainbow", "trips", "J", "dry")),
])
def test_textures(text, want):
    t = texture(parse_flop(text).cards)
    assert (t["suits"], t["pairing"], t["high"], t["connectedness"]) == want


def test_sample_keeps_texture_shares():
    full = all_flops()
    for n in (6, 184):
        picked = sample(n)
        assert sum(f.weight for f in picked) == pytest.approx(TOTAL_FLOPS)
        assert len({f.cards for f in picked}) == len(picked) == n
        for key, slack in (("suits", 1), ("pairing", 2), ("high", 3)):
            share_full = Counter()
            for f in full:
                share_full[f.texture()[key]] += f.weight / TOTAL_FLOPS
            share = Counter()
            for f in picked:
                share[f.texture()[key]] += f.weight / TOTAL_FLOPS
            # Systematic picks along the texture order: the leading
            # texture within one pick, pairing (under suits) within two, high
            # cards within a few.
            for value, want in share_full.items():
                assert abs(share[value] - want) <= slack / n + 1e-9, (n, key, value)
    assert sample(50, seed=1) == sample(50, seed=1) != sample(50, seed=2)
    with pytest.raises(FlopError):
        sample(0)


def test_flop_lists(tmp_path, capsys):
    path = tmp_path / "flops.txt"
    path.write_text("# my flops\nAs 7d 2c\nkh qh 5h   2.5\n\n8s8d3c  # paired\n")
    flops = read_flops(str(path))
    assert [(f.text, f.weight) for f in flops] == [("As 7d 2c", 24), ("Kh Qh 5h", 2.5), ("8s 8d 3c", 12)]
    assert [f.name for f in flop_set(str(path))] == ["As7d2c", "KhQh5h", "8s8d3c"]
    bad = {"As 7d\n": "three cards", "As 7d 2x\n": "unknown flop", "As As 2c\n": "repeats",
           "As 7d 2c\nAh 7s 2d\n": "line 1 with suits renamed", "As 7d 2c 0\n": "above 0", "# none\n": "no flop"}
    for text, message in bad.items():
        path.write_text(text)
        with pytest.raises(FlopError, match=message):
            read_flops(str(path))
    with pytest.raises(FlopError, match="can't read"):
        read_flops(str(tmp_path / "missing.txt"))
    with pytest.raises(FlopError, match="sample:N"):
        flop_set("sample:many")
    # The listing of a set is a flop list: a sample saved reads back as itself.
    assert main(["flops", "sample:20"]) == 0
    path.write_text(capsys.readouterr().out)
    assert [(f.cards, pytest.approx(f.weight)) for f in read_flops(str(path))] == \
        [(f.cards, f.weight) for f in sample(20)]
