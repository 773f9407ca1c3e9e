// One table of bad arguments for every exported routine: the call, the status and the error info that it is
// to give. In each row the tests before the one that fails hold and, where that is possible, all those after
// it fail too: so a row also fixes the order of the tests. No operand is ever read: pointers are only null or
// not.

#ifndef TOVI_TESTS_SUPPORT_ARGUMENT_CASES_H
#define TOVI_TESTS_SUPPORT_ARGUMENT_CASES_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/blas_interface.h"

namespace testing_support {

struct ArgumentCase {
  std::string name;
  int info;
  std::function<toviStatus()> call;
};

template <class T>
class ArgumentCases {
 public:
  explicit ArgumentCases(std::vector<ArgumentCase>& cases) : cases_(cases) {
    for (const Memory where : bothInterfaces) {
      where_ = where;
      addGemm();
      addGemv();
      addTriangular("trsm", trsm<T>, 0);
      addTriangular("trmm", trmm<T>, 1);
      addSymmetric("symm", symm<T>);
      addRankK("syrk", syrk<T>, "TN", 'T', T(1));
      addRank2K("syr2k", syr2k<T>, "NT", 'T', T(1));
      if constexpr (tovi::isComplex<T>) {
        addSymmetric("hemm", hemm<T>);
        addRankK("herk", herk<T>, "NC", 'C', Real<T>(1));
        addRank2K("her2k", her2k<T>, "NC", 'C', Real<T>(1));
      }
      if constexpr (std::is_same_v<Real<T>, float>) {
        addLu();
        addQr();
        addLeastSquares();
        addSvd();
      }
    }
  }

 private:
  static constexpr int huge = 2000000000;

  template <class Call>
  void add(const std::string& family, int info, Call call) {
    const Memory where = where_;
    const std::string type = std::string(tovi::isComplex<T> ? "complex " : "") +
                             (std::is_same_v<Real<T>, float> ? "single " : "double ");
    cases_.push_back({type + (where == Memory::host ? "host " : "device ") + family + ", case " +
                          std::to_string(cases_.size()),
                      info, [=] { return call(where); }});
  }

  // An address for an operand that is present.
  static T* there() {
    static T element;
    return &element;
  }
  static T* pointer(bool present) { return present ? there() : nullptr; }

  void addGemm() {
    struct Row {
      int info;
      char ta, tb;
      int m, n, k, lda, ldb, ldc;
      bool a, b, c;
    };
    const Row rows[] = {
        {-1, 'X', 'X', -1, -1, -1, -2, -2, -2, false, false, false},
        {-1, '\0', 'N', 1, 1, 1, 1, 1, 1, true, true, true},
        {-2, 'n', 'X', -1, -1, -1, -2, -2, -2, false, false, false},
        {-3, 'T', 't', -1, -1, -1, -2, -2, -2, false, false, false},
        {-4, 'c', 'C', 0, -1, -1, -2, -2, -2, false, false, false},
        {-5, 'N', 'N', 0, 0, -1, -2, -2, -2, false, false, false},
        {-8, 'N', 'N', 5, 4, 3, 4, 2, 4, false, false, false},  // A is m x k
        {-8, 'T', 'N', 4, 3, 5, 4, 4, 3, false, false, false},  // A is k x m
        {-8, 'C', 'N', 4, 3, 5, 4, 4, 3, false, false, false},
        {-8, 'N', 'N', 1, 0, 0, 0, 0, 0, false, false, false},   // also of an empty product
        {-10, 'N', 'N', 5, 4, 3, 5, 2, 4, false, false, false},  // B is k x n
        {-10, 'N', 'T', 5, 4, 3, 5, 3, 4, false, false, false},  // B is n x k
        {-10, 'N', 'C', 5, 4, 3, 5, 3, 4, false, false, false},
        {-13, 'N', 'N', 5, 4, 3, 5, 3, 4, false, false, false},
        {-7, 'N', 'N', 5, 4, 3, 5, 3, 5, false, false, false},
        {-9, 'N', 'N', 5, 4, 3, 5, 3, 5, true, false, false},
        {-12, 'N', 'N', 5, 4, 3, 5, 3, 5, true, true, false},
        {-12, 'N', 'N', huge, huge, huge, huge, huge, huge, true, true, false},
    };
    for (const Row& r : rows)
      add("gemm", r.info, [=](Memory where) {
        return gemm(where, r.ta, r.tb, r.m, r.n, r.k, T(1), pointer(r.a), r.lda, pointer(r.b), r.ldb, T(1),
                    pointer(r.c), r.ldc);
      });
  }

