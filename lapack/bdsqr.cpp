#include "lapack/bdsqr.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/stream.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/host_call.h"
#include "lapack/sweep_limit.h"
#include "lapack/transfers.h"
#include "src/basic/LASWP.h"
#include "src/basic/Scale.h"
#include "src/basic/Transpose.h"
#include "src/basic/lasr.h"

namespace tovi::lapack {
namespace {

using host::Rotation;

using cudalib::LinearMemory;

template <class R>
constexpr R epsilon = std::numeric_limits<R>::epsilon() / 2;  // of a rounding

// The criteria of the iteration are those of J. Demmel and W. Kahan, "Accurate singular values of bidiagonal
// matrices", SIAM J. Sci. Stat. Comput. 11 (1990), 873-912 (LAPACK Working Note 3), with the constants that
// LAPACK's bdsqr gives them.

// The relative accuracy asked for of every singular value, and so how small against its neighbourhood an
// element beside the diagonal counts as zero. 10 to 100 roundings; the power chooses between the two: 8 for
// float, so that 10 it is, and 98.7 for double.
template <class R>
R tolerance() {
  const double factor = std::max(10.0, std::min(100.0, std::pow(static_cast<double>(epsilon<R>), -0.125)));
  return static_cast<R>(factor) * epsilon<R>;
}

// What the sweeps rotate: the right vectors as columns of dV, the left ones as columns of dU, and rows of dC.
// A sweep's rotations are written into page-locked memory, go to the device in one copy and are applied there
// with one call for each matrix. The calls of some sweeps are made together, those on one matrix one after
// the other, since a device may do them as one: there is room for twice as many sweeps, and while the device
// applies one half the host computes the other.
template <class T>
class Vectors {
 public:
  using R = Real<T>;

  Vectors(int n, MatrixView<T> dV, MatrixView<T> dU, MatrixView<T> dC)
      : dV_(dV),
        dU_(dU),
        dC_(dC),
        room_(runs * static_cast<std::size_t>(n) + apart),
        hRotations_(room_, 2 * together),
        dRotations_(room_, 2 * together) {}

  // The next sweep has `count` rotations, of which number k is of the neighbours first + k and first + k + 1.
  void begin(int first, int count) { sweeps_[waiting_] = {first, count, 'F', true}; }
  void right(int k, Rotation<R> rotation) { put(0, k, rotation); }
  void left(int k, Rotation<R> rotation) { put(2, k, rotation); }

  // Rotates in the order of direct, "F" or "B": all that was begun, or the left side alone.
  void apply(char direct) { send(direct, true); }
  void applyLeft(char direct) { send(direct, false); }
  // All has been applied that was sent, and nothing that is still on its way outlives the buffers.
  void finish() {
    rotate();
    finishTransfers(stream_);
  }

  void negateRight(int i) {
    rotate();
    if (dV_.empty()) return;
    if (dMinusOne_.get() == nullptr) {
      dMinusOne_ = LinearMemory<T>(1, 1);
      copyToDevice(std::vector<T>{T(-1)}, dMinusOne_.get());
    }
    basic::scaleVector(dV_.rows, dV_.at(0, i), dMinusOne_.get(), 1);
  }
  // For i = 1, 2, ...: vectors i and pivots[i - 1], counted from 1, change places.
  void interchange(const std::vector<int>& pivots) {
    rotate();
    const int n = static_cast<int>(pivots.size());
    if (!dV_.empty()) basic::laswpCol(dV_.rows, dV_.data, dV_.ld, 1, n, pivots.data(), 1);
    if (!dU_.empty()) basic::laswpCol(dU_.rows, dU_.data, dU_.ld, 1, n, pivots.data(), 1);
    if (!dC_.empty()) basic::laswp(dC_.cols, dC_.data, dC_.ld, 1, n, pivots.data(), 1);
  }

 private:
  struct Sweep {
    int first, count;
    char direct;
    bool bothSides;
  };
  static constexpr std::size_t runs = 4;       // right cosines, right sines, left cosines, left sines
  static constexpr std::size_t together = 16;  // sweeps, measured; the software device does as many at once
  static constexpr std::size_t apart = 16;     // elements, lest all sweeps meet in one set of a cache

