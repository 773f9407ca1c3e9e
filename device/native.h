// Native bodies. What a kernel does that cannot be fast thread by thread, the software device does as a
// whole. The wrapper that launches such a kernel names its body, one of these: launch<&Transpose_k<T, true>,
// native::Transpose<T, true>>(...). On a GPU they are names and nothing else.

#ifndef TOVI_DEVICE_NATIVE_H
#define TOVI_DEVICE_NATIVE_H

namespace device::native {

template <class T>
struct CopyMatrix;
template <class S, class D>
struct ConvertMatrix;
template <class T>
struct SumRows;
template <class T, bool conj>
struct Transpose;
template <class T, bool conj>
struct TransposeInplace;
template <class T>
struct SwapRows;
template <class T>
struct SwapColumns;
template <class T, char direct>
struct RotateColumns;
template <class T>
struct MakeReflector;
template <class T>
struct CompleteWeight;
template <class T, bool conj>
struct MultiplyTransposed;
template <class T>
struct MultiplyBothWays;
template <class T>
struct AddReflected;
template <class T>
struct ReducePanel;
struct None;

}  // namespace device::native

#endif
