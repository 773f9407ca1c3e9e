#include "tools/tovi/picture.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

#include "tools/tovi/failure.h"

namespace tool {
namespace {

constexpr int endOfFile = std::ifstream::traits_type::eof();

}  // namespace

// --- PGM

PgmReader::PgmReader(const std::string& path) : path_(path) {
  errno = 0;
  file_.open(path, std::ios::binary);
  if (!file_) fail("cannot be opened: " + std::generic_category().message(errno));
  const int letter = next();
  if (letter < 0) fail("the file is empty");
  const int digit = next();
  if (letter != 'P' || (digit != '2' && digit != '5'))
    fail("not a grey PGM picture: it does not begin with P2 or P5");
  raw_ = digit == '5';
  constexpr int largest = std::numeric_limits<int>::max();
  width_ = headerNumber("width", largest);
  height_ = headerNumber("height", largest);
  white_ = headerNumber("largest grey value", 65535);
  if (const int c = next(); c >= 0 && std::isspace(c) == 0) fail("no blank follows the header");

  // A raw pixel takes one byte or two, a plain one a digit and, but for the last, a blank: a header that the
  // file cannot keep is not believed.
  const double pixels = static_cast<double>(width_) * height_;
  std::error_code unknown;
  const std::uintmax_t bytes = std::filesystem::file_size(path, unknown);
  if (!unknown && pixels * (raw_ && white_ < 256 ? 1 : 2) - 1 > static_cast<double>(bytes))
    fail("cut short: " + std::to_string(width_) + " x " + std::to_string(height_) +
         " pixels cannot stand in " + std::to_string(bytes) + " bytes");
}

void PgmReader::fail(const std::string& message) const { throw Failure(path_ + ": " + message); }

void PgmReader::failCutShort(std::size_t pixels) const {
  fail("cut short: the file ends after " + std::to_string(pixels) + " of " +
       std::to_string(static_cast<std::uint64_t>(width_) * static_cast<std::uint64_t>(height_)) + " pixels");
}

int PgmReader::next() {
  const int c = file_.get();
  if (file_.bad()) fail("cannot be read");
  return c == endOfFile ? -1 : c;
}

int PgmReader::peek() {
  const int c = file_.peek();
  if (file_.bad()) fail("cannot be read");
  return c == endOfFile ? -1 : c;
}

void PgmReader::skipBlanks() {
  for (int c = peek(); c >= 0 && (std::isspace(c) != 0 || c == '#'); c = peek()) {
    next();
    if (c == '#')
      while (c >= 0 && c != '\n' && c != '\r') c = next();
  }
}

int PgmReader::headerNumber(const char* what, int largest) {
  skipBlanks();
  std::string digits;
  for (int c = peek(); c >= 0 && std::isdigit(c) != 0 && digits.size() < 20; c = peek())
    digits += static_cast<char>(next());
  if (digits.empty()) fail(std::string(peek() < 0 ? "cut short" : "malformed") + ": no " + what);
  const double value = std::stod(digits);
  if (!(value >= 1 && value <= largest))
    fail(std::string(what) + " " + digits + " is not in 1.." + std::to_string(largest));
  return static_cast<int>(value);
}

int PgmReader::plainPixel() {
  skipBlanks();
  int value = -1;
  for (int c = peek(); c >= 0 && std::isdigit(c) != 0; c = peek()) {
    value = std::min(10 * std::max(value, 0) + c - '0', 1 << 20);  // beyond any grey value it may stop
    next();
  }
  if (value < 0 && peek() >= 0) fail("malformed: a grey value is no number");
  return value;
}

int PgmReader::rawPixel() {
  const int first = next();
  if (white_ < 256 || first < 0) return first;
  const int second = next();
  return second < 0 ? second : 256 * first + second;
}

Matrix<float> PgmReader::read() {
  Matrix<float> greys(height_, width_);
  std::size_t pixels = 0;
  for (int i = 0; i < height_; ++i)
    for (int j = 0; j < width_; ++j, ++pixels) {
      const int value = raw_ ? rawPixel() : plainPixel();
      if (value < 0) failCutShort(pixels);
      if (value > white_) fail("grey value " + std::to_string(value) + " is above " + std::to_string(white_));
      greys(i, j) = static_cast<float>(value);
    }
  if (!raw_) skipBlanks();
  if (next() >= 0) fail("more follows the " + std::to_string(pixels) + " pixels");
  return greys;
}

// --- PNG

void writePng(std::ostream& file, const Matrix<double>& greys, double white) {
  std::vector<png_byte> pixels;
  pixels.reserve(greys.values.size());
  for (int i = 0; i < greys.rows; ++i)
    for (int j = 0; j < greys.columns; ++j)
      pixels.push_back(static_cast<png_byte>(std::lround(255.0 * std::clamp(greys(i, j) / white, 0.0, 1.0))));
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(greys.columns);
  image.height = static_cast<png_uint_32>(greys.rows);
  image.format = PNG_FORMAT_GRAY;
  std::vector<char> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
    throw Failure(std::string("the picture cannot be made: ") + image.message);
  file.write(bytes.data(), static_cast<std::streamsize>(size));
}

}  // namespace tool
