// Texts that go into a caller's buffer.

#ifndef TOVI_API_TEXT_H
#define TOVI_API_TEXT_H

#include <algorithm>
#include <cstring>
#include <string>

namespace tovi::api {

// Writes as much of the text as fits; size > 0. The last byte of the buffer becomes zero in any case.
inline void copyText(const std::string& text, char* buffer, int size) {
  const std::size_t capacity = static_cast<std::size_t>(size);
  std::memcpy(buffer, text.c_str(), std::min(text.size() + 1, capacity));
  buffer[capacity - 1] = '\0';
}

}  // namespace tovi::api

#endif
