#include "analysis/reply_lines.h"

#include <cmath>
#include <cstdio>

#include "setup/cards.h"
#include "setup/failure.h"

std::string PublicOrderLine(const double* valuesByCombo,
                            const std::function<const char*(int position)>& nanText, int significantDigits) {
  std::string line;
  line.reserve(HandCount * 12);
  char number[64];
  for (int p = 0; p < HandCount; ++p) {
    const double value = valuesByCombo[HandOrderToCombo[size_t(p)]];
    const char* text = number;
    if (std::isnan(value))
      text = nanText(p);
    else
      std::snprintf(number, sizeof number, "%.*g", significantDigits, value);
    if (p > 0) line += ' ';
    line += text;
  }
  line += '\n';
  if (line.size() >= ReplyLineLimit) FailCommand("buffer too small");
  return line;
}

std::string HandLetters(int position) { return HandOrderText.substr(size_t(position) * 5, 4); }
