#include "eval/rule_settings.h"

#include <cassert>

std::array<uint8_t, 9> handTypeOrder = {0, 1, 2, 3, 4, 5, 6, 7, 8};
std::array<uint8_t, 9> handTypePosition = {0, 1, 2, 3, 4, 5, 6, 7, 8};
bool defaultHandTypeOrder = true;
uint32_t mustUseHoleCards = 0;

void ApplyHandTypeOrder(const std::array<uint8_t, 9>& order) {
  defaultHandTypeOrder = true;
  for (uint8_t i = 0; i < 9; ++i) {
    uint8_t type = order[i];
    assert(type < 9);
    handTypeOrder[i] = type;
    handTypePosition[type] = i;
    if (type != i) defaultHandTypeOrder = false;
  }
}

void ResetRuleSettings() {
  ApplyHandTypeOrder({0, 1, 2, 3, 4, 5, 6, 7, 8});
  lowCard = 0;
  mustUseHoleCards = 0;
}

bool LoadRuleSettings(const uint8_t* bytes) {
  if (!bytes) {
    ResetRuleSettings();
    return true;
  }
  constexpr int MaxStoredLowCard = 4;
  constexpr uint8_t MaxMustUse = 2;
  if (bytes[0] > MaxStoredLowCard || bytes[1] > MaxMustUse) return false;
  std::array<uint8_t, 9> order;
  for (int i = 0; i < 9; ++i) {
    order[size_t(i)] = bytes[2 + i];
    if (order[size_t(i)] > 8) return false;
  }
  lowCard = bytes[0];
  mustUseHoleCards = bytes[1];
  ApplyHandTypeOrder(order);
  return true;
}

std::array<uint8_t, RuleSettingBytes> SaveRuleSettings() {
  std::array<uint8_t, RuleSettingBytes> bytes;
  bytes[0] = uint8_t(lowCard);
  bytes[1] = uint8_t(mustUseHoleCards);
  for (int i = 0; i < 9; ++i) bytes[size_t(2 + i)] = handTypeOrder[size_t(i)];
  return bytes;
}
