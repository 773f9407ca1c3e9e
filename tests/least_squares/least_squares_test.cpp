// Least squares, minimum norm and least squares under constraints through the exported functions, on whatever
// device is there.

#include <cmath>
#include <tuple>

#include "tests/least_squares/least_squares_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(LeastSquaresTest, LibraryTest, AllTypes);

constexpr char transposes[] = {'N', 'T', 'C'};

// Blocks of reflectors are 96 wide (64 for complex). Letters of either case, one right-hand side and many.
TYPED_TEST(LeastSquaresTest, SolvesEveryShapeInEveryTransposition) {
  const std::pair<int, int> shapes[] = {{1, 1},   {7, 1},    {5, 3},    {64, 63},  {96, 96},
                                        {97, 97}, {129, 64}, {192, 97}, {300, 193}};
  for (const Memory where : bothInterfaces)
    for (const char trans : transposes)
      for (const auto& [m, n] : shapes) {
        checkLeastSquares<TypeParam>(where, trans, m, n, 3);
        if (m != n) checkLeastSquares<TypeParam>(where, trans, n, m, 3);
      }
  for (const char trans : {'n', 't', 'c'})
    for (const int nrhs : {1, 100, 301}) {
      checkLeastSquares<TypeParam>(Memory::host, trans, 260, 130, nrhs);
      checkLeastSquares<TypeParam>(Memory::device, trans, 130, 260, nrhs);
    }
}

TYPED_TEST(LeastSquaresTest, ReportsTheFirstZeroOfTheTriangle) {
  for (const Memory where : bothInterfaces)
    for (const char trans : {'N', 'C'}) {
      for (const int n : {1, 30, 150}) {
        checkDeficient<TypeParam>(where, trans, n, n, {1});
        checkDeficient<TypeParam>(where, trans, 2 * n, n, {n});
        checkDeficient<TypeParam>(where, trans, n, 2 * n, {n});
      }
      checkDeficient<TypeParam>(where, trans, 250, 200, {97, 98, 200});
      checkDeficient<TypeParam>(where, trans, 200, 250, {65, 199});
    }
}

TYPED_TEST(LeastSquaresTest, EmptyProblemsGiveZeros) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces)
    for (const char trans : transposes)
      for (const auto& [m, n, nrhs] : {std::tuple{0, 5, 2}, {5, 0, 2}, {0, 0, 2}, {3, 4, 0}}) {
        LeastSquares<T> problem = leastSquaresProblem<T>(trans, m, n, nrhs);
        LeastSquares<T> zeros = problem;
        zeros.b.fill(T(0));
        ASSERT_EQ(problem.run(where), toviNoError);
        EXPECT_TRUE(problem.sameBits(zeros));
        T* const none = nullptr;
        EXPECT_EQ(gels(where, trans, m, n, nrhs, none, 5, none, 5), toviNoError);
      }
}

// Nothing is scaled: this is how far the documented range reaches. The elements of A and B are less than 64,
// and X does not change with both.
TYPED_TEST(LeastSquaresTest, SolvesAtBothEndsOfTheSafeRange) {
  using T = TypeParam;
  constexpr int limit = sizeof(Real<T>) == sizeof(double) ? 965 : 102;
  for (const int power : {-limit - 6, limit - 6})
    for (const auto& [m, n] : {std::pair{230, 120}, {120, 230}}) {
      const LeastSquares<T> problem = leastSquaresProblem<T>('N', m, n, 2);
      LeastSquares<T> solved = problem;
      const T factor = makeElement<T>(std::ldexp(1, power), 0),
              back = makeElement<T>(std::ldexp(1, -power), 0);
      solved.a.set([&](int i, int j) { return problem.a(i, j) * factor; });
      solved.b.set([&](int i, int j) { return problem.b(i, j) * factor; });
      ASSERT_EQ(solved.run(Memory::host), toviNoError);
      for (int i = n; i < m; ++i)
        for (int j = 0; j < 2; ++j) solved.b(i, j) *= back;  // the residual
      expectSolved(problem, solved);
    }
}

