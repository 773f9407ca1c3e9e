// A folder for the files of one test, and the program run in it.

#ifndef TOVI_TESTS_TOOL_TOOL_FIXTURE_H
#define TOVI_TESTS_TOOL_TOOL_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/program.h"

const std::string real = "%%MatrixMarket matrix array real general\n";

struct Result {
  int exitCode;
  std::string out, err;
};

inline std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline long lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

inline void expectParts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << '\n' << text;
}

inline void expectOneLine(const Result& result, const std::string& message) {
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(lines(result.err), 1) << result.err;
  expectParts(result.err, {message});
}

// Words between blanks, in single quotes where they hold one.
inline std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> std::quoted(word, '\'', '\0');) words.push_back(word);
  return words;
}

// A field of failures.txt or answers.txt.
inline std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t end = text.find('}', i);
    if (text[i] != '\\') {
      result += text[i];
    } else if (text[++i] == '{') {
      result.append(std::stoul(text.substr(i + 1)), text[end - 1]), i = end;
    } else if (text[i] == 'x') {
      result += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)), i += 2;
    } else {
      result += text[i] == 'n' ? '\n' : '\r';
    }
  }
  return result;
}

class Tool : public testing::Test {
 protected:
  void SetUp() override { folder_ = testing_support::newFolder(); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }
  // In the folder: its files go by their names.
  Result run(const std::string& arguments, const std::string& output = "out") const {
    std::vector<std::string> words = wordsOf(arguments);
    words.insert(words.begin(), std::filesystem::absolute(TOVI_TOOL).string());
    const int exitCode = testing_support::runProgram(words, folder_, output, "err");
    return {exitCode, contents(path("out")), contents(path("err"))};
  }
  // The files in the folder and what they hold, without those that run() makes.
  std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> result;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      const std::string name = entry.path().lexically_relative(folder_).string();
      if (name != "out" && name != "err") result[name] = entry.is_directory() ? "" : contents(entry.path());
    }
    return result;
  }

  // Visits the runs of a table, each with the files of its section. Returns how many there are.
  template <class Visit>
  int forEachRun(const char* name, const Visit& visit) {
    std::ifstream table(name);
    int runs = 0;
    for (std::string line; std::getline(table, line);) {
      SCOPED_TRACE(line.substr(0, 200));
      if (line.empty()) TearDown(), SetUp();
      if (line.empty() || line[0] == '#') continue;
      if (line.find(" | ") == std::string::npos) {
        const std::size_t end = line.find(" =");
        make(line.substr(0, end), unescaped(line.substr(std::min(end + 3, line.size()))));
        continue;
      }
      std::vector<std::string> fields;
      for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 3) {
        end = line.find(" | ", begin);
        fields.push_back(unescaped(line.substr(begin, end - begin)));
      }
      visit(fields);
      ++runs;
    }
    return runs;
  }

  // The fields of the first line of a table of results, by name.
  std::map<std::string, std::string> results(const std::string& name) const {
    std::ifstream csv(path(name));
    std::string names, values;
    std::getline(csv, names);
    std::getline(csv, values);
    std::map<std::string, std::string> fields;
    std::istringstream nameStream(names), valueStream(values);
    for (std::string field, value;
         std::getline(nameStream, field, ',') && std::getline(valueStream, value, ',');)
      fields[field] = value;
    return fields;
  }

  // The numbers of a file that the program wrote, below its size line.
  std::vector<double> solution() const {
    std::ifstream file(path("x.mtx"));
    std::string banner;
    std::getline(file, banner);
    int rows = 0, columns = 0;
    file >> rows >> columns;
    std::vector<double> values;
    for (double value; file >> value;) values.push_back(value);
    return values;
  }

 private:
  // A file; a folder, where nothing is to be held; another name of a file.
  void make(const std::string& name, const std::string& holds) const {
    if (holds.empty())
      std::filesystem::create_directory(path(name));
    else if (holds[0] == '@')
      std::filesystem::create_hard_link(path(holds.substr(1)), path(name));
    else
      write(name, holds);
  }

  std::filesystem::path folder_;
};

#endif
