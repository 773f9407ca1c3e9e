// How the drivers call host LAPACK routines: their workspace.

#ifndef TOVI_LAPACK_HOST_CALL_H
#define TOVI_LAPACK_HOST_CALL_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "cudalib/check.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "host/lapack.h"

namespace tovi::lapack {

using host::roomForRows;

// Every element is a number. Where one is not, the data, or a failure that nobody has been told of yet, had
// none either, and no iteration on the host would end well.
template <class R>
bool finite(const std::vector<R>& x) {
  return std::all_of(x.begin(), x.end(), [](R element) { return std::isfinite(element); });
}

// The info of an iteration on the host. What a failure of the device has made of its data is no data error.
inline void checkIteration(int info) {
  if (info > 0) cudalib::completionCheck();
  checkHostInfo(info);
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

// Solves for one right-hand side of n elements where it is, on the host; call(b) solves in a copy,
// which has room for the element that the routine may load beyond (roomForRows).
template <class T, class Call>
void solveVector(int n, T* hB, const Call& call) {
  std::vector<T> b(roomForRows(1, n));
  std::copy_n(hB, n, b.data());
  call(b.data());
  std::copy_n(b.data(), n, hB);
}

}  // namespace tovi::lapack

#endif