  void addGemv() {
    struct Row {
      int info;
      char trans;
      int m, n, lda, incx, incy;
      bool a, x, y;
    };
    const Row rows[] = {
        {-1, 'X', -1, -1, 0, 0, 0, false, false, false}, {-2, 'n', -1, -1, 0, 0, 0, false, false, false},
        {-3, 't', 0, -1, 0, 0, 0, false, false, false},  {-6, 'c', 0, 0, 0, 0, 0, false, false, false},
        {-6, 'T', 3, 2, 2, 0, 0, false, false, false},   {-8, 'N', 3, 2, 3, 0, 0, false, false, false},
        {-11, 'N', 3, 2, 3, 1, 0, false, false, false},  {-5, 'N', 3, 2, 3, -1, -1, false, false, false},
        {-7, 'N', 3, 2, 3, 1, 1, true, false, false},    {-10, 'N', 3, 2, 3, 1, 1, true, true, false},
    };
    for (const Row& r : rows)
      add("gemv", r.info, [=](Memory where) {
        return gemv(where, r.trans, r.m, r.n, T(1), pointer(r.a), r.lda, pointer(r.x), r.incx, T(1),
                    pointer(r.y), r.incy);
      });
  }

  // least: the smallest leading dimension that the family accepts, also without rows.
  template <class Routine>
  void addTriangular(const char* name, Routine routine, int least) {
    struct Row {
      int info;
      char side, uplo, trans, diag;
      int m, n, lda, ldb;
      bool a, b;
    };
    const Row rows[] = {
        {-1, 'X', 'X', 'X', 'X', -1, -1, -2, -2, false, false},
        {-2, 'l', 'X', 'X', 'X', -1, -1, -2, -2, false, false},
        {-3, 'R', 'u', 'X', 'X', -1, -1, -2, -2, false, false},
        {-4, 'L', 'L', 'c', 'X', -1, -1, -2, -2, false, false},
        {-5, 'L', 'L', 'T', 'n', -1, -1, -2, -2, false, false},
        {-6, 'L', 'L', 'N', 'U', 0, -1, -2, -2, false, false},
        {-9, 'L', 'L', 'N', 'N', 5, 4, 4, 4, false, false},
        {-9, 'R', 'L', 'N', 'N', 4, 5, 4, 3, false, false},
        {-9, 'L', 'L', 'N', 'N', 0, 0, least - 1, least - 1, false, false},
        {-11, 'L', 'L', 'N', 'N', 5, 4, 5, 4, false, false},
        {-11, 'R', 'L', 'N', 'N', 5, 4, 4, 4, false, false},
        {-11, 'L', 'L', 'N', 'N', 0, 0, least, least - 1, false, false},
        {0, 'L', 'L', 'N', 'N', 0, 0, least, least, false, false},
        {-8, 'L', 'L', 'N', 'N', 5, 4, 5, 5, false, false},
        {-10, 'L', 'L', 'N', 'N', 5, 4, 5, 5, true, false},
    };
    for (const Row& r : rows)
      add(name, r.info, [=](Memory where) {
        return routine(where, r.side, r.uplo, r.trans, r.diag, r.m, r.n, T(1), pointer(r.a), r.lda,
                       pointer(r.b), r.ldb);
      });
  }

  template <class Routine>
  void addSymmetric(const char* name, Routine routine) {
    struct Row {
      int info;
      char side, uplo;
      int m, n, lda, ldb, ldc;
      bool a, b, c;
    };
    const Row rows[] = {
        {-1, 'X', 'X', -1, -1, -2, -2, -2, false, false, false},
        {-2, 'r', 'X', -1, -1, -2, -2, -2, false, false, false},
        {-3, 'l', 'u', -1, -1, -2, -2, -2, false, false, false},
        {-4, 'L', 'l', 0, -1, -2, -2, -2, false, false, false},
        {-7, 'L', 'U', 5, 4, 4, 4, 4, false, false, false},
        {-7, 'R', 'U', 4, 5, 4, 3, 3, false, false, false},
        {-9, 'L', 'U', 5, 4, 5, 4, 4, false, false, false},
        {-12, 'R', 'U', 5, 4, 4, 5, 4, false, false, false},
        {0, 'L', 'U', 0, 0, 0, 0, 0, false, false, false},
        {-6, 'L', 'U', 5, 4, 5, 5, 5, false, false, false},
        {-8, 'L', 'U', 5, 4, 5, 5, 5, true, false, false},
        {-11, 'L', 'U', 5, 4, 5, 5, 5, true, true, false},
    };
    for (const Row& r : rows)
      add(name, r.info, [=](Memory where) {
        return routine(where, r.side, r.uplo, r.m, r.n, T(1), pointer(r.a), r.lda, pointer(r.b), r.ldb, T(1),
                       pointer(r.c), r.ldc);
      });
  }