  // Where a run of a sweep of this half begins, from the beginning of all rotations.
  std::ptrdiff_t run(std::size_t sweep, int number) const {
    return static_cast<std::ptrdiff_t>((half_ * together + sweep) * room_) +
           static_cast<std::ptrdiff_t>(number) * sweeps_[sweep].count;
  }
  void put(int number, int k, Rotation<R> rotation) {
    hRotations_.get()[run(waiting_, number) + k] = rotation.c;
    hRotations_.get()[run(waiting_, number + 1) + k] = rotation.s;
  }

  void send(char direct, bool bothSides) {
    Sweep& sweep = sweeps_[waiting_];
    sweep.direct = direct;
    sweep.bothSides = bothSides;
    const std::ptrdiff_t from = run(waiting_, 0);
    cudalib::uploadAsync(hRotations_.get() + from, sweep.count,
                         MatrixView<R>(dRotations_.get() + from, sweep.count, int{runs}, sweep.count),
                         stream_.get());
    if (++waiting_ == together) rotate();
  }

  // Makes the calls of the sweeps that wait for them, and turns to the other half.
  //   A rotation waits for the copy of its sweep, and a copy for the rotations that read what it replaces, of
  //   the last use of its half: both by the order of the streams.
  //   The host waits here for the copies that read what it is going to write. They are behind the rotations
  //   of the other half; those of this one keep the device at work meanwhile.
  void rotate() {
    if (waiting_ == 0) return;
    for (std::size_t i = 0; i < waiting_; ++i)
      if (sweeps_[i].bothSides && !dV_.empty()) rotateColumns(i, 0, dV_);
    for (std::size_t i = 0; i < waiting_; ++i)
      if (!dU_.empty()) rotateColumns(i, 2, dU_);
    for (std::size_t i = 0; i < waiting_; ++i)
      if (!dC_.empty()) rotateRows(i, 2, dC_);
    waiting_ = 0;
    half_ = 1 - half_;
    finishTransfers(stream_);
  }
  void rotateColumns(std::size_t i, int number, MatrixView<T> dA) const {
    const Sweep& sweep = sweeps_[i];
    basic::lasr('R', 'V', sweep.direct, dA.rows, sweep.count + 1, dRotations_.get() + run(i, number),
                dRotations_.get() + run(i, number + 1), dA.at(0, sweep.first), dA.ld);
  }
  void rotateRows(std::size_t i, int number, MatrixView<T> dA) const {
    const Sweep& sweep = sweeps_[i];
    basic::lasr('L', 'V', sweep.direct, sweep.count + 1, dA.cols, dRotations_.get() + run(i, number),
                dRotations_.get() + run(i, number + 1), dA.at(sweep.first, 0), dA.ld);
  }

  MatrixView<T> dV_, dU_, dC_;
  const std::size_t room_;  // for the rotations of a sweep
  cudalib::PageLockedMemory<R> hRotations_;
  LinearMemory<R> dRotations_;
  LinearMemory<T> dMinusOne_;
  std::array<Sweep, together> sweeps_{};  // of this half
  std::size_t waiting_ = 0, half_ = 0;
  const cudalib::Stream stream_;  // goes before the buffers do
};

// An upper bidiagonal block in the order in which a sweep passes through it: element k of the diagonal, k = 0
// ... count, and element k beside it. A sweep up is a sweep down through the block's mirror image, whose
// transpose is upper bidiagonal again: what rotates columns there rotates rows here.
template <class R>
class Block {
 public:
  Block(R* d, R* e, int first, int last, bool down)
      : d_(down ? d + first : d + last),
        e_(down ? e + first : e + last - 1),
        step_(down ? 1 : -1),
        first_(first),
        count_(last - first) {}

  int count() const { return count_; }
  R& d(int k) const { return d_[step_ * static_cast<std::ptrdiff_t>(k)]; }
  R& e(int k) const { return e_[step_ * static_cast<std::ptrdiff_t>(k)]; }

