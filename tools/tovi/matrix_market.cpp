#include "tools/tovi/matrix_market.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "tools/tovi/numbers.h"

namespace tool {
namespace {

template <class Enum, std::size_t N>
bool choose(const std::string& word, const std::pair<const char*, Enum> (&choices)[N], Enum& chosen) {
  for (const auto& [name, value] : choices) {
    if (word != name) continue;
    chosen = value;
    return true;
  }
  return false;
}

std::string lower(std::string_view word) {
  std::string result(word);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

template <class T>
T convert(std::complex<Real<T>> value) {
  if constexpr (isComplex<T>)
    return value;
  else
    return value.real();
}

template <class T>
T mirrored(Symmetry symmetry, T value) {
  if (symmetry == Symmetry::skew) return -value;
  if constexpr (isComplex<T>) {
    if (symmetry == Symmetry::hermitian) return std::conj(value);
  }
  return value;
}

// The values that a file in array format stores: all, the lower triangle, or what lies below the diagonal.
std::uint64_t places(const Header& header) {
  const auto m = static_cast<std::uint64_t>(header.rows), n = static_cast<std::uint64_t>(header.columns);
  if (header.symmetry == Symmetry::general) return m * n;
  return header.symmetry == Symmetry::skew ? n * (n - 1) / 2 : n * (n + 1) / 2;
}

}  // namespace

MatrixMarketReader::MatrixMarketReader(const std::string& path) : lines_(path) {
  readBanner();
  readSize();
}

bool MatrixMarketReader::nextLine() {
  do {
    std::string_view text;
    if (!lines_.next(text)) return false;
    words_.clear();
    constexpr std::string_view blanks = " \t\r";
    for (std::size_t at = text.find_first_not_of(blanks); at != std::string_view::npos;) {
      const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
      words_.push_back(text.substr(at, end - at));
      at = text.find_first_not_of(blanks, end);
    }
  } while (words_.empty());
  return true;
}

void MatrixMarketReader::readBanner() {
  if (!nextLine()) lines_.fail("the file is empty");
  if (lower(words_[0]) != "%%matrixmarket")
    lines_.fail("not a Matrix Market file: it does not begin with %%MatrixMarket");
  if (words_.size() != 5) lines_.failAtLine("expected: %%MatrixMarket matrix FORMAT FIELD SYMMETRY");
  const std::string object = lower(words_[1]), format = lower(words_[2]), field = lower(words_[3]),
                    symmetry = lower(words_[4]);
  if (object != "matrix") lines_.failAtLine("holds a " + shown(object) + ", not a matrix");
  if (!choose(format, {std::pair{"coordinate", Format::coordinate}, {"array", Format::array}},
              header_.format))
    lines_.failAtLine("unknown format " + shown(format) + ": expected coordinate or array");
  if (!choose(field,
              {std::pair{"real", Field::real},
               {"complex", Field::complex},
               {"integer", Field::integer},
               {"pattern", Field::pattern}},
              header_.field))
    lines_.failAtLine("unknown field " + shown(field) + ": expected real, complex, integer or pattern");
  if (!choose(symmetry,
              {std::pair{"general", Symmetry::general},
               {"symmetric", Symmetry::symmetric},
               {"hermitian", Symmetry::hermitian},
               {"skew-symmetric", Symmetry::skew}},
              header_.symmetry))
    lines_.failAtLine("unknown symmetry " + shown(symmetry) +
                      ": expected general, symmetric, Hermitian or skew-symmetric");
  header_.kind = format + " " + field + " " + symmetry;
  const bool pattern = header_.field == Field::pattern;
  if ((pattern && (header_.format == Format::array || header_.symmetry == Symmetry::skew)) ||
      (header_.symmetry == Symmetry::hermitian && header_.field != Field::complex))
    lines_.failAtLine("'" + header_.kind + "' is no kind of Matrix Market file");
}

void MatrixMarketReader::readSize() {
  do {
    if (!nextLine()) lines_.fail("cut short: the file ends before its size line");
  } while (words_[0].front() == '%');

  const bool coordinate = header_.format == Format::coordinate;
  if (words_.size() != (coordinate ? 3u : 2u))
    lines_.failAtLine(coordinate ? "expected: rows columns entries" : "expected: rows columns");
  constexpr int largest = std::numeric_limits<int>::max();
  header_.rows = parseIndex(words_[0], largest, "number of rows");
  header_.columns = parseIndex(words_[1], largest, "number of columns");
  if (header_.symmetry != Symmetry::general && header_.rows != header_.columns)
    lines_.failAtLine("not square: " + std::to_string(header_.rows) + " x " +
                      std::to_string(header_.columns) + " cannot have a symmetry");
  header_.entries = coordinate ? parseCount(words_[2]) : places(header_);
  // An entry takes two bytes at the least: a size line that the file cannot keep is not believed.
  std::error_code unknown;
  const std::uintmax_t bytes = std::filesystem::file_size(path(), unknown);
  if (!unknown && header_.entries > bytes / 2)
    lines_.fail("cut short: " + std::to_string(header_.entries) + " entries cannot stand in " +
                std::to_string(bytes) + " bytes");
}

void MatrixMarketReader::expectSquare() const {
  if (header_.rows != header_.columns)
    lines_.fail("not square: " + std::to_string(header_.rows) + " x " + std::to_string(header_.columns));
}

void MatrixMarketReader::expectRows(int rowsOfMatrix) const {
  if (header_.rows != rowsOfMatrix)
    lines_.fail("has " + counted(header_.rows, "row", "rows") + ", the matrix has " +
                std::to_string(rowsOfMatrix));
}

template <class T>
Matrix<T> MatrixMarketReader::read() {
  Matrix<T> a(header_.rows, header_.columns);
  if (header_.format == Format::coordinate)
    readCoordinates(a);
  else
    readArray(a);
  if (nextLine())
    lines_.failAtLine("more than the " + counted(header_.entries, "entry", "entries") +
                      " that the size line gives");
  return a;
}

template <class T>
void MatrixMarketReader::readCoordinates(Matrix<T>& a) {
  const bool general = header_.symmetry == Symmetry::general;
  for (std::uint64_t entry = 0; entry < header_.entries; ++entry) {
    nextEntry(entry, 2 + wordsOfValue());
    const int i = parseIndex(words_[0], header_.rows, "row") - 1;
    const int j = parseIndex(words_[1], header_.columns, "column") - 1;
    const std::complex<Real<T>> value = parseValue<Real<T>>(2);
    if (!general && i < j)
      lines_.failAtLine("the entry lies above the diagonal, where the symmetry gives it");
    if (header_.symmetry == Symmetry::skew && i == j)
      lines_.failAtLine("a skew-symmetric matrix has no diagonal entries");
    if (header_.symmetry == Symmetry::hermitian && i == j && value.imag() != 0)
      lines_.failAtLine("the diagonal of a Hermitian matrix is real");
    a(i, j) += convert<T>(value);
    if (!std::isfinite(std::real(a(i, j))) || !std::isfinite(std::imag(a(i, j))))
      lines_.failAtLine(std::string("the sum of the entries for this place overflows ") + precisionOf<T>);
    if (!general && i != j) a(j, i) = mirrored(header_.symmetry, a(i, j));
  }
}

template <class T>
void MatrixMarketReader::readArray(Matrix<T>& a) {
  const bool general = header_.symmetry == Symmetry::general;
  std::uint64_t entry = 0;
  for (int j = 0; j < a.columns; ++j) {
    const int first = general ? 0 : header_.symmetry == Symmetry::skew ? j + 1 : j;
    for (int i = first; i < a.rows; ++i) {
      nextEntry(entry++, wordsOfValue());
      const std::complex<Real<T>> value = parseValue<Real<T>>(0);
      if (header_.symmetry == Symmetry::hermitian && i == j && value.imag() != 0)
        lines_.failAtLine("the diagonal of a Hermitian matrix is real");
      a(i, j) = convert<T>(value);
      if (!general && i != j) a(j, i) = mirrored(header_.symmetry, a(i, j));
    }
  }
}

std::size_t MatrixMarketReader::wordsOfValue() const {
  return header_.field == Field::complex ? 2 : header_.field == Field::pattern ? 0 : 1;
}

void MatrixMarketReader::nextEntry(std::uint64_t entry, std::size_t words) {
  if (!nextLine())
    lines_.fail("cut short: the file ends after " + std::to_string(entry) + " of " +
                counted(header_.entries, "entry", "entries"));
  if (words_.size() != words)
    lines_.failAtLine("expected " + counted(words, "number", "numbers") + ", found " +
                      counted(words_.size(), "word", "words"));
}

template <class R>
std::complex<R> MatrixMarketReader::parseValue(std::size_t firstWord) const {
  switch (header_.field) {
    case Field::pattern:
      return R(1);
    case Field::integer:
      return parseInteger<R>(words_[firstWord]);
    case Field::complex:
      return {parseReal<R>(words_[firstWord]), parseReal<R>(words_[firstWord + 1])};
    case Field::real:
      break;
  }
  return parseReal<R>(words_[firstWord]);
}

template <class R>
R MatrixMarketReader::parseReal(std::string_view word) const {
  R value(0);
  const std::string wrong = readReal(word, value);
  if (!wrong.empty()) lines_.failAtLine(wrong);
  return value;
}

template <class R>
R MatrixMarketReader::parseInteger(std::string_view word) const {
  std::string_view digits = word;
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
  long long value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size())
    lines_.failAtLine(shown(word) + " is not an integer of 64 bits");
  return static_cast<R>(value);
}

int MatrixMarketReader::parseIndex(std::string_view word, int limit, const char* what) const {
  const std::uint64_t value = parseCount(word);
  if (value < 1 || value > static_cast<std::uint64_t>(limit))
    lines_.failAtLine(std::string(what) + " " + shown(word) + " is not in 1.." + std::to_string(limit));
  return static_cast<int>(value);
}

std::uint64_t MatrixMarketReader::parseCount(std::string_view word) const {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error == std::errc::invalid_argument || end != word.data() + word.size())
    lines_.failAtLine(shown(word) + " is not a whole number");
  return error == std::errc() ? value : std::numeric_limits<std::uint64_t>::max();
}

template Matrix<float> MatrixMarketReader::read<float>();
template Matrix<double> MatrixMarketReader::read<double>();
template Matrix<std::complex<float>> MatrixMarketReader::read<std::complex<float>>();
template Matrix<std::complex<double>> MatrixMarketReader::read<std::complex<double>>();

namespace {

template <class R>
void append(std::string& line, R value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  line.append(digits, result.ptr);
}

}  // namespace

template <class T>
void writeMatrixMarket(std::ostream& file, const Matrix<T>& a) {
  constexpr bool complex = isComplex<T>;
  file << "%%MatrixMarket matrix array " << (complex ? "complex" : "real") << " general\n"
       << a.rows << ' ' << a.columns << '\n';
  std::string line;
  for (const std::complex<Real<T>> value : a.values) {
    line.clear();
    append(line, value.real());
    if (complex) append(line += ' ', value.imag());
    file << (line += '\n');
  }
}

template void writeMatrixMarket(std::ostream&, const Matrix<float>&);
template void writeMatrixMarket(std::ostream&, const Matrix<double>&);
template void writeMatrixMarket(std::ostream&, const Matrix<std::complex<float>>&);
template void writeMatrixMarket(std::ostream&, const Matrix<std::complex<double>>&);

}  // namespace tool
