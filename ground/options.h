// Option letters: 'N', 'T', 'C' and their like.

#ifndef TOVI_GROUND_OPTIONS_H
#define TOVI_GROUND_OPTIONS_H

#include <string_view>

namespace tovi {

// Not by toupper: that depends on the locale.
constexpr char upperCase(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

// Letters are upper case by now.
constexpr bool isOneOf(std::string_view letters, char letter) {
  return letters.find(letter) != std::string_view::npos;
}

// Whether an option, in either case, is this letter.
constexpr bool isOption(char option, char upper) { return upperCase(option) == upper; }

}  // namespace tovi

#endif
