// A brute-force reference for river games: every pair of hands explicit,
// in doubles, on the betting of a built node list.
//
// It shares nothing with the solver but the node list (kinds, players,
// payoffs, children), which the tree tests cover. Showdowns compare seven-
// card values from the plain evaluator; card removal is a compatibility
// matrix. It evaluates any strategy profile exactly: values and best
// responses.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "eval/evaluate_cards.h"
#include "setup/cards.h"
#include "tree/solver_context.h"

class ReferenceRiverGame {
 public:
  // strategy[node][hand * actions + action] for the hands of node's player.
  using Profile = std::vector<std::vector<double>>;

  struct Result {
    double evOop = 0.0, mesOop = 0.0, mesIp = 0.0;
    // evIp is -evOop: every end pays one player what the other loses.
    double Exploitability() const { return (mesOop + mesIp) * 0.5; }
  };

  ReferenceRiverGame(const SolverContext& context, CardMask board, const std::vector<double> (&ranges)[2])
      : nodes_(context.nodes) {
    for (int p = 0; p < 2; ++p)
      for (int c = 0; c < HandCount; ++c) {
        const CardMask hand = ComboMask[size_t(c)];
        if ((hand & board) || !(ranges[p][size_t(c)] > 0.0)) continue;
        hands_[p].push_back(hand);
        combos_[p].push_back(c);
        weights_[p].push_back(ranges[p][size_t(c)]);
        strengths_[p].push_back(Strength(board, hand));
      }
    total_ = 0.0;
    for (size_t i = 0; i < hands_[0].size(); ++i)
      for (size_t j = 0; j < hands_[1].size(); ++j)
        if (!(hands_[0][i] & hands_[1][j])) total_ += weights_[0][i] * weights_[1][j];
  }

  const std::vector<int>& Combos(int player) const { return combos_[player]; }

  Profile Uniform() const {
    Profile profile(nodes_.size());
    for (size_t n = 0; n < nodes_.size(); ++n) {
      const TreeNode& node = nodes_[n];
      if (node.IsEnd()) continue;
      profile[n].assign(hands_[node.player].size() * node.children.size(), 1.0 / double(node.children.size()));
    }
    return profile;
  }

  // OOP's value of the profile and both best-response values, in chips
  // from the half-way split, as means over the dealt pairs.
  Result Evaluate(const Profile& profile) const {
    Result result;
    for (int p = 0; p < 2; ++p) {
      std::vector<double> value, best;
      Walk(0, p, weights_[p ^ 1], profile, value, best);
      double v = 0.0, b = 0.0;
      for (size_t i = 0; i < value.size(); ++i) {
        v += weights_[p][i] * value[i];
        b += weights_[p][i] * best[i];
      }
      if (p == 0) {
        result.evOop = v / total_;
        result.mesOop = b / total_;
      } else {
        result.mesIp = b / total_;
      }
    }
    return result;
  }

 private:
  static uint32_t Strength(CardMask board, CardMask hand) {
    int cards[7];
    int n = 0;
    for (CardMask rest = board | hand; rest; rest &= rest - 1) cards[n++] = std::countr_zero(rest);
    return EvaluateCards(cards, n);
  }

  // Values of player p's hands at an end node against the opponent's reach.
  std::vector<double> EndValues(const TreeNode& end, int p, const std::vector<double>& opp) const {
    const int q = p ^ 1;
    std::vector<double> out(hands_[p].size(), 0.0);
    for (size_t i = 0; i < out.size(); ++i) {
      double v = 0.0;
      for (size_t j = 0; j < hands_[q].size(); ++j) {
        if (hands_[p][i] & hands_[q][j]) continue;
        double payoff;
        if (end.kind == FoldEnd) {
          payoff = end.player == p ? -end.value : end.value;
        } else {
          const uint32_t a = strengths_[p][i], b = strengths_[q][j];
          payoff = a > b ? end.value : a < b ? -end.value : 0.0;
        }
        v += opp[j] * payoff;
      }
      out[i] = v;
    }
    return out;
  }

  // Counterfactual values (value) and best-response values (best) of p's
  // hands, opp being the opponent's reach.
  void Walk(int n, int p, const std::vector<double>& opp, const Profile& profile, std::vector<double>& value,
            std::vector<double>& best) const {
    const TreeNode& node = nodes_[size_t(n)];
    if (node.IsEnd()) {
      value = EndValues(node, p, opp);
      best = value;
      return;
    }
    const size_t actions = node.children.size();
    const size_t own = hands_[p].size();
    value.assign(own, 0.0);
    best.assign(own, node.player == p ? -1e300 : 0.0);
    for (size_t a = 0; a < actions; ++a) {
      std::vector<double> v, b;
      if (node.player == p) {
        Walk(node.children[a], p, opp, profile, v, b);
        for (size_t i = 0; i < own; ++i) {
          value[i] += profile[size_t(n)][i * actions + a] * v[i];
          best[i] = std::max(best[i], b[i]);
        }
      } else {
        std::vector<double> reach(opp.size());
        for (size_t j = 0; j < opp.size(); ++j) reach[j] = opp[j] * profile[size_t(n)][j * actions + a];
        Walk(node.children[a], p, reach, profile, v, b);
        for (size_t i = 0; i < own; ++i) {
          value[i] += v[i];
          best[i] += b[i];
        }
      }
    }
  }

  const std::vector<TreeNode>& nodes_;
  std::vector<CardMask> hands_[2];
  std::vector<int> combos_[2];
  std::vector<double> weights_[2];
  std::vector<uint32_t> strengths_[2];
  double total_ = 0.0;
};
