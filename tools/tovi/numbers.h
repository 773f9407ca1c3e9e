// Numbers to and from text, and the words of messages.

#ifndef TOVI_TOOLS_NUMBERS_H
#define TOVI_TOOLS_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// Reads a finite number, rounded to the precision of R: float or double. Returns what is wrong with the word:
// nothing if it is one.
template <class R>
std::string readReal(std::string_view word, R& value);

// Whether the word is a number, though it be none that readReal takes: infinite, NaN, too large.
bool isNumber(std::string_view word);

// One double, as printf writes it.
std::string number(const char* format, double value);

// A number of things: "1 row", "2 rows".
std::string counted(std::uint64_t count, const char* one, const char* many);

// The bytes of the first character of a text in UTF-8; 0 if none begins there, or a control character.
std::size_t characterLength(std::string_view text);

// Whether a terminal would obey something in the text: a control character, or a byte that is one where it is
// taken for a character.
bool hasControls(std::string_view text);

// A text with nothing in it that a terminal would obey; lines stay lines.
std::string printable(std::string_view text);

// A word of a file as messages show it: in quotes, short, and nothing in it that a terminal would obey.
std::string shown(std::string_view word);

}  // namespace tool

#endif
