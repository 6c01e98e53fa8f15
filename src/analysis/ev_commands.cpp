// calc_ev, calc_ev_pp and calc_ev_line: what each hand of a player is
// worth at a place, in chips counted from nothing (the half pot each
// player has in at the root is added back).
#include <cmath>
#include <string>
#include <vector>

#include "analysis/analysis_commands.h"
#include "analysis/node_ev.h"
#include "analysis/reply_lines.h"
#include "analysis/strategy_read.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "tree/node_path.h"
#include "tree/schematic_tree.h"

namespace {

struct EvRequest {
  int player = 0;
  NodePath path;
};

// The checks the three commands share, in the order their errors come.
EvRequest ParseRequest(const Tokens& tokens) {
  if (tokens.size() < 3) ThrowBadArguments(tokens);
  EvRequest request;
  request.player = ParsePlayer(tokens[1]);
  // The place above the root has no hands to value: "r" means the root.
  request.path = ParseNodePath(tokens[2]);
  return request;
}

struct EvVectors {
  std::vector<double> ev = std::vector<double>(HandCount);
  std::vector<double> matchups = std::vector<double>(HandCount);
};

void AddHalfPot(EvVectors& v) {
  const double halfPot = TotalPot() * 0.5;
  for (double& ev : v.ev)
    if (!std::isnan(ev)) ev += halfPot;
}

EvVectors PlaceEv(const EvRequest& request) {
  EvVectors v;
  NodeEv(request.player, request.path.node->index, request.path.turn, request.path.river, v.ev.data(),
         v.matchups.data());
  AddHalfPot(v);
  return v;
}

void PrintEvLines(const EvVectors& v) {
  const std::string evs = PublicOrderLine(v.ev.data(), [](int) { return "nan"; });
  const std::string matchups = PublicOrderLine(v.matchups.data(), [](int) { return "0"; });
  PrintReplyText(evs);
  PrintReplyText(matchups);
  PrintReply("END\n");
}

}  // namespace

void CmdCalcEv(const Tokens& tokens) { PrintEvLines(PlaceEv(ParseRequest(tokens))); }

void CmdCalcEvPp(const Tokens& tokens) {
  const EvRequest request = ParseRequest(tokens);
  const EvVectors v = PlaceEv(request);
  for (int position : HandRanking(request.path)) {
    const size_t combo = HandOrderToCombo[size_t(position)];
    const double matchups = std::isnan(v.matchups[combo]) ? 0.0 : v.matchups[combo];
    PrintReply("%s: %.2f; %.2f\n", HandLetters(position).c_str(), v.ev[combo], matchups);
  }
  PrintReply("END\n");
}

void CmdCalcEvLine(const Tokens& tokens) {
  const EvRequest request = ParseRequest(tokens);
  EvVectors v;
  NodeEvOverDeals(request.player, request.path.node->index, request.path.turn, request.path.river, v.ev.data(),
                  v.matchups.data());
  AddHalfPot(v);
  PrintEvLines(v);
}
