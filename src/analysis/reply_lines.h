// Composing the 1326-number lines of the analysis replies.
//
// A line is built whole in a buffer of ReplyLineLimit bytes before it goes
// to the reply, so a line that can't be sent complete is refused rather
// than cut.
#pragma once

#include <functional>
#include <string>

inline constexpr size_t ReplyLineLimit = 65536;

// The values in public order, each with "%g" to the significant digits
// given and a blank between; a not-a-number entry prints as
// nanText(public position). Ends with a newline. Throws "buffer too small"
// for a line over the limit. The EV and equity replies print 9 digits, the
// strategy and range replies 12.
std::string PublicOrderLine(const double* valuesByCombo,
                            const std::function<const char*(int position)>& nanText, int significantDigits = 9);

// The four letters of the hand at a public position.
std::string HandLetters(int position);
