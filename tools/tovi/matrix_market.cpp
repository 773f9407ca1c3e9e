#include "tools/tovi/matrix_market.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "tools/tovi/failure.h"

namespace tool {
namespace {

constexpr std::size_t longestLine = 65536;  // so that a file without line ends is refused, not loaded

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

// A word of the file as messages show it: short, and nothing in it that a terminal would obey.
std::string shown(std::string_view word) {
  constexpr std::size_t longest = 40;
  std::string result(word.substr(0, longest));
  for (char& c : result)
    if (c < ' ' || c > '~') c = '?';
  return "'" + result + (word.size() > longest ? "...'" : "'");
}

std::string systemText() { return std::generic_category().message(errno); }

template <class T>
T convert(std::complex<float> value) {
  if constexpr (std::is_same_v<T, float>)
    return value.real();
  else
    return value;
}

template <class T>
T mirrored(Symmetry symmetry, T value) {
  if (symmetry == Symmetry::skew) return -value;
  if constexpr (!std::is_same_v<T, float>) {
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

MatrixMarketReader::MatrixMarketReader(const std::string& path) : path_(path), line_(longestLine) {
  errno = 0;
  file_.open(path, std::ios::binary);
  if (!file_) fail("cannot be opened: " + systemText());
  readBanner();
  readSize();
}

void MatrixMarketReader::fail(const std::string& message) const { throw Failure(path_ + ": " + message); }

void MatrixMarketReader::failAtLine(const std::string& message) const {
  throw Failure(path_ + ":" + std::to_string(lineNumber_) + ": " + message);
}

bool MatrixMarketReader::nextLine() {
  do {
    if (file_.peek() == std::ifstream::traits_type::eof()) {
      if (file_.bad()) fail("cannot be read");
      return false;
    }
    ++lineNumber_;
    file_.getline(line_.data(), static_cast<std::streamsize>(line_.size()));
    if (file_.bad()) fail("cannot be read");
    if (file_.fail()) failAtLine("the line is too long");
    auto length = static_cast<std::size_t>(file_.gcount());
    if (!file_.eof()) --length;  // gcount counts the line end

    words_.clear();
    const std::string_view text(line_.data(), length);
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
  if (!nextLine()) fail("the file is empty");
  if (lower(words_[0]) != "%%matrixmarket")
    fail("not a Matrix Market file: it does not begin with %%MatrixMarket");
  if (words_.size() != 5) failAtLine("expected: %%MatrixMarket matrix FORMAT FIELD SYMMETRY");
  const std::string object = lower(words_[1]), format = lower(words_[2]), field = lower(words_[3]),
                    symmetry = lower(words_[4]);
  if (object != "matrix") failAtLine("holds a " + shown(object) + ", not a matrix");
  if (!choose(format, {std::pair{"coordinate", Format::coordinate}, {"array", Format::array}},
              header_.format))
    failAtLine("unknown format " + shown(format) + ": expected coordinate or array");
  if (!choose(field,
              {std::pair{"real", Field::real},
               {"complex", Field::complex},
               {"integer", Field::integer},
               {"pattern", Field::pattern}},
              header_.field))
    failAtLine("unknown field " + shown(field) + ": expected real, complex, integer or pattern");
  if (!choose(symmetry,
              {std::pair{"general", Symmetry::general},
               {"symmetric", Symmetry::symmetric},
               {"hermitian", Symmetry::hermitian},
               {"skew-symmetric", Symmetry::skew}},
              header_.symmetry))
    failAtLine("unknown symmetry " + shown(symmetry) +
               ": expected general, symmetric, Hermitian or skew-symmetric");
  header_.kind = format + " " + field + " " + symmetry;
  const bool pattern = header_.field == Field::pattern;
  if ((pattern && (header_.format == Format::array || header_.symmetry == Symmetry::skew)) ||
      (header_.symmetry == Symmetry::hermitian && header_.field != Field::complex))
    failAtLine("'" + header_.kind + "' is no kind of Matrix Market file");
}

void MatrixMarketReader::readSize() {
  do {
    if (!nextLine()) fail("cut short: the file ends before its size line");
  } while (words_[0].front() == '%');

  const bool coordinate = header_.format == Format::coordinate;
  if (words_.size() != (coordinate ? 3u : 2u))
    failAtLine(coordinate ? "expected: rows columns entries" : "expected: rows columns");
  constexpr int largest = std::numeric_limits<int>::max();
  header_.rows = parseIndex(words_[0], largest, "number of rows");
  header_.columns = parseIndex(words_[1], largest, "number of columns");
  if (header_.symmetry != Symmetry::general && header_.rows != header_.columns)
    failAtLine("not square: " + std::to_string(header_.rows) + " x " + std::to_string(header_.columns) +
               " cannot have a symmetry");
  header_.entries = coordinate ? parseCount(words_[2]) : places(header_);
  // An entry takes two bytes at the least: a size line that the file cannot keep is not believed.
  std::error_code unknown;
  const std::uintmax_t bytes = std::filesystem::file_size(path_, unknown);
  if (!unknown && header_.entries > bytes / 2)
    fail("cut short: " + std::to_string(header_.entries) + " entries cannot stand in " +
         std::to_string(bytes) + " bytes");
}

template <class T>
Matrix<T> MatrixMarketReader::read() {
  Matrix<T> a(header_.rows, header_.columns);
  if (header_.format == Format::coordinate)
    readCoordinates(a);
  else
    readArray(a);
  if (nextLine())
    failAtLine("more than the " + std::to_string(header_.entries) + " entries that the size line gives");
  return a;
}

template <class T>
void MatrixMarketReader::readCoordinates(Matrix<T>& a) {
  const bool general = header_.symmetry == Symmetry::general;
  for (std::uint64_t entry = 0; entry < header_.entries; ++entry) {
    nextEntry(entry, 2 + wordsOfValue());
    const int i = parseIndex(words_[0], header_.rows, "row") - 1;
    const int j = parseIndex(words_[1], header_.columns, "column") - 1;
    const std::complex<float> value = parseValue(2);
    if (!general && i < j) failAtLine("the entry lies above the diagonal, where the symmetry gives it");
    if (header_.symmetry == Symmetry::skew && i == j)
      failAtLine("a skew-symmetric matrix has no diagonal entries");
    if (header_.symmetry == Symmetry::hermitian && i == j && value.imag() != 0.0f)
      failAtLine("the diagonal of a Hermitian matrix is real");
    a(i, j) += convert<T>(value);
    if (!std::isfinite(std::real(a(i, j))) || !std::isfinite(std::imag(a(i, j))))
      failAtLine("the sum of the entries for this place overflows single precision");
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
      const std::complex<float> value = parseValue(0);
      if (header_.symmetry == Symmetry::hermitian && i == j && value.imag() != 0.0f)
        failAtLine("the diagonal of a Hermitian matrix is real");
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
    fail("cut short: the file ends after " + std::to_string(entry) + " of " +
         std::to_string(header_.entries) + " entries");
  if (words_.size() != words)
    failAtLine("expected " + std::to_string(words) + (words == 1 ? " number" : " numbers") + ", found " +
               std::to_string(words_.size()) + (words_.size() == 1 ? " word" : " words"));
}

std::complex<float> MatrixMarketReader::parseValue(std::size_t firstWord) const {
  switch (header_.field) {
    case Field::pattern:
      return 1.0f;
    case Field::integer:
      return parseInteger(words_[firstWord]);
    case Field::complex:
      return {parseReal(words_[firstWord]), parseReal(words_[firstWord + 1])};
    case Field::real:
      break;
  }
  return parseReal(words_[firstWord]);
}

float MatrixMarketReader::parseReal(std::string_view word) const {
  std::string_view digits = word;
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
  float value = 0.0f;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size())
    failAtLine(shown(word) + " is not a number");
  // from_chars says out of range for too large and for too small alike.
  if (error == std::errc::result_out_of_range) value = std::strtof(std::string(digits).c_str(), nullptr);
  if (!std::isfinite(value)) {
    const bool spelled = error == std::errc();  // inf, nan, nan(1)
    failAtLine(shown(word) + (spelled ? " is not a finite number" : " overflows single precision"));
  }
  return value;
}

float MatrixMarketReader::parseInteger(std::string_view word) const {
  std::string_view digits = word;
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
  long long value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size())
    failAtLine(shown(word) + " is not an integer of 64 bits");
  return static_cast<float>(value);
}

int MatrixMarketReader::parseIndex(std::string_view word, int limit, const char* what) const {
  const std::uint64_t value = parseCount(word);
  if (value < 1 || value > static_cast<std::uint64_t>(limit))
    failAtLine(std::string(what) + " " + std::string(word) + " is not in 1.." + std::to_string(limit));
  return static_cast<int>(value);
}

std::uint64_t MatrixMarketReader::parseCount(std::string_view word) const {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error == std::errc::result_out_of_range) return std::numeric_limits<std::uint64_t>::max();
  if (error != std::errc() || end != word.data() + word.size())
    failAtLine(shown(word) + " is not a whole number");
  return value;
}

template Matrix<float> MatrixMarketReader::read<float>();
template Matrix<std::complex<float>> MatrixMarketReader::read<std::complex<float>>();

namespace {

void append(std::string& line, float value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  line.append(digits, result.ptr);
}

}  // namespace

template <class T>
void writeMatrixMarket(const std::string& path, const Matrix<T>& a) {
  constexpr bool complex = !std::is_same_v<T, float>;
  errno = 0;
  std::ofstream file(path, std::ios::binary);
  if (file) {
    file << "%%MatrixMarket matrix array " << (complex ? "complex" : "real") << " general\n"
         << a.rows << ' ' << a.columns << '\n';
    std::string line;
    for (const std::complex<float> value : a.values) {
      line.clear();
      append(line, value.real());
      if (complex) append(line += ' ', value.imag());
      file << (line += '\n');
    }
    file.close();
  }
  if (!file) throw Failure(path + ": cannot be written: " + systemText());
}

template void writeMatrixMarket(const std::string&, const Matrix<float>&);
template void writeMatrixMarket(const std::string&, const Matrix<std::complex<float>>&);

}  // namespace tool
