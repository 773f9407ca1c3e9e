// A table of numbers from a comma-separated file, read strictly: what is wrong is refused with one line that
// names the file, the line and the column. A first line of numbers alone is data, and the columns are called
// 1, 2, ...; one without numbers names them. Fields may stand in double quotes; empty lines are skipped;
// values are rounded from decimal to the precision of R, float or double. One column may hold labels:
// whatever text, kept as it is.

#ifndef TOVI_TOOLS_TABLE_H
#define TOVI_TOOLS_TABLE_H

#include <string>
#include <vector>

#include "tools/tovi/matrix.h"

namespace tool {

template <class R>
struct Table {
  std::vector<std::string> names;  // one a column
  Matrix<R> values{0, 0};
  std::vector<std::string> labels;  // one a row, where there are labels: they are no column of the values
};

// labels: the name of their column, or none.
template <class R>
Table<R> readTable(const std::string& path, const std::string& labels = {});

// Whether the file's name ends in .csv, in whatever case.
bool isTable(const std::string& path);

}  // namespace tool

#endif
