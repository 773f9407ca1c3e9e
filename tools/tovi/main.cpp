// tovi: the devices of this machine; linear systems, least squares, singular values and eigenvalues from
// files.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <limits>
#include <new>
#include <string>

#include "tools/tovi/devices.h"
#include "tools/tovi/eig.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/lstsq.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/solve.h"
#include "tools/tovi/svd.h"

namespace {

constexpr int failed = 1, wrongUsage = 2, notResolved = 3;

constexpr const char* fileNotes =
    "Files are Matrix Market: coordinate or array; real, complex, integer or pattern; general,\n"
    "symmetric, Hermitian or skew-symmetric. Entries for one place are added. Values are\n"
    "rounded to the precision of the problem, which is complex where a file is.\n\n";

// Of every command
constexpr const char* outputNotes =
    "Outputs appear whole or not at all, and never over a file that is read. --csv takes a\n"
    "new file, or one that holds results of the same command.\n\n";

constexpr const char* cholNotes =
    "A = L L^H by Cholesky: half of the operations that solve takes. A file that is general in\n"
    "kind may hold such a matrix. One that is not symmetric, or if complex not Hermitian, is\n"
    "refused; one that is not positive definite ends with the order of the first leading minor\n"
    "that is not.\n\n";

constexpr const char* solveNotes =
    "time            gesv, or posv, from operands in host memory (with transfers), and again\n"
    "                from operands in device memory (without); a call that only starts the\n"
    "                device goes before\n"
    "speed           (2/3 n^3 + 2 n^2 nrhs) / time, with posv (1/3 n^3 + 2 n^2 nrhs) / time,\n"
    "                four times that for complex systems\n"
    "backward error  max over the columns of ||b - A x|| / (n ||A|| ||x|| eps), in double\n"
    "                precision; 1-norms, A and b as rounded, eps = 2^-24, of double\n"
    "                precision 2^-53\n"
    "condition       ||A|| ||A^-1||, 2-norms, estimated from the factors, up to a tenth too\n"
    "                small. The precision resolves up to K = 1 / (eps sqrt(n)); about\n"
    "                log10 (K / condition) decimal digits of x can be trusted\n\n"
    "Where the condition is not resolved a warning on standard error says so, and which\n"
    "columns depend on others, or that A is badly scaled.\n\n"
    "Exit code: 0 solved, 1 failed, 2 wrong usage, 3 solved, but no digit can be trusted.";

constexpr const char* lstsqNotes =
    "x of least ||b - A x||, or, where A has more columns than rows, of least ||x|| with\n"
    "A x = b; with a constraint of least ||b - A x|| among those with B x = d.\n\n"
    "A table (.csv) has one line of names, none of them a number, unless its first line is\n"
    "numbers alone: then the columns are called 1, 2, ... The columns but the response are A;\n"
    "the coefficients are printed by name.\n\n"
    "time           gels or gglse from operands in host memory (with transfers), and again\n"
    "               from operands in device memory (without); a call that only starts the\n"
    "               device goes before\n"
    "speed          2 l k^2 - 2/3 k^3 + nrhs (4 l k - k^2) operations, k the smaller and l the\n"
    "               larger side of A, four times that for complex problems; with a\n"
    "               constraint those of the two factorizations and A Q^H\n"
    "residual norm  ||r||, r = b - A x\n"
    "optimality     ||A^H r|| / (||A|| ||r|| max(m,n) eps): of order one or below where ||r|| is\n"
    "               least. With a constraint, without the part of A^H r in the rows of B\n"
    "constraint     ||d - B x|| / ((||B|| ||x|| + ||d||) max(p,n) eps)\n"
    "difference     max |x - y| / |y| over the elements, y computed in double precision from\n"
    "               the same A and b (--reference)\n"
    "condition      ||A|| ||A^+||, 2-norms, the columns of A, or of a wide A the rows, scaled\n"
    "               to one length; estimated from the factors, up to a tenth too small. With\n"
    "               a constraint the larger one of B, its rows scaled, and of A on what B\n"
    "               leaves free, not scaled. The precision resolves up to\n"
    "               K = 1 / (eps sqrt(max(m,n))); about log10 (K / condition) decimal digits\n"
    "               of x can be trusted. Beside a residual r of t = ||r|| / ||A x|| x is more\n"
    "               sensitive: K / condition is taken of\n"
    "               condition sqrt(1 + t^2) + condition^2 t / sqrt(max(m,n))\n\n"
    "All in double precision, from A and b as rounded, the largest of the columns of b;\n"
    "2-norms, Frobenius norms of matrices, eps = 2^-24, of double precision 2^-53.\n\n"
    "Where the condition is not resolved a warning on standard error says so, and which\n"
    "columns, or rows, depend on others.\n\n"
    "Exit code: 0 solved, 1 failed, 2 wrong usage, 3 solved, but no digit can be trusted.";

constexpr const char* svdNotes =
    "A = U S V^H in economy size. A table (.csv) has one line of names, none of them a number,\n"
    "unless its first line is numbers alone: then the columns are called 1, 2, ... A picture\n"
    "(.pgm, P2 or P5) has a matrix row for each of its rows.\n\n"
    "time            gesvd from operands in host memory, with transfers\n"
    "energy          the squares of the leading values over those of all\n"
    "relative error  ||A - A_K|| / ||A||, A_K the matrix of rank K next to A: K (m + n + 1)\n"
    "                numbers for m n\n"
    "reconstruction  ||A - U S V^H|| / (max(m,n) ||A|| eps)\n"
    "orthogonality   ||I - U^H U|| / (m eps), ||I - V^H V|| / (n eps)\n\n"
    "In double precision, from A as rounded (and centered); Frobenius norms, eps = 2^-24, of\n"
    "double precision 2^-53.\n\n"
    "-o PREFIX writes PREFIX.csv (index, value, energy) and PREFIX.svg (the values, plotted);\n"
    "for a picture PREFIX.png, its rank-K picture; with --scatter PREFIX_scatter.svg: the rows\n"
    "by their first two components, which with --center are the principal components.\n\n"
    "Exit code: 0 decomposed, 1 failed, 2 wrong usage.";

constexpr const char* eigNotes =
    "A = V diag(w) V^H for a matrix that is symmetric, or Hermitian if it is complex; another one\n"
    "is refused. A file that is general in kind may hold such a matrix.\n\n"
    "time           syevd or heevd from operands in host memory, with transfers\n"
    "speed          4/3 n^3 / time, with vectors 14/3 n^3 / time, four times that for complex\n"
    "               matrices\n"
    "residual       ||A V - V diag(w)|| / (||A|| n eps)\n"
    "orthogonality  ||I - V^H V|| / (n eps); this norm and the one before are estimated by\n"
    "               sixteen random vectors\n"
    "sums           the larger one of |sum w - trace A| / (||A|| n eps) and\n"
    "               |sum w^2 - ||A||^2| / (||A||^2 n eps)\n"
    "values         how many are negative, positive, and within sqrt(n) eps max |w| of zero:\n"
    "               the sign of those may be that of rounding errors\n\n"
    "In double precision, from A as rounded; Frobenius norms, eps = 2^-24, of double precision\n"
    "2^-53.\n\n"
    "-o PREFIX writes PREFIX.csv (index, value) and PREFIX.svg (the values, plotted, on a\n"
    "logarithmic scale where they are positive and span decades); with --vectors PREFIX.mtx, V\n"
    "in array format. --modes adds the six lowest modes to the plot. Unknowns that are coupled\n"
    "with the same others are one node; the nodes stand where eigenvectors of the Laplacian of\n"
    "the matrix's graph put them. Its largest connected part is drawn, and modes of others are\n"
    "left out.\n\n"
    "Exit code: 0 decomposed, 1 failed, 2 wrong usage.";

void addPrecision(CLI::App* command, bool& inDouble) {
  command
      ->add_option_function<std::string>(
          "--precision", [&inDouble](const std::string& word) { inDouble = word == "double"; },
          "Of what is read, computed and written: single (default) or double")
      ->check(CLI::IsMember({"single", "double"}))
      ->option_text("NAME");
}

void addDevice(CLI::App* command, int& device) {
  command->add_option("-d,--device", device, "Number of the device (default: the library chooses)")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()))
      ->option_text("N");
}

