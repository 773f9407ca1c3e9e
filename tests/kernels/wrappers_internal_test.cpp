// What the wrappers make of arguments: the position of a bad one, found before anything is launched, and
// nothing at all of an empty problem.

#include <functional>

#include "ground/outcomes.h"
#include "tests/kernels/kernels.h"

namespace {

using namespace testing_support;
using namespace tovi::basic;
using View = tovi::MatrixView<float>;
using Wide = tovi::MatrixView<double>;

// The position that is refused; 0: none, and no launch was refused either.
int refused(const std::function<void()>& call) {
  try {
    call();
  } catch (const tovi::InfoException& e) {
    EXPECT_EQ(e.status(), tovi::Outcome::argumentError);
    return -e.info();
  }
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  return 0;
}

TEST(Wrappers, RefuseBadShapesAndPointers) {
  const DeviceArray<float> memory(64);
  float* const p = memory.data();
  const View a(p, 4, 4, 4), null(nullptr, 4, 4, 4), shorter(p, 3, 4, 4), empty(nullptr, 0, 4, 1);
  const Wide wide(reinterpret_cast<double*>(p), 4, 4, 4), noWide(nullptr, 0, 4, 1);
  // The operand that settles the shape: where its rows stand, columns behind them, and where its address
  // does.
  const struct {
    int rows, address;
    std::function<void(View)> call;
  } first[] = {{1, 3, [](View x) { setMatrix(Fill::zero, x); }},
               {3, 5, [](View x) { setTriangular('L', 'U', x); }},
               {2, 6, [](View x) { laset('F', 0, 1, x); }},
               {1, 3, [](View x) { conjugateMatrix(x); }},
               {5, 3, [&](View x) { transpose(x, x.rows == 0 ? View(nullptr, 4, 0, 4) : a); }},
               {1, 3, [&](View x) { copyMatrix(x, x.rows == 0 ? empty : a); }},
               {1, 3, [&](View x) { lacpy('F', x, x.rows == 0 ? empty : a); }},
               {3, 11, [&](View x) { madd('N', 'N', 1, x.rows == 0 ? x : a, 1, x.rows == 0 ? x : a, x); }},
               {3, 7, [&](View x) { subtractMatrix('N', 'N', x.rows == 0 ? x : a, x); }},
               {1, 3, [&](View x) { convertPrecision<double>(x, x.rows == 0 ? noWide : wide); }},
               {2, 4, [](View x) { lange<float>('M', x); }}};
  for (const auto& row : first) {
    SCOPED_TRACE(&row - first);
    EXPECT_EQ(refused([&] { row.call(View(p, -1, -1, 4)); }), row.rows);
    EXPECT_EQ(refused([&] { row.call(View(p, 4, -1, 4)); }), row.rows + 1);
    EXPECT_EQ(refused([&] { row.call(null); }), row.address);
    EXPECT_EQ(refused([&] { row.call(empty); }), 0);
    EXPECT_EQ(refused([&] { row.call(a); }), 0);
  }
  for (const View& bad : {null, shorter}) {  // where the shape is another one's
    EXPECT_EQ(refused([&] { transpose(a, bad); }), 1);
    EXPECT_EQ(refused([&] { copyMatrix(a, bad); }), 5);
    EXPECT_EQ(refused([&] { lacpy('U', a, bad); }), 5);
    EXPECT_EQ(refused([&] { madd('N', 'N', 1, bad, 1, a, a); }), 6);
    EXPECT_EQ(refused([&] { madd('N', 'N', 1, a, 1, bad, a); }), 9);
    EXPECT_EQ(refused([&] { subtractMatrix('N', 'N', bad, a); }), 5);
    EXPECT_EQ(refused([&] { transposeInplace(bad); }), bad.data == nullptr ? 1 : 3);
  }
}

TEST(Wrappers, RefuseBadLettersAndVectors) {
  const DeviceArray<float> memory(64);
  float *const p = memory.data(), *const none = nullptr;
  const View a(p, 4, 4, 4), shorter(p, 3, 4, 4), null(nullptr, 4, 4, 4);
  const Wide wide(reinterpret_cast<double*>(p), 4, 4, 4);
  const int pivots[] = {1, 2, 3, 4};
  const struct {
    int position;
    std::function<void()> call;
  } rows[] = {
      {1, [&] { setTriangular('F', 'X', a); }},
      {2, [&] { setTriangular('L', 'X', a); }},
      {1, [&] { madd('C', 'N', 1, a, 1, a, a); }},
      {2, [&] { madd('N', 'X', 1, a, 1, a, a); }},
      {1, [&] { subtractMatrix('C', 'N', a, a); }},
      {2, [&] { subtractMatrix('N', 'X', a, a); }},
      {1, [&] { lange<float>('X', a); }},
      {3, [&] { greatestOfColumns<float>(null); }},
      {1, [&] { lanhe<float>('X', 'U', a); }},
      {2, [&] { lanhe<float>('O', 'X', a); }},
      {3, [&] { lanhe<float>('O', 'U', shorter); }},
      {4, [&] { lanhe<float>('O', 'U', null); }},
      {1, [&] { setVector(Fill::one, -1, p, 1); }},
      {2, [&] { setVector(Fill::one, 1, none, 1); }},
      {1, [&] { conjugateVector(-1, p, 1); }},
      {2, [&] { conjugateVector(1, none, 1); }},
      {1, [&] { copyVector(-1, p, 1, p, 1); }},
      {4, [&] { copyVector(1, p, 1, none, 1); }},
      {1, [&] { scaleVector(-1, p, p, 1); }},
      {3, [&] { scaleVector(1, p, none, 1); }},
      {1, [&] { setSingle(Fill::one, none); }},
      {2, [&] { copySingle(none, p); }},
      {1, [&] { copySingle(p, none); }},
      {1, [&] { laswp(-1, none, -1, -1, -1, nullptr, 1); }},
      {3, [&] { laswp(2, p, -1, -1, -1, nullptr, 1); }},
      {5, [&] { laswpCol(2, p, 4, 1, -1, nullptr, 1); }},
      {6, [&] { laswpCol(2, p, 4, 1, 1, nullptr, 1); }},
      {1, [&] { lasr('X', 'X', 'X', -1, -1, none, none, none, 0); }},
      {3, [&] { lasr('R', 't', 'X', -1, -1, none, none, none, 0); }},
      {5, [&] { lasr('L', 'V', 'B', 0, -1, none, none, none, 0); }},
      {9, [&] { lasr('L', 'V', 'F', 4, 3, none, none, none, 3); }},
      {8, [&] { lasr('L', 'V', 'F', 4, 3, p, p, none, 4); }},
      {1, [&] { larfg(-1, none, none, -1, none); }},
      {4, [&] { larfg(2, p, p, -1, none); }},
      {5, [&] { larfg(2, p, p, 1, none); }},
      {1, [&] { larfg(-1, none, none, none); }},
      {4, [&] { larfg(2, p, p, none); }},
      {1, [&] { completeWeight(-1, none, none, none, none); }},
      {5, [&] { completeWeight(2, p, p, p, none); }},
      {1, [&] { tovi::brd::orgbrCopy('F', -1, none, 0); }},
      {4, [&] { tovi::brd::orgbrCopy('L', 3, none, 2); }},
      {3, [&] { tovi::brd::orgbrCopy('L', 3, none, 3); }},
      {0, [&] { setVector(Fill::one, 0, none, 1), conjugateVector(0, none, 1), copyVector(0, p, 1, p, 1); }},
      {0, [&] { scaleVector(0, p, p, 1), transposeInplace(View(nullptr, 0, 0, 1)); }},
      {0, [&] { laswp(0, none, -1, -1, -1, nullptr, 1), laswpCol(4, p, 4, 2, 2, pivots, 1); }},
      {0, [&] { lasr('L', 'V', 'F', 0, 3, none, none, none, 1), lasr('R', 'V', 'B', 4, 1, p, p, p, 4); }},
      {0, [&] { larfg(1, p, none, 1, p + 1), tovi::brd::orgbrCopy('L', 1, none, 1); }},
  };
  for (const auto& row : rows) EXPECT_EQ(refused(row.call), row.position) << &row - rows;
}

}  // namespace
