// How the drivers call host LAPACK routines: workspace, and room for what they load.

#ifndef TOVI_LAPACK_HOST_CALL_H
#define TOVI_LAPACK_HOST_CALL_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "cudalib/exceptions.h"
#include "platform/host/complex.h"

namespace tovi::lapack {

// Elements of a host array for a rows x cols matrix whose rows a LAPACK routine works with: room for one
// column more. The complex gemv of OpenBLAS 0.3.21 loads, without using it, the element that would come after
// its vector x, which here is a row of the matrix.
inline std::size_t roomForRows(int rows, int cols) {
  return static_cast<std::size_t>(rows) * (static_cast<std::size_t>(cols) + 1);
}

// call(work, lwork) runs the routine and returns its info. It is asked for the workspace that it wants, at
// least `least` elements are taken, and it is called again; the info of either call is tested. `work` keeps
// its memory from call to call.
template <class T, class Call>
void withWorkspace(std::vector<T>& work, int least, const Call& call) {
  T wanted(0);
  checkHostInfo(call(&wanted, -1));
  const int lwork = std::max({1, least, static_cast<int>(real(wanted))});
  if (work.size() < static_cast<std::size_t>(lwork)) work.resize(static_cast<std::size_t>(lwork));
  checkHostInfo(call(work.data(), lwork));
}
template <class T, class Call>
void withWorkspace(int least, const Call& call) {
  std::vector<T> work;
  withWorkspace(work, least, call);
}

}  // namespace tovi::lapack

#endif
