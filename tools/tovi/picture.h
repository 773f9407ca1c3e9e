// Grey pictures: PGM files in, PNG files out. The reader is strict: what is wrong with a file is refused with
// one line that names it.

#ifndef TOVI_TOOLS_PICTURE_H
#define TOVI_TOOLS_PICTURE_H

#include <cstddef>
#include <fstream>
#include <ostream>
#include <string>

#include "tools/tovi/matrix.h"

namespace tool {

// A PGM file, plain (P2) or raw (P5), grey values up to 65535.
class PgmReader {
 public:
  // Opens the file and reads its header: nothing is allocated for the picture yet.
  explicit PgmReader(const std::string& path);

  int width() const { return width_; }
  int height() const { return height_; }
  int white() const { return white_; }  // the largest grey value that there may be

  // The grey values, one matrix row for each row of the picture. To be called once.
  Matrix<float> read();

 private:
  [[noreturn]] void fail(const std::string& message) const;
  [[noreturn]] void failCutShort(std::size_t pixels) const;
  int next();  // one byte, or a negative number at the end of the file
  int peek();
  void skipBlanks();  // and comments
  int headerNumber(const char* what, int largest);
  int plainPixel();  // these two: negative at the end of the file
  int rawPixel();

  std::string path_;
  std::ifstream file_;
  bool raw_ = false;
  int width_ = 0, height_ = 0, white_ = 0;
};

// 8 bits a pixel, 0 for black, `white` and above for white.
void writePng(std::ostream& file, const Matrix<double>& greys, double white);

}  // namespace tool

#endif