  // A sweep of `vectors`: rotation k, of columns and then of rows in passing order.
  template <class T>
  void begin(Vectors<T>& vectors) const {
    vectors.begin(first_, count_);
  }
  template <class T>
  void put(Vectors<T>& vectors, int k, Rotation<R> columns, Rotation<R> rows) const {
    if (step_ > 0) {
      vectors.right(k, columns);
      vectors.left(k, rows);
    } else {
      vectors.left(count_ - 1 - k, {columns.c, -columns.s});
      vectors.right(count_ - 1 - k, {rows.c, -rows.s});
    }
  }
  template <class T>
  void apply(Vectors<T>& vectors) const {
    vectors.apply(step_ > 0 ? 'F' : 'B');
  }

 private:
  R *d_, *e_;
  int step_, first_, count_;
};

// One sweep of the implicit QR iteration without a shift, in the form that keeps every element to high
// relative accuracy.
template <class R, class T>
void sweepWithoutShift(const Block<R>& b, Vectors<T>& vectors) {
  Rotation<R> columns, rows;
  for (int k = 0; k < b.count(); ++k) {
    const R r = host::lartg(b.d(k) * columns.c, b.e(k), columns);
    if (k > 0) b.e(k - 1) = rows.s * r;
    b.d(k) = host::lartg(rows.c * r, b.d(k + 1) * columns.s, rows);
    b.put(vectors, k, columns, rows);
  }
  const R h = b.d(b.count()) * columns.c;
  b.d(b.count()) = h * rows.c;
  b.e(b.count() - 1) = h * rows.s;
}

// One sweep with a shift: the bulge that the first rotation makes is chased out at the end.
template <class R, class T>
void sweepWithShift(R shift, const Block<R>& b, Vectors<T>& vectors) {
  const auto turn = [](Rotation<R> q, R& x, R& y) {
    const R before = x;
    x = q.c * before + q.s * y;
    y = q.c * y - q.s * before;
  };
  const auto bulge = [](Rotation<R> q, R& neighbour) {
    const R outside = q.s * neighbour;
    neighbour *= q.c;
    return outside;
  };
  R f = (std::abs(b.d(0)) - shift) * (std::copysign(R(1), b.d(0)) + shift / b.d(0)), g = b.e(0);
  for (int k = 0; k < b.count(); ++k) {
    Rotation<R> columns, rows;
    R r = host::lartg(f, g, columns);
    if (k > 0) b.e(k - 1) = r;
    turn(columns, b.d(k), b.e(k));
    g = bulge(columns, b.d(k + 1));

    b.d(k) = host::lartg(b.d(k), g, rows);
    turn(rows, b.e(k), b.d(k + 1));
    f = b.e(k);
    if (k + 1 < b.count()) g = bulge(rows, b.e(k + 1));
    b.put(vectors, k, columns, rows);
  }
}

// Upper bidiagonal from lower bidiagonal.
template <class R, class T>
void turnUpper(std::vector<R>& d, std::vector<R>& e, Vectors<T>& vectors) {
  const int n = static_cast<int>(d.size());
  if (n == 1) return;
  vectors.begin(0, n - 1);
  for (int i = 0; i < n - 1; ++i) {
    R &here = d[static_cast<std::size_t>(i)], &next = d[static_cast<std::size_t>(i) + 1],
      &beside = e[static_cast<std::size_t>(i)];
    Rotation<R> rows;
    here = host::lartg(here, beside, rows);
    beside = rows.s * next;
    next = rows.c * next;
    vectors.left(i, rows);
  }
  vectors.applyLeft('F');
}

// The recurrence of Demmel and Kahan through a block: calls step(k, mu) at every element beside the diagonal,
// until it returns false. The least mu is within a factor of sqrt(n) of the least singular value.
template <class R, class Step>
R leastMu(const Block<R>& b, const Step& step) {
  R mu = std::abs(b.d(0)), least = mu;
  for (int k = 0; k < b.count() && step(k, mu); ++k) {
    mu = std::abs(b.d(k + 1)) * (mu / (mu + std::abs(b.e(k))));
    least = std::min(least, mu);
  }
  return least;
}

// What is negligible wherever it stands: tol times an estimate of the least singular value, and no less than
// what could underflow.
template <class R>
R negligible(std::vector<R>& d, std::vector<R>& e, R tol) {
  const int n = static_cast<int>(d.size());
  const R least = leastMu(Block<R>(d.data(), e.data(), 0, n - 1, true), [](int, R mu) { return mu != R(0); });
  const R order = static_cast<R>(n);
  return std::max(tol * (least / std::sqrt(order)),
                  sweepsPerValue * (order * (order * std::numeric_limits<R>::min())));
}

// Looks for an element that can be set to zero without harm to the relative accuracy of any singular value,
// and sets it. Otherwise false, and the estimate of the least singular value.
template <class R>
bool split(const Block<R>& b, R tol, R& least) {
  R& end = b.e(b.count() - 1);
  if (std::abs(end) <= tol * std::abs(b.d(b.count()))) {
    end = R(0);
    return true;
  }
  bool found = false;
  least = leastMu(b, [&](int k, R mu) {
    found = std::abs(b.e(k)) <= tol * mu;
    if (found) b.e(k) = R(0);
    return !found;
  });
  return found;
}

// The shift of the next sweep; 0 for the sweep without one. Rounding in a shifted sweep disturbs the block by
// about epsilon * largest. Where that is more than the least singular value may be off, n * tol * least,
// there is no shift. (hndrth, a hundredth, decides for tolerances above 100 epsilon alone.) One whose square
// is lost beside that of the first element would change nothing.
template <class R>
R chooseShift(const Block<R>& b, int n, R tol, R least, R largest) {
  constexpr R hndrth = R(0.01);
  if (static_cast<R>(n) * tol * (least / largest) <= std::max(epsilon<R>, hndrth * tol)) return R(0);
  const int end = b.count();
  const R shift = host::las2(b.d(end - 1), b.e(end - 1), b.d(end));
  const R start = std::abs(b.d(0));
  const R ratio = shift / start;
  return start > R(0) && ratio * ratio < epsilon<R> ? R(0) : shift;
}

template <class R>
void growTo(R& largest, R x) {
  if (std::abs(x) > largest || std::isnan(x)) largest = std::abs(x);
}

// Makes the upper bidiagonal matrix diagonal, from the bottom up. False when the rotations that it may make
// have been made, or when an element has overflown: a sweep is to begin, of a block of order 3 at least, but
// cannot.
template <class R, class T>
bool diagonalize(std::vector<R>& hD, std::vector<R>& hE, Vectors<T>& vectors) {
  const int n = static_cast<int>(hD.size());
  R* const d = hD.data();
  R* const e = hE.data();
  const R tol = tolerance<R>(), tiny = negligible(hD, hE, tol);
  const double most = mostRotations(n);
  double made = 0;
  bool down = true;
  int sweptFirst = -1, sweptLast = -1;  // the block of the latest sweep

  int last = n - 1;
  while (last > 0) {
    // The block above `last`, up to a negligible element
    int first = last;
    R largest = std::abs(d[last]);
    for (; first > 0 && !(std::abs(e[first - 1]) <= tiny); --first) {
      growTo(largest, d[first - 1]);
      growTo(largest, e[first - 1]);
    }
    if (first > 0) e[first - 1] = R(0);
    if (first == last) {
      --last;
      continue;
    }
    if (first + 1 == last) {
      const host::TwoByTwo<R> svd = host::lasv2(d[first], e[first], d[last]);
      d[first] = svd.largest;
      e[first] = R(0);
      d[last] = svd.least;
      vectors.begin(first, 1);
      vectors.right(0, svd.right);
      vectors.left(0, svd.left);
      vectors.apply('F');
      last -= 2;
      continue;
    }

    // A block that is no part of the one before is swept from its larger end to its smaller one.
    if (first > sweptLast || last < sweptFirst) down = std::abs(d[first]) >= std::abs(d[last]);
    const Block<R> block(d, e, first, last, down);
    R least;
    if (split(block, tol, least)) continue;
    if (made >= most || !std::isfinite(largest)) return false;
    sweptFirst = first;
    sweptLast = last;
    made += block.count();

    const R shift = chooseShift(block, n, tol, least, largest);
    block.begin(vectors);
    if (shift == R(0))
      sweepWithoutShift(block, vectors);
    else
      sweepWithShift(shift, block, vectors);
    block.apply(vectors);
    R& end = block.e(block.count() - 1);
    if (std::abs(end) <= tiny) end = R(0);
  }
  return true;
}

template <class R, class T>
void makePositive(std::vector<R>& d, Vectors<T>& vectors) {
  for (std::size_t i = 0; i < d.size(); ++i)
    if (std::signbit(d[i])) {
      d[i] = -d[i];
      vectors.negateRight(static_cast<int>(i));
    }
}

template <class R, class T>
void sortDescending(std::vector<R>& d, Vectors<T>& vectors) {
  std::vector<int> pivots(d.size());
  bool sorted = true;
  for (auto i = d.begin(); i != d.end(); ++i) {
    const auto largest = std::max_element(i, d.end());
    pivots[static_cast<std::size_t>(i - d.begin())] = static_cast<int>(largest - d.begin()) + 1;
    sorted = sorted && largest == i;
    std::iter_swap(i, largest);
  }
  if (!sorted) vectors.interchange(pivots);
}

// Elements beside the diagonal that are not zero. The first one is deliberately not counted.
template <class R>
int unconverged(const std::vector<R>& e) {
  return static_cast<int>(std::count_if(e.begin() + 1, e.end(), [](R x) { return x != R(0); }));
}

// The values alone. Returns the info.
template <class R>
int valuesOnly(std::vector<R>& d, std::vector<R>& e) {
  std::vector<R> work(4 * d.size());
  e.push_back(R(0));
  const int info = host::lasq1(static_cast<int>(d.size()), d.data(), e.data(), work.data());
  e.pop_back();
  if (info < 0) checkHostInfo(info);
  return info;
}

// Values and vectors; dV has the right vectors as columns. Returns the info.
template <class T>
int iterate(char uplo, std::vector<Real<T>>& d, std::vector<Real<T>>& e, MatrixView<T> dV, MatrixView<T> dU,
            MatrixView<T> dC) {
  Vectors<T> vectors(static_cast<int>(d.size()), dV, dU, dC);
  if (uplo == 'L') turnUpper(d, e, vectors);
  const bool converged = diagonalize(d, e, vectors);
  if (converged) {
    makePositive(d, vectors);
    sortDescending(d, vectors);
  }
  vectors.finish();
  return converged ? 0 : unconverged(e);
}

// dB := dA^T; a square matrix is transposed where it is.
template <class T>
void transposeInto(MatrixView<T> dA, MatrixView<T> dB) {
  if (dA.empty()) return;
  if (dA.data == dB.data)
    basic::transposeInplace(dA);
  else
    basic::transpose<T>(dA, dB);
}

}  // namespace

template <class T>
void bdsqr(char uplo, int n, Real<T>* dD, Real<T>* dE, MatrixView<T> dVt, MatrixView<T> dU,
           MatrixView<T> dC) {
  using R = Real<T>;
  if (n == 0) return;
  const Phase phase;
  std::vector<R> d(static_cast<std::size_t>(n)), e(d.size() - 1);
  copyToHost(dD, d);
  if (n > 1) copyToHost(dE, e);
  // No iteration would end, and the host's lasq1 returns whatever it happens upon.
  if (!finite(d) || !finite(e)) {
    std::fill(d.begin(), d.end(), std::numeric_limits<R>::quiet_NaN());
    return copyToDevice(d, dD);
  }

  int info = 0;
  if (dVt.empty() && dU.empty() && dC.empty()) {
    info = valuesOnly(d, e);
  } else {
    // As columns, the right vectors are rotated in contiguous memory.
    const bool square = dVt.rows == dVt.cols;
    const auto rows = static_cast<std::size_t>(square ? 0 : dVt.cols);
    const LinearMemory<T> dTransposed(rows, static_cast<std::size_t>(n));
    const MatrixView<T> dV = square ? dVt : dTransposed.view(dVt.cols, n);
    transposeInto(dVt, dV);
    info = iterate(uplo, d, e, dV, dU, dC);
    transposeInto(dV, dVt);
  }
  copyToDevice(d, dD);
  if (n > 1) copyToDevice(e, dE);
  if (info == 0) return;
  cudalib::completionCheck();  // a data error promises a decomposition that only lacks the last sweeps
  dataError(info);
}

#define TOVI_INSTANCES(T) template decltype(bdsqr<T>) bdsqr<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
