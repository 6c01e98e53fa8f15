#include <cstdint>

#include "setup/failure.h"
#include "storage/strategy_store.h"

// Entries are laid out group by group, river by river, each entry's action
// rows one after the other at the padded stride; a group's span is thus one
// contiguous range that a store can clear or hand over as a whole.
RiverLayout MakeRiverLayout(int actions, const std::vector<std::vector<int32_t>>& riverHandCounts) {
  RiverLayout layout;
  layout.actions = actions;
  layout.groupCount = int32_t(riverHandCounts.size());
  int64_t offset = 0;
  int64_t elements = 0;
  for (const std::vector<int32_t>& rivers : riverHandCounts) {
    RiverLayout::Group group;
    group.firstEntry = int32_t(layout.entries.size());
    group.entryCount = int32_t(rivers.size());
    RiverLayout::Span span;
    span.offset = int32_t(offset);
    for (int32_t hands : rivers) {
      layout.entries.push_back({int32_t(offset), hands});
      offset += int64_t(actions) * RiverLayout::Stride(hands);
      elements += int64_t(actions) * hands;
      // Offsets are 32 bits wide: one store of one node can't be larger.
      if (offset > INT32_MAX) FatalError("river store too large");
    }
    span.elements = int32_t(offset - span.offset);
    layout.groups.push_back(group);
    layout.groupSpans.push_back(span);
  }
  layout.entryCount = int32_t(layout.entries.size());
  layout.paddedElements = int32_t(offset);
  layout.elements = int32_t(elements);
  return layout;
}