// Diagonal matrices, which no reflector changes, with numbers on their diagonals whose reciprocals are
// infinite.
TYPED_TEST(LeastSquaresTest, DividesByDiagonalsTooSmallForAReciprocal) {
  using T = TypeParam;
  constexpr Real<T> least = std::numeric_limits<Real<T>>::denorm_min();
  const auto element = [](int i) { return T(i % 3 == 0 ? 512 * least : i % 3 == 1 ? 4 : 3 * least); };
  const auto wanted = [](int i) { return makeElement<T>(i % 7 - 3, 0); };
  for (const Memory where : bothInterfaces) {
    for (const auto& [m, n] : {std::pair{1, 1}, {2, 1}, {1, 2}, {130, 100}, {100, 130}})
      for (const char trans : transposes) {
        SCOPED_TRACE(shape(where, m, n) + " " + trans);
        LeastSquares<T> problem{trans, HostMatrix<T>(m, n), HostMatrix<T>(std::max(m, n), 1)};
        HostMatrix<T> x = problem.b;
        for (int i = 0; i < std::min(m, n); ++i)
          problem.a(i, i) = element(i), x(i, 0) = wanted(i), problem.b(i, 0) = element(i) * wanted(i);
        ASSERT_EQ(problem.run(where), toviNoError);
        EXPECT_EQ(norm1(minus(problem.b, x)), 0);
      }
    for (const auto& [m, n, p] : {std::tuple{0, 1, 1}, {1, 1, 0}, {130, 230, 100}}) {
      SCOPED_TRACE(shape(where, m, n) + ", " + std::to_string(p));
      Constrained<T> problem{HostMatrix<T>(m, n), HostMatrix<T>(p, n), HostMatrix<T>(m, 1),
                             HostMatrix<T>(p, 1), HostMatrix<T>(n, 1)};
      HostMatrix<T> x = problem.x;
      for (int i = 0; i < n; ++i) {
        x(i, 0) = wanted(i);
        if (i < n - p)
          problem.a(i, i) = element(i), problem.c(i, 0) = element(i) * wanted(i);
        else
          problem.b(i - n + p, i) = element(i), problem.d(i - n + p, 0) = element(i) * wanted(i);
      }
      ASSERT_EQ(problem.run(where), toviNoError);
      EXPECT_EQ(norm1(minus(problem.x, x)), 0);
    }
  }
}

TYPED_TEST(LeastSquaresTest, NaNTravelsThroughAndNeverChangesTheStatus) {
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n] : {std::pair{9, 5}, {5, 9}, {230, 120}, {120, 230}}) {
      LeastSquares<TypeParam> inMatrix = leastSquaresProblem<TypeParam>('N', m, n, 1);
      inMatrix.a(m / 2, n / 3) = quietNaN<TypeParam>();
      EXPECT_EQ(inMatrix.run(where), toviNoError);
      EXPECT_TRUE(std::isnan(norm1(inMatrix.b)));

      LeastSquares<TypeParam> inVector = leastSquaresProblem<TypeParam>('N', m, n, 2);
      inVector.b(m / 2, 1) = quietNaN<TypeParam>();
      EXPECT_EQ(inVector.run(where), toviNoError);
      EXPECT_FALSE(std::isnan(columnNorm(inVector.b, 0, 0, std::max(m, n)))) << "the other one has none";
      EXPECT_TRUE(std::isnan(columnNorm(inVector.b, 1, 0, n)));
    }
}

// p = 0, p = n, m + p = n, and A with fewer rows than columns; blocks of reflectors are full, one wider, one
// narrower.
TYPED_TEST(LeastSquaresTest, SolvesUnderConstraints) {
  const std::tuple<int, int, int> shapes[] = {{1, 1, 0},     {1, 1, 1},      {0, 1, 1},      {5, 4, 2},
                                              {3, 4, 1},     {3, 5, 3},      {4, 4, 4},      {0, 40, 40},
                                              {130, 97, 0},  {97, 97, 0},    {200, 100, 50}, {97, 97, 97},
                                              {33, 130, 97}, {33, 130, 120}, {100, 165, 65}, {66, 130, 66},
                                              {260, 200, 3}, {40, 200, 200}, {250, 195, 130}};
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n, p] : shapes) checkConstrained<TypeParam>(where, m, n, p);
}

TYPED_TEST(LeastSquaresTest, ReportsTheFirstZeroOfEitherTriangle) {
  for (const Memory where : bothInterfaces) {
    checkDeficient<TypeParam>(where, 1, 1, 1, {1}, {}, 1);
    checkDeficient<TypeParam>(where, 30, 20, 10, {4}, {}, 4);
    checkDeficient<TypeParam>(where, 30, 20, 20, {20}, {}, 20);
    checkDeficient<TypeParam>(where, 150, 140, 130, {99, 120}, {}, 99);
    checkDeficient<TypeParam>(where, 30, 20, 10, {}, {7, 9}, 7);
    checkDeficient<TypeParam>(where, 150, 140, 20, {}, {101}, 101);
    checkDeficient<TypeParam>(where, 150, 140, 0, {}, {140}, 140);
    checkDeficient<TypeParam>(where, 90, 140, 60, {}, {80}, 80);
    // T12 is looked at first.
    checkDeficient<TypeParam>(where, 30, 20, 10, {5}, {2}, 5);
  }
}

TYPED_TEST(LeastSquaresTest, NaNInTheConstraintsReachesTheSolution) {
  for (const Memory where : bothInterfaces) {
    Constrained<TypeParam> problem = constrainedProblem<TypeParam>(150, 120, 100);
    problem.b(3, 4) = quietNaN<TypeParam>();
    problem.x.fill(TypeParam(0));
    EXPECT_EQ(problem.run(where), toviNoError);
    EXPECT_TRUE(std::isnan(norm1(problem.x)));
  }
}

}  // namespace
}  // namespace testing_support
