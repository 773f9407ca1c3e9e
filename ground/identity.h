// Identity<T> is T, and keeps a parameter out of template argument deduction: scalars then take the element
// type of the operands, and MatrixView<T> converts to MatrixView<const T>.

#ifndef TOVI_GROUND_IDENTITY_H
#define TOVI_GROUND_IDENTITY_H

namespace tovi {

template <class T>
struct IdentityOf {
  using type = T;
};
template <class T>
using Identity = typename IdentityOf<T>::type;

}  // namespace tovi

#endif
