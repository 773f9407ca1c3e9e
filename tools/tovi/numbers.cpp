#include "tools/tovi/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "tools/tovi/matrix.h"

namespace tool {

namespace {

// Where the whole word is a number: how from_chars took it. invalid_argument otherwise.
template <class R>
std::errc convert(std::string_view digits, R& value) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return end == digits.data() + digits.size() ? error : std::errc::invalid_argument;
}

std::string_view withoutPlus(std::string_view word) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
  return word;
}

}  // namespace

template <class R>
std::string readReal(std::string_view word, R& value) {
  const std::string_view digits = withoutPlus(word);
  value = R(0);
  const std::errc error = convert(digits, value);
  if (error == std::errc::invalid_argument) return shown(word) + " is not a number";
  // from_chars says out of range for too large and for too small alike.
  if (error == std::errc::result_out_of_range) {
    if constexpr (isDouble<R>)
      value = std::strtod(std::string(digits).c_str(), nullptr);
    else
      value = std::strtof(std::string(digits).c_str(), nullptr);
  }
  if (!std::isfinite(value)) {
    const bool spelled = error == std::errc();  // inf, nan, nan(1)
    return shown(word) + (spelled ? " is not a finite number" : std::string(" overflows ") + precisionOf<R>);
  }
  return {};
}
template std::string readReal(std::string_view, float&);
template std::string readReal(std::string_view, double&);

bool isNumber(std::string_view word) {
  float value = 0.0f;
  return convert(withoutPlus(word), value) != std::errc::invalid_argument;
}

std::string number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t k) { return k < text.size() ? static_cast<unsigned char>(text[k]) : 0u; };
  const std::uint32_t first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  if (first < 0xC0) return 0;  // the rest of a character
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  std::uint32_t code = first & (0x7Fu >> length);
  for (std::size_t k = 1; k < length; ++k) {
    if ((byte(k) & 0xC0u) != 0x80) return 0;
    code = code << 6 | (byte(k) & 0x3Fu);
  }
  constexpr std::uint32_t least[] = {0, 0, 0xA0, 0x800, 0x10000};
  const bool allowed = first < 0xF8 && code >= least[length] && code <= 0x10FFFF &&
                       !(code >= 0xD800 && code < 0xE000) && code != 0xFFFE && code != 0xFFFF;
  return allowed ? length : 0;
}

bool hasControls(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    if (length == 0 && static_cast<unsigned char>(text.front()) < 0xA0) return true;
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return false;
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = characterLength(text), taken = length == 0 ? 1 : length;
    result += length == 0 && text[0] != '\n' ? "?" : text.substr(0, taken);
    text.remove_prefix(taken);
  }
  return result;
}

std::string shown(std::string_view word) {
  constexpr std::size_t longest = 40;
  std::string result(word.substr(0, longest));
  for (char& c : result)
    if (c < ' ' || c > '~') c = '?';
  return "'" + result + (word.size() > longest ? "...'" : "'");
}

}  // namespace tool