  // accepted: the family's trans characters; all others of "NTC" are refused, in either case.
  template <class Call>
  void addTransposes(const char* name, const std::string& accepted, Call call) {
    for (const char trans : {'N', 'T', 'C', 'n', 't', 'c', 'X'}) {
      const bool ok = accepted.find(static_cast<char>(trans & ~0x20)) != std::string::npos;
      add(name, ok ? -3 : -2, [=](Memory where) { return call(where, trans); });
    }
  }

  template <class Routine, class Factor>
  void addRankK(const char* name, Routine routine, const char* accepted, char transposed, Factor one) {
    addTransposes(name, accepted, [=](Memory where, char trans) {
      return routine(where, 'L', trans, -1, -1, one, nullptr, -2, one, nullptr, -2);
    });
    struct Row {
      int info;
      char uplo, trans;
      int n, k, lda, ldc;
      bool a, c;
    };
    const Row rows[] = {
        {-1, 'X', 'X', -1, -1, -2, -2, false, false},    {-3, 'l', 'N', -1, -1, -2, -2, false, false},
        {-4, 'u', 'N', 0, -1, -2, -2, false, false},     {-7, 'L', 'N', 5, 4, 4, 4, false, false},
        {-7, 'L', transposed, 4, 5, 4, 3, false, false}, {-7, 'L', 'N', 0, 0, 0, 0, false, false},
        {-10, 'L', 'N', 5, 4, 5, 4, false, false},       {-10, 'L', 'N', 0, 0, 1, 0, false, false},
        {0, 'L', 'N', 0, 0, 1, 1, false, false},         {-6, 'L', 'N', 5, 4, 5, 5, false, false},
        {-9, 'L', transposed, 5, 4, 4, 5, true, false},
    };
    for (const Row& r : rows)
      add(name, r.info, [=](Memory where) {
        return routine(where, r.uplo, r.trans, r.n, r.k, one, pointer(r.a), r.lda, one, pointer(r.c), r.ldc);
      });
  }

  template <class Routine, class Factor>
  void addRank2K(const char* name, Routine routine, const char* accepted, char transposed, Factor one) {
    addTransposes(name, accepted, [=](Memory where, char trans) {
      return routine(where, 'L', trans, -1, -1, T(1), nullptr, -2, nullptr, -2, one, nullptr, -2);
    });
    struct Row {
      int info;
      char uplo, trans;
      int n, k, lda, ldb, ldc;
      bool a, b, c;
    };
    const Row rows[] = {
        {-1, 'X', 'X', -1, -1, -2, -2, -2, false, false, false},
        {-3, 'l', 'N', -1, -1, -2, -2, -2, false, false, false},
        {-4, 'u', 'N', 0, -1, -2, -2, -2, false, false, false},
        {-7, 'L', 'N', 5, 4, 4, 4, 4, false, false, false},
        {-7, 'L', transposed, 4, 5, 4, 4, 3, false, false, false},
        {-9, 'L', 'N', 5, 4, 5, 4, 4, false, false, false},
        {-9, 'L', transposed, 4, 5, 5, 4, 3, false, false, false},
        {-12, 'L', transposed, 5, 4, 4, 4, 4, false, false, false},
        {0, 'L', 'N', 0, 0, 0, 0, 0, false, false, false},
        {-6, 'L', 'N', 5, 4, 5, 5, 5, false, false, false},
        {-8, 'L', 'N', 5, 4, 5, 5, 5, true, false, false},
        {-11, 'L', 'N', 5, 4, 5, 5, 5, true, true, false},
    };
    for (const Row& r : rows)
      add(name, r.info, [=](Memory where) {
        return routine(where, r.uplo, r.trans, r.n, r.k, T(1), pointer(r.a), r.lda, pointer(r.b), r.ldb, one,
                       pointer(r.c), r.ldc);
      });
  }

