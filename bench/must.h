// A call that fails ends the benchmark: its time would mean nothing.

#ifndef TOVI_BENCH_MUST_H
#define TOVI_BENCH_MUST_H

#include <cstdio>
#include <cstdlib>

#include "include/tovi.h"

namespace bench {

inline void must(toviStatus status, const char* what) {
  if (status == toviNoError) return;
  std::fprintf(stderr, "%s: %s (%d)\n", what, toviGetStatusString(status), toviGetErrorInfo());
  std::exit(1);
}
inline void must(int info, const char* what) {
  if (info == 0) return;
  std::fprintf(stderr, "%s: info %d\n", what, info);
  std::exit(1);
}

}  // namespace bench

#endif
