#include <string>

#include "api/frame.h"
#include "api/text.h"
#include "device/runtime.h"
#include "ground/outcomes.h"

namespace tovi::api {
namespace {

// Indexed by toviStatus. The punctuation differs on purpose.
constexpr const char* statusTexts[] = {
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
static_assert(sizeof(statusTexts) / sizeof(*statusTexts) == toviRuntimeError + 1);

bool isStatus(toviStatus s) { return toviNoError <= s && s <= toviRuntimeError; }

const char* statusText(toviStatus s) { return isStatus(s) ? statusTexts[s] : "Invalid toviStatus"; }

const char* cublasText(unsigned status) {
  switch (status) {
    case 0:
      return "call cudaGetErrorInfo() to determine this error with specificity";
    case 1:
      return "not initialized";
    case 3:
      return "allocation failure";
    case 7:
      return "Invalid argument value";
    case 8:
      return "architecture mismatch";
    case 11:
      return "mapping error";
    case 13:
      return "execution failed";
    case 14:
      return "internal error";
    default:
      return "unknown";
  }
}

std::string describe(toviStatus e, int info) {
  // |info|; unsigned, because the smallest int has no positive counterpart.
  const unsigned n = info < 0 ? 0U - static_cast<unsigned>(info) : static_cast<unsigned>(info);
  switch (e) {
    case toviArgumentError:
      return "Argument " + std::to_string(n) +
             " is invalid (see the TOVI Reference Manual for more information)";
    case toviDataError:
      return "Data error at pos " + std::to_string(n) +
             " (see the TOVI Reference Manual for more information)";
    case toviBlasError:
      return std::string("CUBLAS error: ") + cublasText(n);
    case toviRuntimeError:
      return std::string("CUDA Error: ") + cudaGetErrorString(static_cast<cudaError_t>(n)) +
             " (see Programmer's Guide)";
    default:
      return statusText(e);
  }
}

}  // namespace
}  // namespace tovi::api

using namespace tovi::api;

const char* toviGetStatusString(toviStatus s) { return statusText(s); }

toviStatus toviGetLastStatus() { return lastStatus(); }

int toviGetErrorInfo() { return errorInfo(); }

toviStatus toviGetErrorInfoString(toviStatus e, int info, char* buf, int bufsize) {
  return managed([=] {
    if (!isStatus(e)) tovi::argumentError(-1);
    if (buf == nullptr) tovi::argumentError(-3);
    if (bufsize < 1) tovi::argumentError(-4);
    copyText(describe(e, info), buf, bufsize);
  });
}
