// The C boundary: the header serves C89 and C++ alike, with the same layouts; statuses and their texts.

#include <gtest/gtest.h>
#include <tovi.h>

#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "device/runtime.h"

extern "C" int c89Program(void);

namespace {

TEST(CHeader, ServesC89) {
  ASSERT_EQ(toviInitialize(), toviNoError) << toviGetErrorInfo();
  EXPECT_EQ(c89Program(), 0);
  EXPECT_EQ(sizeof(toviStatus), 4U);
  EXPECT_EQ(sizeof(toviFloatComplex), 2 * sizeof(float));
  EXPECT_EQ(sizeof(toviDoubleComplex), 2 * sizeof(double));
  toviShutdown();
}

std::string describe(int status, int info) {
  char buffer[256];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(toviGetErrorInfoString(static_cast<toviStatus>(status), info, buffer, sizeof buffer),
            toviNoError);
  EXPECT_EQ(buffer[sizeof buffer - 1], '\0');
  return buffer;
}

TEST(Status, Texts) {
  const char* const expected[] = {
      "No errors",
      "TOVI is not initialized",
      "No hardware is present to run TOVI",
      "CUDA runtime or driver is not supported",
      "Hardware does not have the required compute capability for this problem",
      "Insufficient memory to complete this operation",
      "A required feature is not yet implemented",
      "Argument error; see toviGetErrorInfo for error code",
      "Data error; see toviGetErrorInfo for error code",
      "Blas error, see toviGetErrorInfo for error code",
      "Runtime error, see toviGetErrorInfo for error code",
  };
  for (int s = 0; s <= 10; ++s) {
    EXPECT_STREQ(toviGetStatusString(static_cast<toviStatus>(s)), expected[s]);
    EXPECT_TRUE(s >= 7 || describe(s, 3) == expected[s]) << s;
  }
  for (const int s : {11, -1, INT_MAX, INT_MIN})
    EXPECT_STREQ(toviGetStatusString(static_cast<toviStatus>(s)), "Invalid toviStatus");
}

TEST(Status, ErrorInfoTexts) {
  EXPECT_EQ(describe(7, -3), "Argument 3 is invalid (see the TOVI Reference Manual for more information)");
  EXPECT_EQ(describe(8, 12), "Data error at pos 12 (see the TOVI Reference Manual for more information)");
  EXPECT_EQ(describe(8, INT_MIN),
            "Data error at pos 2147483648 (see the TOVI Reference Manual for more information)");

  const std::pair<int, const char*> cublas[] = {
      {0, "call cudaGetErrorInfo() to determine this error with specificity"},
      {1, "not initialized"},
      {2, "unknown"},
      {3, "allocation failure"},
      {-7, "Invalid argument value"},
      {8, "architecture mismatch"},
      {11, "mapping error"},
      {13, "execution failed"},
      {14, "internal error"},
  };
  for (const auto& row : cublas)
    EXPECT_EQ(describe(9, row.first), std::string("CUBLAS error: ") + row.second);
  for (const int error : {0, 2, 17, -17})
    EXPECT_EQ(describe(10, error),
              std::string("CUDA Error: ") +
                  cudaGetErrorString(static_cast<cudaError_t>(error < 0 ? -error : error)) +
                  " (see Programmer's Guide)");
  for (const int error : {99999, INT_MIN}) EXPECT_EQ(describe(10, error).rfind("CUDA Error: ", 0), 0U);
}

TEST(Status, ErrorInfoStringCutsAndTerminates) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(toviGetErrorInfoString(toviNoError, 0, buffer, 1), toviNoError);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("\0xxxxxxx", 8));

  EXPECT_EQ(toviGetErrorInfoString(toviNoError, 0, buffer, 5), toviNoError);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("No e\0xxx", 8));
}

}  // namespace
