// The functions that a public header declares.

#ifndef TOVI_TESTS_SUPPORT_HEADER_H
#define TOVI_TESTS_SUPPORT_HEADER_H

#include <fstream>
#include <set>
#include <string>

namespace testing_support {

// Of include/tovi.h; of another header of the same style with another marker.
inline std::set<std::string> declaredFunctions(const char* header = TOVI_PUBLIC_HEADER,
                                               const std::string& marker = "TOVI_API ") {
  std::ifstream file(header);
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(marker, 0) != 0) continue;  // a declaration has its name in its first line
    const std::size_t end = line.find('('), start = line.find_last_of(" *", end) + 1;
    names.insert(line.substr(start, end - start));
  }
  return names;
}

}  // namespace testing_support

#endif
