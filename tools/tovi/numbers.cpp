#include "tools/tovi/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace tool {

std::string readReal(std::string_view word, float& value) {
  std::string_view digits = word;
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
  value = 0.0f;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size())
    return shown(word) + " is not a number";
  // from_chars says out of range for too large and for too small alike.
  if (error == std::errc::result_out_of_range) value = std::strtof(std::string(digits).c_str(), nullptr);
  if (!std::isfinite(value)) {
    const bool spelled = error == std::errc();  // inf, nan, nan(1)
    return shown(word) + (spelled ? " is not a finite number" : " overflows single precision");
  }
  return {};
}

std::string number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string shown(std::string_view word) {
  constexpr std::size_t longest = 40;
  std::string result(word.substr(0, longest));
  for (char& c : result)
    if (c < ' ' || c > '~') c = '?';
  return "'" + result + (word.size() > longest ? "...'" : "'");
}

}  // namespace tool
