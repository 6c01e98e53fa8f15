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
