// Where the operands of a call are: a type, so that a routine has one body. On the device it works with the
// caller's operands as they are; of those in host memory it works with device copies, which are uploaded
// when they are declared and copied back where the body says so.

#ifndef TOVI_API_OPERANDS_H
#define TOVI_API_OPERANDS_H

#include <type_traits>

#include "api/frame.h"
#include "api/staged_operands.h"
#include "cudalib/check.h"
#include "cudalib/runtime_flags.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"
#include "ground/outcomes.h"

namespace tovi::api {

struct OnHost {
  template <class T>
  using Matrix = StagedMatrix<T>;
  template <class T>
  using Vector = StagedVector<T>;
};

struct OnDevice {
  template <class T>
  class Matrix {
   public:
    Matrix(T* dA, int rows, int cols, int ld, unsigned /*staging*/, char /*part*/ = 'G')
        : dA_(dA, rows, cols, ld) {}
    MatrixView<T> view() const { return dA_; }
    void copyBack() const {}

   private:
    MatrixView<T> dA_;
  };

  template <class T>
  class Vector {
   public:
    Vector(T* dX, int /*n*/, int increment, unsigned /*staging*/) : dX_(dX), increment_(increment) {}
    T* data() const { return dX_; }
    int increment() const { return increment_; }
    void copyBack() const {}

   private:
    T* dX_;
    int increment_;
  };
};

template <class Place, class T>
using Matrix = typename Place::template Matrix<T>;
template <class Place, class T>
using Vector = typename Place::template Vector<T>;

// How an operand that is only read, and one that is written as a whole, are staged.
inline unsigned readOnly(int m, int n) { return m == 0 || n == 0 ? 0 : StageIn; }
template <class T>
unsigned overwritten(T beta) {
  return beta == T(0) ? StageOut : StageIn | StageOut;
}

// Whether the executing device computes with numbers of this type.
template <class T>
bool deviceComputesWith() {
  return !std::is_same_v<Real<T>, double> || cudalib::runtimeFlags().doublePrecision;
}

// A routine: its frame. The device interface asks first whether the device computes with the element type;
// the host interface asks when its operands are staged.
template <class Place, class T, class Check, class Body>
toviStatus routine(const Check& check, const Body& body) {
  if (!initialized()) return store(toviNotInitialized);
  if (std::is_same_v<Place, OnDevice> && !deviceComputesWith<T>())
    return store(toviInsufficientComputeCapability);
  return run(Frame::routine, check, body);
}

inline constexpr auto nothing = [] {};

// Runs the driver, and copyBack() once its results are there: those that a data error leaves complete, too,
// which then goes on its way.
template <class Place, class T, class Driver, class CopyBack = decltype(nothing)>
void compute(const Driver& driver, const CopyBack& copyBack = nothing) {
  constexpr bool onHost = std::is_same_v<Place, OnHost>;
  if (onHost && !deviceComputesWith<T>()) insufficientComputeCapability();
  try {
    driver();
    if (onHost) cudalib::completionCheck();
  } catch (const InfoException& failure) {
    if (failure.status() != Outcome::dataError) throw;
    if (onHost) cudalib::settle();
    copyBack();
    throw;
  }
  copyBack();
}

}  // namespace tovi::api

#endif
