// CompatibleWeight: for each hand, the opposing weight on the hands it can
// meet, the ones that share no card with it.
//
// A loop over pairs costs a million steps on a full list; inclusion and
// exclusion costs two passes. The first sums all weights and, per card, the
// weights of the hands holding it; the weight a hand can meet is then the
// total, less the sums through each of its two cards, plus the weight of
// the identical hand, which both card sums took off. Sums are in doubles
// and in list order, so every caller gets the same rounding, and the
// difference may leave dust around zero where nothing can be met: callers
// that care clear it against their own tolerance.
#pragma once

#include <cstdint>

struct CompatibleWeight {
  double total = 0.0;
  double cardSums[64] = {};

  // A hand by its two cards (0..51).
  void Add(int cardA, int cardB, double weight) {
    total += weight;
    cardSums[cardA] += weight;
    cardSums[cardB] += weight;
  }
  // A hand as the hand lists pack it: low card + high card * 256.
  void Add(uint16_t cards, double weight) { Add(cards & 0xFF, cards >> 8, weight); }

  // The weight the hand can meet; ownWeight is what Add was given for the
  // identical hand (0 if it wasn't added).
  double Of(int cardA, int cardB, double ownWeight) const {
    return total - cardSums[cardA] - cardSums[cardB] + ownWeight;
  }
  double Of(uint16_t cards, double ownWeight) const { return Of(cards & 0xFF, cards >> 8, ownWeight); }
};