  void addLu() {
    static int pivot;
    struct Factor {
      int info, m, n, lda;
      bool a, ipiv;
    };
    for (const Factor& r : {Factor{-1, -1, -1, 0, false, false}, Factor{-2, 0, -1, 0, false, false},
                            Factor{-4, 0, 0, 0, false, false}, Factor{-4, 3, 2, 2, false, false},
                            Factor{-3, 3, 2, 3, false, false}, Factor{-5, 3, 2, 3, true, false}})
      add("getrf", r.info, [=](Memory where) {
        return getrf(where, r.m, r.n, pointer(r.a), r.lda, r.ipiv ? &pivot : nullptr);
      });
    struct Solve {
      int info, n, nrhs, lda, ldb;
      bool a, ipiv, b;
    };
    for (const Solve& r :
         {Solve{-1, -1, -1, 0, 0, false, false, false}, Solve{-2, 0, -1, 0, 0, false, false, false},
          Solve{-4, 0, 0, 0, 0, false, false, false}, Solve{-4, 3, 1, 2, 2, false, false, false},
          Solve{-7, 0, 0, 1, 0, false, false, false}, Solve{-7, 3, 1, 3, 2, false, false, false},
          Solve{-3, 3, 0, 3, 3, false, false, false}, Solve{-5, 3, 0, 3, 3, true, false, false},
          Solve{-6, 3, 0, 3, 3, true, true, false}})
      add("gesv", r.info, [=](Memory where) {
        return gesv(where, r.n, r.nrhs, pointer(r.a), r.lda, r.ipiv ? &pivot : nullptr, pointer(r.b), r.ldb);
      });
  }

  void addQr() {
    struct Row {
      int info, m, n, lda;
      bool a, tau;
    };
    for (const Row& r :
         {Row{-1, -1, -1, 0, false, false}, Row{-2, 0, -1, 0, false, false}, Row{-4, 0, 0, 0, false, false},
          Row{-4, 3, 2, 2, false, false}, Row{0, 2, 0, 2, false, false}, Row{0, 1, 1, 1, false, false},
          Row{0, 1, 1, 1, true, false}, Row{-3, 1, 2, 1, false, false}, Row{-3, 2, 1, 2, false, false},
          Row{-5, 2, 1, 2, true, false}})
      add("geqrf", r.info,
          [=](Memory where) { return geqrf(where, r.m, r.n, pointer(r.a), r.lda, pointer(r.tau)); });
  }

  void addLeastSquares() {
    struct Gels {
      int info;
      char trans;
      int m, n, nrhs, lda, ldb;
      bool a, b;
    };
    for (const Gels& r :
         {Gels{-1, 'X', -1, -1, -1, 0, 0, false, false}, Gels{-2, 'n', -1, -1, -1, 0, 0, false, false},
          Gels{-3, 't', 0, -1, -1, 0, 0, false, false}, Gels{-4, 'c', 0, 0, -1, 0, 0, false, false},
          Gels{-6, 'N', 0, 0, 0, 0, 0, false, false}, Gels{-6, 'T', 3, 2, 0, 2, 2, false, false},
          Gels{-8, 'N', 0, 0, 0, 1, 0, false, false}, Gels{-8, 'C', 3, 2, 1, 3, 2, false, false},
          Gels{-8, 'N', 2, 3, 1, 2, 2, false, false}, Gels{0, 'N', 3, 2, 0, 3, 3, false, false},
          Gels{0, 'T', 0, 2, 1, 1, 2, false, false}, Gels{0, 'C', 2, 0, 1, 2, 2, false, false},
          Gels{-5, 'N', 2, 3, 1, 2, 3, false, false}, Gels{-7, 'N', 3, 2, 1, 3, 3, true, false}})
      add("gels", r.info, [=](Memory where) {
        return gels(where, r.trans, r.m, r.n, r.nrhs, pointer(r.a), r.lda, pointer(r.b), r.ldb);
      });

    // The arrays a, b, c, d, x are present or not.
    struct Gglse {
      int info, m, n, p, lda, ldb;
      bool a, b, c, d, x;
    };
    for (const Gglse& r : {Gglse{-1, -1, -1, -1, 0, 0, false, false, false, false, false},
                           Gglse{-2, 0, -1, -1, 0, 0, false, false, false, false, false},
                           Gglse{-3, 3, 2, -1, 2, 0, false, false, false, false, false},
                           Gglse{-3, 3, 2, 3, 2, 2, false, false, false, false, false},
                           Gglse{-3, 2, 5, 2, 1, 1, false, false, false, false, false},
                           Gglse{-5, 0, 0, 0, 0, 0, false, false, false, false, false},
                           Gglse{-5, 3, 3, 2, 2, 1, false, false, false, false, false},
                           Gglse{-7, 0, 0, 0, 1, 0, false, false, false, false, false},
                           Gglse{-7, 3, 3, 2, 3, 1, false, false, false, false, false},
                           Gglse{0, 2, 0, 0, 2, 1, false, false, false, false, false},
                           Gglse{-4, 3, 3, 2, 3, 2, false, false, false, false, false},
                           Gglse{-6, 3, 3, 2, 3, 2, true, false, false, false, false},
                           Gglse{-6, 0, 2, 2, 1, 2, false, false, false, false, false},
                           Gglse{-8, 3, 3, 2, 3, 2, true, true, false, false, false},
                           Gglse{-8, 3, 3, 0, 3, 1, true, false, false, false, false},
                           Gglse{-9, 3, 3, 2, 3, 2, true, true, true, false, false},
                           Gglse{-10, 3, 3, 2, 3, 2, true, true, true, true, false},
                           Gglse{-10, 3, 3, 0, 3, 1, true, false, true, false, false}})
      add("gglse", r.info, [=](Memory where) {
        return gglse(where, r.m, r.n, r.p, pointer(r.a), r.lda, pointer(r.b), r.ldb, pointer(r.c),
                     pointer(r.d), pointer(r.x));
      });
  }

