// LineWeight: how much of the deal's joint range plays down a line.
//
// The weight of a node at one deal, per hand of the first player: his
// reach times the second player's reach over compatible hands, times the
// runouts still to come on the board in force. Summed over hands it is the
// joint weight of the line, so the ratio of two sums is a frequency, and
// counting the runouts makes a root value and a deeper value comparable.
// The reach comes from the average strategies, read by a walk from the
// root down to the node, the same walk the EV queries make, so a frequency
// and an EV of the same node speak of the same strategies.
#pragma once

#include <vector>

// Cards are the client's, -1 for none. out: 1326 doubles by ComboIndex in
// the client's suits, not-a-number for hands off the board's list and for
// hands of weight exactly 0 in the first player's range as set. Takes the
// pass mutex for the walk.
void LineWeight(int nodeIndex, int turnCard, int riverCard, double* out);

// The sum of LineWeight over the entries that aren't not-a-number.
double LineWeightTotal(int nodeIndex, int turnCard, int riverCard);

// One turn card and the river cards to go with it.
struct TurnGroup {
  int turn = -1;
  std::vector<int> rivers;
};
// The sum of LineWeightTotal over every (turn, river) of the groups, under
// one hold of the pass mutex. The rivers of a group run in parallel, each
// into its own slot; slots are added in list order, so the result doesn't
// depend on the schedule.
double LineWeightTotalOverDeals(int nodeIndex, const std::vector<TurnGroup>& groups);

