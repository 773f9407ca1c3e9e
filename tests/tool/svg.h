// What an SVG file holds, once it has been seen to be one that stands by itself.

#ifndef TOVI_TESTS_TOOL_SVG_H
#define TOVI_TESTS_TOOL_SVG_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/tool/tool_fixture.h"

// Whether every element is closed in turn, every attribute quoted, and nothing else uses XML's characters.
inline bool wellFormed(const std::string& text) {
  std::vector<std::string> open;
  std::size_t at = 0;
  if (text.compare(0, 5, "<?xml") == 0) at = text.find("?>") + 2;
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '&') {
      const std::string entity = text.substr(at, text.find(';', at) - at);
      if (entity != "&amp" && entity != "&lt" && entity != "&gt") return false;
    }
    if (static_cast<unsigned char>(c) < 0x20 && c != '\n') return false;
    if ((c & 0xC0) == 0x80 && (text[at - 1] & 0x80) == 0) return false;  // goes on with what has not begun
    if (c == '>') return false;
    if (c != '<') continue;
    const std::size_t end = text.find('>', at);
    if (end == std::string::npos) return false;
    const std::string tag = text.substr(at + 1, end - at - 1);
    if (tag.find('<') != std::string::npos || std::count(tag.begin(), tag.end(), '"') % 2 != 0) return false;
    const std::string name = tag.substr(0, tag.find_first_of(" /", 1));
    if (tag[0] == '/') {
      if (open.empty() || open.back() != tag.substr(1)) return false;
      open.pop_back();
    } else if (tag.back() != '/') {
      open.push_back(name);
    }
    at = end;
  }
  return open.empty();
}

inline std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

inline std::string svg(const std::string& path) {
  std::string text = contents(path);
  EXPECT_TRUE(wellFormed(text)) << text;
  EXPECT_NE(text.find("<svg xmlns=\"http://www.w3.org/2000/svg\" width="), std::string::npos);
  for (const char* foreign : {"href", "url(", "<script", "<image", "nan", "inf\""})
    EXPECT_EQ(text.find(foreign), std::string::npos) << foreign;
  return text;
}

#endif