  void addSvd() {
    static Real<T> value;
    struct Row {
      int info;
      char jobu, jobvt;
      int m, n, lda, ldu, ldvt;
      bool a, s, u, vt;
    };
    const Row rows[] = {
        {-1, 'X', 'X', -1, -1, 0, 0, 0, false, false, false, false},
        {-2, 'a', 'X', -1, -1, 0, 0, 0, false, false, false, false},
        {-2, 'O', 'o', -1, -1, 0, 0, 0, false, false, false, false},
        {-3, 's', 'o', -1, -1, 0, 0, 0, false, false, false, false},
        {-4, 'o', 'a', 0, -1, 0, 0, 0, false, false, false, false},
        {-6, 'N', 'n', 0, 0, 0, 0, 0, false, false, false, false},
        {-6, 'O', 'S', 3, 2, 2, 2, 0, false, false, false, false},
        {-9, 'N', 'A', 0, 0, 1, 0, 0, false, false, false, false},
        {-9, 'O', 'A', 3, 2, 3, 0, 0, false, false, false, false},
        {-9, 'A', 'N', 3, 2, 3, 2, 0, false, false, false, false},
        {-9, 'S', 'A', 3, 2, 3, 2, 0, false, false, false, false},
        {-11, 'N', 'N', 3, 2, 3, 1, 0, false, false, false, false},
        {-11, 'A', 'O', 0, 2, 1, 1, 0, false, false, false, false},
        {-11, 'N', 'A', 2, 3, 2, 1, 2, false, false, false, false},  // VT has n rows
        {-11, 'N', 'S', 2, 3, 2, 1, 1, false, false, false, false},  // ... min(m, n)
        {-11, 'N', 'S', 3, 2, 3, 1, 1, false, false, false, false},
        {0, 'A', 'A', 0, 3, 1, 1, 3, false, false, false, false},
        {0, 'S', 'S', 3, 0, 3, 3, 1, false, false, false, false},
        {-5, 'N', 'S', 2, 3, 2, 1, 2, false, false, false, false},
        {-7, 'A', 'S', 2, 3, 2, 2, 2, true, false, false, false},
        {-8, 'A', 'A', 2, 3, 2, 2, 3, true, true, false, false},
        {-8, 'S', 'N', 2, 3, 2, 2, 1, true, true, false, false},
        {-10, 'N', 'A', 2, 3, 2, 1, 3, true, true, false, false},
        {-10, 'O', 'S', 2, 3, 2, 1, 2, true, true, false, false},
    };
    for (const Row& r : rows)
      add("gesvd", r.info, [=](Memory where) {
        return gesvd(where, r.jobu, r.jobvt, r.m, r.n, pointer(r.a), r.lda, r.s ? &value : nullptr,
                     pointer(r.u), r.ldu, pointer(r.vt), r.ldvt);
      });
  }

  std::vector<ArgumentCase>& cases_;
  Memory where_ = Memory::host;
};

inline std::vector<ArgumentCase> argumentCases() {
  std::vector<ArgumentCase> cases;
  ArgumentCases<float>{cases};
  ArgumentCases<double>{cases};
  ArgumentCases<Complex<float>>{cases};
  ArgumentCases<Complex<double>>{cases};
  return cases;
}

}  // namespace testing_support

#endif
