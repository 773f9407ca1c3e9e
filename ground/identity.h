// Identity<T> is T, and keeps a parameter out of template argument deduction: MatrixView<T> then converts to
// MatrixView<const T>, and scalars take the element type of the operands.

#ifndef TOVI_GROUND_IDENTITY_H
#define TOVI_GROUND_IDENTITY_H

#include "ground/complex.h"

namespace tovi {

template <class T>
struct IdentityOf {
  using type = T;
};
template <class T>
using Identity = typename IdentityOf<T>::type;

template <class T>
using Scalar = Identity<T>;
template <class T>
using RealScalar = Real<Identity<T>>;

}  // namespace tovi

#endif
