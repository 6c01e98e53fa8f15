#include "storage/turn_store.h"

TurnStore::TurnStore(int actions, const std::vector<int32_t>& handCounts) {
  children.reserve(handCounts.size());
  for (int32_t hands : handCounts) children.emplace_back(actions, hands);
}

bool TurnStore::Allocate() {
  for (FlopStore& child : children) {
    if (!child.Allocate()) {
      Release();
      return false;
    }
  }
  return true;
}

void TurnStore::Release() {
  for (FlopStore& child : children) child.Release();
}

int64_t TurnStore::EntryCount(int group) const {
  if (group >= 0) return children[size_t(group)].EntryCount(0);
  int64_t total = 0;
  for (const FlopStore& child : children) total += child.EntryCount(0);
  return total;
}

void TurnStore::Save(TreeWriter& out) const {
  for (const FlopStore& child : children) child.Save(out);
}

bool TurnStore::Load(TreeReader& in) {
  for (FlopStore& child : children) {
    if (!child.Load(in)) {
      Release();
      return false;
    }
  }
  return true;
}
