#include "api/checks.h"

#include <algorithm>
#include <string_view>

#include "ground/options.h"
#include "ground/outcomes.h"

namespace tovi::api {
namespace {

void require(bool holds, int info) {
  if (!holds) argumentError(info);
}

// Upper-cases the option first.
void requireOneOf(char& option, std::string_view accepted, int info) {
  option = upperCase(option);
  require(isOneOf(accepted, option), info);
}

void requirePointer(const void* pointer, int info) { require(pointer != nullptr, info); }

void checkTriangularOptions(char& side, char& uplo, char& trans, char& diag, int m, int n) {
  requireOneOf(side, "LR", -1);
  requireOneOf(uplo, "LU", -2);
  requireOneOf(trans, "NTC", -3);
  requireOneOf(diag, "UN", -4);
  require(m >= 0, -5);
  require(n >= 0, -6);
}

void checkTriangularPointers(int m, int n, const void* a, const void* b) {
  if (m == 0 || n == 0) return;
  requirePointer(a, -8);
  requirePointer(b, -10);
}

void checkRankKUpdate(std::string_view transposes, char& uplo, char& trans, int n, int k, const void* a,
                      int lda, const void* c, int ldc) {
  requireOneOf(uplo, "UL", -1);
  requireOneOf(trans, transposes, -2);
  require(n >= 0, -3);
  require(k >= 0, -4);
  require(lda >= std::max(1, trans == 'N' ? n : k), -7);
  require(ldc >= std::max(1, n), -10);
  if (n == 0 || k == 0) return;
  requirePointer(a, -6);
  requirePointer(c, -9);
}

void checkRank2KUpdate(std::string_view transposes, char& uplo, char& trans, int n, int k, const void* a,
                       int lda, const void* b, int ldb, const void* c, int ldc) {
  requireOneOf(uplo, "LU", -1);
  requireOneOf(trans, transposes, -2);
  require(n >= 0, -3);
  require(k >= 0, -4);
  require(lda >= (trans == 'N' ? n : k), -7);
  require(ldb >= (trans == 'N' ? n : k), -9);
  require(ldc >= n, -12);
  if (n == 0 || k == 0) return;
  requirePointer(a, -6);
  requirePointer(b, -8);
  requirePointer(c, -11);
}

void checkPositiveSystem(char& uplo, int n, int nrhs, int lda, int ldb) {
  requireOneOf(uplo, "UL", -1);
  require(n >= 0, -2);
  require(nrhs >= 0, -3);
  require(lda >= std::max(1, n), -5);
  require(ldb >= std::max(1, n), -7);
}

}  // namespace

void checkGetrf(int m, int n, const void* a, int lda, const void* ipiv) {
  require(m >= 0, -1);
  require(n >= 0, -2);
  require(lda >= std::max(1, m), -4);
  if (m == 0 || n == 0) return;
  requirePointer(a, -3);
  requirePointer(ipiv, -5);
}

void checkGesv(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b, int ldb) {
  require(n >= 0, -1);
  require(nrhs >= 0, -2);
  require(lda >= std::max(1, n), -4);
  require(ldb >= std::max(1, n), -7);
  if (n == 0) return;
  requirePointer(a, -3);
  requirePointer(ipiv, -5);
  requirePointer(b, -6);
}

void checkGesvRefined(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b, int ldb,
                      const void* x, int ldx, const void* iter) {
  require(n >= 0, -1);
  require(nrhs >= 0, -2);
  require(lda >= std::max(1, n), -4);
  require(ldb >= std::max(1, n), -7);
  require(ldx >= std::max(1, n), -9);
  if (n == 0) return;
  requirePointer(a, -3);
  requirePointer(ipiv, -5);
  if (nrhs > 0) requirePointer(b, -6);
  if (nrhs > 0) requirePointer(x, -8);
  requirePointer(iter, -10);
}

void checkGetrs(char& trans, int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                int ldb) {
  requireOneOf(trans, "NTC", -1);
  require(n >= 0, -2);
  require(nrhs >= 0, -3);
  require(lda >= std::max(1, n), -5);
  require(ldb >= std::max(1, n), -8);
  if (n == 0 || nrhs == 0) return;
  requirePointer(a, -4);
  requirePointer(ipiv, -6);
  requirePointer(b, -7);
}

void checkPotrf(char& uplo, int n, const void* a, int lda) {
  requireOneOf(uplo, "UL", -1);
  require(n >= 0, -2);
  require(lda >= std::max(1, n), -4);
  if (n == 0) return;
  requirePointer(a, -3);
}

void checkPotrs(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
  checkPositiveSystem(uplo, n, nrhs, lda, ldb);
  if (n == 0 || nrhs == 0) return;
  requirePointer(a, -4);
  requirePointer(b, -6);
}

void checkPosv(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
  checkPositiveSystem(uplo, n, nrhs, lda, ldb);
  if (n == 0) return;
  requirePointer(a, -4);
  if (nrhs > 0) requirePointer(b, -6);
}

void checkGeqrf(int m, int n, const void* a, int lda, const void* tau) {
  require(m >= 0, -1);
  require(n >= 0, -2);
  require(lda >= std::max(1, m), -4);
  if (m < 2 && n < 2) return;  // deliberate: a 1 x 1 matrix may be null
  if (m == 0 || n == 0) return;
  requirePointer(a, -3);
  requirePointer(tau, -5);
}

void checkOrmqr(std::string_view transposes, char& side, char& trans, int m, int n, int k, const void* a,
                int lda, const void* tau, const void* c, int ldc) {
  requireOneOf(side, "LR", -1);
  requireOneOf(trans, transposes, -2);
  require(m >= 0, -3);
  require(n >= 0, -4);
  const int order = side == 'L' ? m : n;
  require(k >= 0 && k <= order, -5);
  require(lda >= std::max(1, order), -7);
  require(ldc >= std::max(1, m), -10);
  if (m == 0 || n == 0 || k == 0) return;
  requirePointer(a, -6);
  requirePointer(tau, -8);
  requirePointer(c, -9);
}

void checkOrgqr(int m, int n, int k, const void* a, int lda, const void* tau) {
  require(m >= 0, -1);
  require(n >= 0 && n <= m, -2);
  require(k >= 0 && k <= n, -3);
  require(lda >= std::max(1, m), -5);
  if (n == 0) return;
  requirePointer(a, -4);
  if (k > 0) requirePointer(tau, -6);
}

void checkGels(char& trans, int m, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
  requireOneOf(trans, "NTC", -1);
  require(m >= 0, -2);
  require(n >= 0, -3);
  require(nrhs >= 0, -4);
  require(lda >= std::max(1, m), -6);
  require(ldb >= std::max({1, m, n}), -8);
  if (m == 0 || n == 0 || nrhs == 0) return;
  requirePointer(a, -5);
  requirePointer(b, -7);
}

void checkGesvd(char& jobu, char& jobvt, int m, int n, const void* a, int lda, const void* s, const void* u,
                int ldu, const void* vt, int ldvt) {
  requireOneOf(jobu, "ASON", -1);
  requireOneOf(jobvt, "ASON", -2);
  require(jobu != 'O' || jobvt != 'O', -2);
  require(m >= 0, -3);
  require(n >= 0, -4);
  require(lda >= std::max(1, m), -6);
  const bool toU = jobu == 'A' || jobu == 'S', toVt = jobvt == 'A' || jobvt == 'S';
  require(ldu >= (toU ? std::max(1, m) : 1), -9);
  require(ldvt >= (toVt ? std::max(1, jobvt == 'A' ? n : std::min(m, n)) : 1), -11);
  if (m == 0 || n == 0) return;
  requirePointer(a, -5);
  requirePointer(s, -7);
  if (toU) requirePointer(u, -8);
  if (toVt) requirePointer(vt, -10);
}

void checkGesdd(char& jobz, int m, int n, const void* a, int lda, const void* s, const void* u, int ldu,
                const void* vt, int ldvt) {
  requireOneOf(jobz, "ASON", -1);
  require(m >= 0, -2);
  require(n >= 0, -3);
  require(lda >= std::max(1, m), -5);
  const bool both = jobz == 'A' || jobz == 'S';
  const bool toU = both || (jobz == 'O' && m < n), toVt = both || (jobz == 'O' && m >= n);
  require(ldu >= (toU ? std::max(1, m) : 1), -8);
  require(ldvt >= (toVt ? std::max(1, jobz == 'S' ? std::min(m, n) : n) : 1), -10);
  if (m == 0 || n == 0) return;
  requirePointer(a, -4);
  requirePointer(s, -6);
  if (toU) requirePointer(u, -7);
  if (toVt) requirePointer(vt, -9);
}

void checkGglse(int m, int n, int p, const void* a, int lda, const void* b, int ldb, const void* c,
                const void* d, const void* x) {
  require(m >= 0, -1);
  require(n >= 0, -2);
  require(p >= 0 && p <= n && p >= n - m, -3);
  require(lda >= std::max(1, m), -5);
  require(ldb >= std::max(1, p), -7);
  if (n == 0) return;
  if (m > 0) requirePointer(a, -4);
  if (p > 0) requirePointer(b, -6);
  if (m > 0) requirePointer(c, -8);
  if (p > 0) requirePointer(d, -9);
  requirePointer(x, -10);
}

void checkHeevd(char& jobz, char& uplo, int n, const void* a, int lda, const void* w) {
  requireOneOf(jobz, "NV", -1);
  requireOneOf(uplo, "LU", -2);
  require(n >= 0, -3);
  require(lda >= std::max(1, n), -5);
  if (n == 0) return;
  requirePointer(a, -4);
  requirePointer(w, -6);
}

void checkGemm(char& transa, char& transb, int m, int n, int k, const void* a, int lda, const void* b,
               int ldb, const void* c, int ldc) {
  requireOneOf(transa, "NTC", -1);
  requireOneOf(transb, "NTC", -2);
  require(m >= 0, -3);
  require(n >= 0, -4);
  require(k >= 0, -5);
  require(lda >= (transa == 'N' ? m : k), -8);
  require(ldb >= (transb == 'N' ? k : n), -10);
  require(ldc >= m, -13);
  if (m == 0 || n == 0 || k == 0) return;
  requirePointer(a, -7);
  requirePointer(b, -9);
  requirePointer(c, -12);
}

void checkGemv(char& trans, int m, int n, const void* a, int lda, const void* x, int incx, const void* y,
               int incy) {
  requireOneOf(trans, "NTC", -1);
  require(m >= 0, -2);
  require(n >= 0, -3);
  require(lda >= std::max(1, m), -6);
  require(incx != 0, -8);
  require(incy != 0, -11);
  if (m == 0 || n == 0) return;
  requirePointer(a, -5);
  requirePointer(x, -7);
  requirePointer(y, -10);
}

void checkTrsm(char& side, char& uplo, char& trans, char& diag, int m, int n, const void* a, int lda,
               const void* b, int ldb) {
  checkTriangularOptions(side, uplo, trans, diag, m, n);
  require(lda >= (side == 'L' ? m : n), -9);
  require(ldb >= m, -11);
  checkTriangularPointers(m, n, a, b);
}

void checkTrmm(char& side, char& uplo, char& trans, char& diag, int m, int n, const void* a, int lda,
               const void* b, int ldb) {
  checkTriangularOptions(side, uplo, trans, diag, m, n);
  require(lda >= std::max(1, side == 'L' ? m : n), -9);
  require(ldb >= std::max(1, m), -11);
  checkTriangularPointers(m, n, a, b);
}

void checkSymm(char& side, char& uplo, int m, int n, const void* a, int lda, const void* b, int ldb,
               const void* c, int ldc) {
  requireOneOf(side, "LR", -1);
  requireOneOf(uplo, "UL", -2);
  require(m >= 0, -3);
  require(n >= 0, -4);
  require(lda >= (side == 'L' ? m : n), -7);
  require(ldb >= m, -9);
  require(ldc >= m, -12);
  if (m == 0 || n == 0) return;
  requirePointer(a, -6);
  requirePointer(b, -8);
  requirePointer(c, -11);
}

void checkSyrk(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* c, int ldc) {
  checkRankKUpdate("TN", uplo, trans, n, k, a, lda, c, ldc);
}

void checkHerk(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* c, int ldc) {
  checkRankKUpdate("NC", uplo, trans, n, k, a, lda, c, ldc);
}

void checkSyr2k(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* b, int ldb,
                const void* c, int ldc) {
  checkRank2KUpdate("NT", uplo, trans, n, k, a, lda, b, ldb, c, ldc);
}

void checkHer2k(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* b, int ldb,
                const void* c, int ldc) {
  checkRank2KUpdate("NC", uplo, trans, n, k, a, lda, b, ldb, c, ldc);
}

}  // namespace tovi::api
