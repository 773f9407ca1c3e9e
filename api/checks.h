// Argument checks, one checker a family, for both interfaces and all precisions. The first test that fails
// throws the argument error with minus the position of the argument. Option characters are replaced by their
// upper case. Pointers are tested last, and only where the problem is not empty; they are not used.
//
// What is accepted differs between families in places (bare leading dimensions or at least 1, 'C' and 'T'):
// docs/compatibility.md says why, as of all that is called deliberate in the library.

#ifndef TOVI_API_CHECKS_H
#define TOVI_API_CHECKS_H

#include <string_view>

namespace tovi::api {

void checkGetrf(int m, int n, const void* a, int lda, const void* ipiv);
void checkGesv(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b, int ldb);
void checkGesvRefined(int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b, int ldb,
                      const void* x, int ldx, const void* iter);
void checkGetrs(char& trans, int n, int nrhs, const void* a, int lda, const void* ipiv, const void* b,
                int ldb);
void checkPotrf(char& uplo, int n, const void* a, int lda);
void checkPotrs(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb);
void checkPosv(char& uplo, int n, int nrhs, const void* a, int lda, const void* b, int ldb);
void checkGeqrf(int m, int n, const void* a, int lda, const void* tau);
// transposes: the letters that trans may be, of the real routine or the complex one
void checkOrmqr(std::string_view transposes, char& side, char& trans, int m, int n, int k, const void* a,
                int lda, const void* tau, const void* c, int ldc);
void checkOrgqr(int m, int n, int k, const void* a, int lda, const void* tau);
void checkGels(char& trans, int m, int n, int nrhs, const void* a, int lda, const void* b, int ldb);
void checkGesvd(char& jobu, char& jobvt, int m, int n, const void* a, int lda, const void* s, const void* u,
                int ldu, const void* vt, int ldvt);
void checkGesdd(char& jobz, int m, int n, const void* a, int lda, const void* s, const void* u, int ldu,
                const void* vt, int ldvt);
void checkGglse(int m, int n, int p, const void* a, int lda, const void* b, int ldb, const void* c,
                const void* d, const void* x);
// syevd and heevd
void checkHeevd(char& jobz, char& uplo, int n, const void* a, int lda, const void* w);

void checkGemm(char& transa, char& transb, int m, int n, int k, const void* a, int lda, const void* b,
               int ldb, const void* c, int ldc);
void checkGemv(char& trans, int m, int n, const void* a, int lda, const void* x, int incx, const void* y,
               int incy);
void checkTrsm(char& side, char& uplo, char& trans, char& diag, int m, int n, const void* a, int lda,
               const void* b, int ldb);
void checkTrmm(char& side, char& uplo, char& trans, char& diag, int m, int n, const void* a, int lda,
               const void* b, int ldb);
// symm and hemm
void checkSymm(char& side, char& uplo, int m, int n, const void* a, int lda, const void* b, int ldb,
               const void* c, int ldc);
void checkSyrk(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* c, int ldc);
void checkHerk(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* c, int ldc);
void checkSyr2k(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* b, int ldb,
                const void* c, int ldc);
void checkHer2k(char& uplo, char& trans, int n, int k, const void* a, int lda, const void* b, int ldb,
                const void* c, int ldc);

}  // namespace tovi::api

#endif