CLI::App* addSolve(CLI::App& app, const char* name, const char* what, tool::SolveOptions& options) {
  CLI::App* command = app.add_subcommand(name, what);
  const bool cholesky = std::string(name) == "chol";
  command
      ->add_option("A", options.matrix,
                   cholesky ? "Matrix, symmetric or Hermitian, positive definite" : "Matrix, square")
      ->required()
      ->option_text("A.mtx");
  command
      ->add_option("b", options.rightHandSide, "Right-hand sides, one a column (default: one column of ones)")
      ->option_text("b.mtx");
  command->add_option("-o,--output", options.output, "Write x, in array format")->option_text("x.mtx");
  command->add_option("--csv", options.csv, "Append the results to this file, one line")->option_text("FILE");
  addPrecision(command, options.inDouble);
  addDevice(command, options.device);
  command->footer(std::string(fileNotes) + outputNotes + (cholesky ? cholNotes : "") + solveNotes);
  return command;
}

int run(int argc, char** argv) {
  CLI::App app("Dense linear algebra on the device");
  app.allow_windows_style_options(false);  // a path may begin with a slash
  app.set_version_flag("--version", "tovi " TOVI_VERSION);
  app.require_subcommand(1);

  CLI::App* devices = app.add_subcommand("devices", "List the devices");
  tool::SolveOptions solveOptions;
  CLI::App* solve = addSolve(app, "solve", "Solve A x = b", solveOptions);
  CLI::App* chol = addSolve(app, "chol", "Solve A x = b with a positive definite A", solveOptions);

  CLI::App* lstsq = app.add_subcommand("lstsq", "Solve A x = b by least squares");
  tool::LstsqOptions lstsqOptions;
  lstsq->add_option("A", lstsqOptions.matrix, "Matrix, or table")->required()->option_text("A.mtx|A.csv");
  lstsq
      ->add_option("b", lstsqOptions.rightHandSide,
                   "Right-hand sides, one a column (default for a matrix: one column of ones)")
      ->option_text("b.mtx");
  lstsq->add_option("--response", lstsqOptions.response, "The table's column that is b")->option_text("NAME");
  lstsq->add_flag("--intercept", lstsqOptions.intercept, "A column of ones before those of the table");
  lstsq->add_option("--constraint", lstsqOptions.constraint, "Solve subject to B x = d")
      ->expected(2)
      ->option_text("B.mtx d.mtx");
  lstsq->add_flag("--reference", lstsqOptions.reference, "Compare with a solution in double precision");
  lstsq->add_option("-o,--output", lstsqOptions.output, "Write x, in array format")->option_text("x.mtx");
  lstsq->add_option("--csv", lstsqOptions.csv, "Append the results to this file, one line")
      ->option_text("FILE");
  addPrecision(lstsq, lstsqOptions.inDouble);
  addDevice(lstsq, lstsqOptions.device);
  lstsq->footer(std::string(fileNotes) + outputNotes + lstsqNotes);

  CLI::App* svd = app.add_subcommand("svd", "Singular values and vectors of A");
  tool::SvdOptions svdOptions;
  svd->add_option("A", svdOptions.matrix, "Matrix, table or picture")
      ->required()
      ->option_text("A.mtx|A.csv|picture.pgm");
  svd->add_option("--rank", svdOptions.rank, "How many values to keep (default: 10)")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->option_text("K");
  svd->add_option("--label", svdOptions.label, "The table's column that is no part of A but labels its rows")
      ->option_text("NAME");
  svd->add_flag("--center", svdOptions.center, "Take its mean from each column of A first");
  CLI::Option* prefix =
      svd->add_option("-o,--output", svdOptions.output, "Write the values, the plot, the picture")
          ->option_text("PREFIX");
  svd->add_flag("--scatter", svdOptions.scatter,
                "Plot the rows by their first two components, coloured by label")
      ->needs(prefix);
  svd->add_option("--csv", svdOptions.csv, "Append the results to this file, one line")->option_text("FILE");
  addPrecision(svd, svdOptions.inDouble);
  addDevice(svd, svdOptions.device);
  svd->footer(std::string(fileNotes) + outputNotes + svdNotes);

  CLI::App* eig = app.add_subcommand("eig", "Eigenvalues and eigenvectors of A, symmetric or Hermitian");
  tool::EigOptions eigOptions;
  eig->add_option("A", eigOptions.matrix, "Matrix, symmetric or Hermitian")->required()->option_text("A.mtx");
  eig->add_flag("--vectors", eigOptions.vectors, "The vectors, too");
  prefix = eig->add_option("-o,--output", eigOptions.output, "Write the values, the plot, the vectors")
               ->option_text("PREFIX");
  eig->add_flag("--modes", eigOptions.modes, "Plot the lowest modes, too")->needs(prefix);
  eig->add_option("--csv", eigOptions.csv, "Append the results to this file, one line")->option_text("FILE");
  addPrecision(eig, eigOptions.inDouble);
  addDevice(eig, eigOptions.device);
  eig->footer(std::string(fileNotes) + outputNotes + eigNotes);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : wrongUsage;
  }
  if (*devices) tool::listDevices();
  if (*svd) tool::svd(svdOptions);
  if (*eig) tool::eig(eigOptions);
  if (*solve && !tool::solve(solveOptions, tool::Factorization::lu)) return notResolved;
  if (*chol && !tool::solve(solveOptions, tool::Factorization::cholesky)) return notResolved;
  if (*lstsq && !tool::lstsq(lstsqOptions)) return notResolved;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int exitCode = run(argc, argv);
    if (!std::cout.flush()) throw tool::Failure("the output cannot be written");
    return exitCode;
  } catch (const std::bad_alloc&) {
    std::cerr << "tovi: not enough memory\n";
  } catch (const std::exception& e) {
    std::cerr << "tovi: " << tool::printable(e.what()) << '\n';
  }
  return failed;
}
