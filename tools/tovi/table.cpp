#include "tools/tovi/table.h"

#include <algorithm>
#include <string_view>

#include "tools/tovi/files.h"
#include "tools/tovi/line_reader.h"
#include "tools/tovi/numbers.h"

namespace tool {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(blanks);
  return first == text.npos ? std::string_view()
                            : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The fields of a line without the blanks around them. Within quotes a comma is a character and "" is a
// quote.
std::vector<std::string> split(const LineReader& reader, std::string_view line) {
  std::vector<std::string> fields;
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    std::string field;
    if (!line.empty() && line.front() == '"') {
      for (;;) {
        line.remove_prefix(1);
        const std::size_t quote = line.find('"');
        if (quote == line.npos) reader.failAtLine("a quote is not closed");
        field += line.substr(0, quote);
        line.remove_prefix(quote + 1);
        if (line.empty() || line.front() != '"') break;
        field += '"';
      }
      line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
      if (!line.empty() && line.front() != ',') reader.failAtLine("text follows a closing quote");
    } else {
      field = trimmed(line.substr(0, line.find(',')));
      line.remove_prefix(std::min(line.find(','), line.size()));
    }
    fields.push_back(std::move(field));
    if (line.empty()) return fields;
    line.remove_prefix(1);
  }
}

bool nextFields(LineReader& reader, std::vector<std::string>& fields) {
  for (std::string_view line; reader.next(line);) {
    if (trimmed(line).empty()) continue;
    fields = split(reader, line);
    return true;
  }
  return false;
}

// Whether the first line of a file names the columns. A line of numbers but for one is neither names nor
// data.
bool areNames(const LineReader& reader, const std::vector<std::string>& fields) {
  const auto aNumber = std::find_if(fields.begin(), fields.end(), isNumber),
             aWord = std::find_if_not(fields.begin(), fields.end(), isNumber);
  if (aNumber != fields.end() && aWord != fields.end())
    reader.failAtLine("neither names nor numbers: " + shown(*aNumber) + " is a number, " + shown(*aWord) +
                      " is not");
  return aNumber == fields.end();
}

void checkNames(const LineReader& reader, const std::vector<std::string>& names) {
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (name->empty())
      reader.failAtLine("column " + std::to_string(name - names.begin() + 1) + " has no name");
    if (hasControls(*name))  // names are printed
      reader.failAtLine("control characters in the name " + shown(*name));
    if (std::find(names.begin(), name, *name) != name)
      reader.failAtLine("two columns have the name " + shown(*name));
  }
}

// The columns are in the order of the file, the values by rows until all have been read. labelColumn: none of
// the columns where there are no labels.
template <class R>
void appendRow(const LineReader& reader, const std::vector<std::string>& names, std::size_t labelColumn,
               const std::vector<std::string>& fields, std::vector<R>& values,
               std::vector<std::string>& labels) {
  if (fields.size() != names.size())
    reader.failAtLine("expected " + counted(names.size(), "field", "fields") + ", found " +
                      std::to_string(fields.size()));
  for (std::size_t j = 0; j < fields.size(); ++j) {
    if (j == labelColumn) {
      labels.push_back(fields[j]);
      continue;
    }
    R value(0);
    const std::string wrong = fields[j].empty() ? "no value" : readReal(fields[j], value);
    if (!wrong.empty()) reader.failAtLine("column " + shown(names[j]) + ": " + wrong);
    values.push_back(value);
  }
}

}  // namespace

template <class R>
Table<R> readTable(const std::string& path, const std::string& labels) {
  LineReader reader(path);
  Table<R> table;
  std::vector<std::string> fields;
  std::vector<R> byRows;
  if (!nextFields(reader, fields)) reader.fail("the file is empty");
  const bool named = areNames(reader, fields);
  if (named) {
    checkNames(reader, fields);
    table.names = fields;
  } else {
    for (std::size_t j = 1; j <= fields.size(); ++j) table.names.push_back(std::to_string(j));
  }
  const auto found =
      labels.empty() ? table.names.end() : std::find(table.names.begin(), table.names.end(), labels);
  if (!labels.empty() && found == table.names.end()) reader.fail("no column has the name '" + labels + "'");
  const auto labelColumn = static_cast<std::size_t>(found - table.names.begin());
  if (named && !nextFields(reader, fields)) reader.fail("no line of numbers follows the names");
  int rows = 0;
  do {
    appendRow(reader, table.names, labelColumn, fields, byRows, table.labels);
    ++rows;
  } while (nextFields(reader, fields));
  if (!labels.empty()) table.names.erase(found);

  const std::size_t columns = table.names.size();
  table.values = Matrix<R>(rows, static_cast<int>(columns));
  for (int i = 0; i < table.values.rows; ++i)
    for (int j = 0; j < table.values.columns; ++j)
      table.values(i, j) = byRows[static_cast<std::size_t>(i) * columns + static_cast<std::size_t>(j)];
  return table;
}
template Table<float> readTable(const std::string&, const std::string&);
template Table<double> readTable(const std::string&, const std::string&);

bool isTable(const std::string& path) { return hasEnding(path, ".csv"); }

}  // namespace tool
