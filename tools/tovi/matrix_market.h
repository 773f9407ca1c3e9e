// Matrix Market files, read strictly: what the format leaves without a meaning is refused with one line that
// names the file and the line. Several entries for one place are added, as files of assembled matrices mean
// them; an entry above the diagonal of a symmetric matrix is refused. Values are rounded from decimal to
// the precision of the matrix.

#ifndef TOVI_TOOLS_MATRIX_MARKET_H
#define TOVI_TOOLS_MATRIX_MARKET_H

#include <complex>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tovi/line_reader.h"
#include "tools/tovi/matrix.h"

namespace tool {

enum class Format { coordinate, array };
enum class Field { real, complex, integer, pattern };
enum class Symmetry { general, symmetric, hermitian, skew };

struct Header {
  Format format;
  Field field;
  Symmetry symmetry;
  int rows, columns;
  std::uint64_t entries;  // stored in the file
  std::string kind;       // "coordinate real symmetric", as the file says it
};

class MatrixMarketReader {
 public:
  // Opens the file and reads its header: nothing is allocated for the matrix yet.
  explicit MatrixMarketReader(const std::string& path);

  const Header& header() const { return header_; }
  const std::string& path() const { return lines_.path(); }

  void expectSquare() const;
  // For a right-hand side: refuses it unless it has as many rows as the matrix.
  void expectRows(int rowsOfMatrix) const;

  // The whole matrix, T float, double (not for complex files) or a complex type. To be called once.
  template <class T>
  Matrix<T> read();

 private:
  bool nextLine();  // splits the next line that is not blank into words_; false at the end of the file
  void readBanner();
  void readSize();
  template <class T>
  void readCoordinates(Matrix<T>& a);
  template <class T>
  void readArray(Matrix<T>& a);
  void nextEntry(std::uint64_t entry, std::size_t words);
  template <class R>
  std::complex<R> parseValue(std::size_t firstWord) const;
  template <class R>
  R parseReal(std::string_view word) const;
  template <class R>
  R parseInteger(std::string_view word) const;
  int parseIndex(std::string_view word, int limit, const char* what) const;
  std::uint64_t parseCount(std::string_view word) const;
  std::size_t wordsOfValue() const;

  LineReader lines_;
  std::vector<std::string_view> words_;  // into the line just read
  Header header_{};
};

// Array format, as many digits as bring every bit back.
template <class T>
void writeMatrixMarket(std::ostream& file, const Matrix<T>& a);

}  // namespace tool

#endif
