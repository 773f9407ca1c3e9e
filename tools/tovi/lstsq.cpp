#include "tools/tovi/lstsq.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>

#include "tools/tovi/condition.h"
#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/files.h"
#include "tools/tovi/householder.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/optimality.h"
#include "tools/tovi/report.h"
#include "tools/tovi/table.h"

namespace tool {
namespace {

// --- What is asked

// A table, taken apart as the options say.
template <class R>
struct Design {
  std::vector<std::string> names;  // of the columns of a
  Matrix<R> a{0, 0};
  std::optional<Matrix<R>> response;
};

template <class R>
Design<R> designOf(const LstsqOptions& options) {
  const Table<R> table = readTable<R>(options.matrix);
  const int rows = table.values.rows;
  Design<R> design;
  int responseColumn = -1;
  if (!options.response.empty()) {
    const auto found = std::find(table.names.begin(), table.names.end(), options.response);
    if (found == table.names.end())
      throw Failure(options.matrix + ": no column has the name '" + options.response + "'");
    responseColumn = static_cast<int>(found - table.names.begin());
    design.response.emplace(rows, 1);
  }

  if (options.intercept) design.names.emplace_back("(intercept)");
  std::vector<R> a(options.intercept ? static_cast<std::size_t>(rows) : 0u, R(1));
  for (int j = 0; j < table.values.columns; ++j) {
    const R* column = &table.values(0, j);
    if (j == responseColumn) {
      std::copy(column, column + rows, design.response->values.begin());
    } else {
      design.names.push_back(table.names[static_cast<std::size_t>(j)]);
      a.insert(a.end(), column, column + rows);
    }
  }
  if (design.names.empty()) throw Failure(options.matrix + ": no column is left beside the response");
  design.a = Matrix<R>(rows, static_cast<int>(design.names.size()));
  design.a.values = std::move(a);
  return design;
}

// The files, of which Matrix Market ones have been opened and have told their size.
template <class R>
struct Sources {
  std::optional<Design<R>> design;  // or
  std::optional<MatrixMarketReader> matrix;
  std::optional<MatrixMarketReader> rightHandSide, constraint, d;

  explicit Sources(const LstsqOptions& options) {
    const bool table = isTable(options.matrix);
    if (!table && (!options.response.empty() || options.intercept))
      throw Failure("--response and --intercept are for tables, and " + options.matrix + " is no .csv file");
    if (!options.response.empty() && !options.rightHandSide.empty())
      throw Failure("both --response and " + options.rightHandSide + " give the right-hand side");
    if (table && options.response.empty() && options.rightHandSide.empty())
      throw Failure(options.matrix +
                    ": no right-hand side: name one of its columns by --response, or a file");
    if (table)
      design = designOf<R>(options);
    else
      matrix.emplace(options.matrix);
    if (!options.rightHandSide.empty()) rightHandSide.emplace(options.rightHandSide);
    if (!options.constraint.empty()) {
      constraint.emplace(options.constraint[0]);
      d.emplace(options.constraint[1]);
    }
    checkShapes();
  }

  int m() const { return design ? design->a.rows : matrix->header().rows; }
  int n() const { return design ? design->a.columns : matrix->header().columns; }
  int columns() const { return rightHandSide ? rightHandSide->header().columns : 1; }
  int p() const { return constraint ? constraint->header().rows : 0; }
  bool isComplex() const {
    for (const auto* reader : {&matrix, &rightHandSide, &constraint, &d})
      if (*reader && (*reader)->header().field == Field::complex) return true;
    return false;
  }

 private:
  void checkShapes() const {
    const auto refuse = [](const MatrixMarketReader& file, const std::string& message) {
      throw Failure(file.path() + ": " + message);
    };
    const auto columnsText = [](int count) { return counted(count, "column", "columns"); };
    if (rightHandSide) rightHandSide->expectRows(m());
    if (!constraint) return;
    if (columns() != 1) refuse(*rightHandSide, "a problem with a constraint has one right-hand side");
    if (constraint->header().columns != n())
      refuse(*constraint,
             "has " + columnsText(constraint->header().columns) + ", the matrix has " + std::to_string(n()));
    if (p() > n())
      refuse(*constraint, "has " + std::to_string(p()) + " rows, more than the " + columnsText(n()));
    if (p() < n() - m())
      refuse(*constraint, "together with the matrix has fewer rows than the " + columnsText(n()) +
                              ": x is not determined");
    if (d->header().rows != p() || d->header().columns != 1)
      refuse(*d, "is " + std::to_string(d->header().rows) + " x " + std::to_string(d->header().columns) +
                     ", expected " + std::to_string(p()) + " x 1");
  }
};

template <class T>
struct Problem {
  std::string path, constraintPath;  // of A and B, for messages
  std::vector<std::string> names;    // of the columns of A, where it is a table
  Matrix<T> a, b;
  std::optional<Matrix<T>> constraint, d;

  double flops() const {
    const double m = a.rows, n = a.columns, nrhs = b.columns, p = constraint ? constraint->rows : 0;
    const auto factorization = [](double rows, double columns) {
      const double k = std::min(rows, columns), l = std::max(rows, columns);
      return 2 * l * k * k - 2.0 / 3.0 * k * k * k;
    };
    const double k = std::min(m, n);
    const double real = constraint ? factorization(p, n) + 2 * m * p * (2 * n - p) + factorization(m, n)
                                   : factorization(m, n) + nrhs * (4 * std::max(m, n) * k - k * k);
    return isComplex<T> ? 4 * real : real;
  }
};

template <class T>
Problem<T> read(const LstsqOptions& options, Sources<Real<T>>& sources) {
  Problem<T> problem{options.matrix,
                     options.constraint.empty() ? "" : options.constraint.front(),
                     sources.design ? sources.design->names : std::vector<std::string>(),
                     sources.design ? converted<T>(sources.design->a) : sources.matrix->template read<T>(),
                     Matrix<T>(0, 0),
                     {},
                     {}};
  if (sources.rightHandSide)
    problem.b = sources.rightHandSide->template read<T>();
  else if (sources.design)
    problem.b = converted<T>(*sources.design->response);
  else
    problem.b = Matrix<T>(problem.a.rows, 1, T(1));
  if (sources.constraint) {
    problem.constraint = sources.constraint->template read<T>();
    problem.d = sources.d->template read<T>();
  }
  return problem;
}

// --- What determines x

// With the factors of A and B where these were
template <class T>
struct Solution {
  Matrix<T> x, a;  // a: with the factors of A
  std::optional<Matrix<T>> constraint;
};

// A triangular factor, and what its columns stand for.
template <class W>
struct Factor {
  enum class Of { columns, rows, constraints, rest } of;
  Matrix<W> r;
};

template <class W, class Element>
Matrix<W> upperTriangle(int n, const Element& element) {
  Matrix<W> r(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) r(i, j) = W(element(i, j));
  return r;
}

// The triangles that x comes from by substitution, those with rows of a matrix transposed.
template <class T>
std::vector<Factor<Wide<T>>> factorsOf(const Problem<T>& problem, const Solution<T>& solution) {
  using W = Wide<T>;
  using Of = typename Factor<W>::Of;
  const Matrix<T>& a = solution.a;
  const int m = a.rows, n = a.columns;
  const auto ofA = [&](int i, int j) { return a(i, j); };
  std::vector<Factor<W>> factors;
  if (problem.constraint) {
    const Matrix<T>& b = *solution.constraint;
    const int p = b.rows;
    // T of B = (0 T) Q has its rows from the last one on.
    const auto ofB = [&](int i, int j) { return conjugated(W(b(p - 1 - j, n - 1 - i))); };
    factors.push_back({Of::constraints, upperTriangle<W>(p, ofB)});
    if (p < n) factors.push_back({Of::rest, upperTriangle<W>(n - p, ofA)});
  } else if (m < n) {
    factors.push_back({Of::rows, upperTriangle<W>(m, [&](int i, int j) { return conjugated(W(a(j, i))); })});
  } else {
    factors.push_back({Of::columns, upperTriangle<W>(n, ofA)});
  }
  return factors;
}

// Of a matrix whose columns, or rows, count by their directions alone: they may have different units. Under a
// constraint those of A are mixed, and what is left of A is held against all of it.
template <class T>
Condition conditionOf(const Problem<T>& problem, const Factor<Wide<T>>& factor) {
  const int m = problem.a.rows, n = problem.a.columns;
  if (factor.of == Factor<Wide<T>>::Of::rest) {
    const double scale = scaleOf(problem.a);
    const std::vector<double> units(static_cast<std::size_t>(factor.r.columns), scale);
    return Condition::of<T>(norm(converted<Wide<T>>(problem.a)) / scale * normOfInverse(factor.r, units), m,
                            n);
  }
  const std::vector<double> lengths = columnLengths(factor.r);
  return Condition::of<T>(normOf(factor.r, lengths) * normOfInverse(factor.r, lengths), m, n);
}

// What depends on what, if the columns of a factor do.
template <class T>
std::vector<std::string> dependences(const Problem<T>& problem, const Factor<Wide<T>>& factor) {
  using W = Wide<T>;
  using Of = typename Factor<W>::Of;
  const double resolved = resolvedCondition<T>(problem.a.rows, problem.a.columns);
  const auto columnName = [&](int j) {
    return problem.names.empty() ? std::to_string(j + 1)
                                 : "'" + problem.names[static_cast<std::size_t>(j)] + "'";
  };
  switch (factor.of) {
    case Of::constraints:
      return describe(problem.constraintPath, dependentColumns(factor.r, resolved), precisionOf<T>, "row",
                      [&](int j) { return std::to_string(factor.r.columns - j); });
    case Of::rows:
      return describe(problem.path, dependentColumns(factor.r, resolved), precisionOf<T>, "row",
                      [](int j) { return std::to_string(j + 1); });
    case Of::columns:
      return describe(problem.path, dependentColumns(factor.r, resolved), precisionOf<T>, "column",
                      columnName);
    case Of::rest:
      break;
  }
  // What a constraint leaves of A has other columns. Those of A are to be found in the two together.
  const int p = problem.constraint->rows;
  Matrix<W> both(p + problem.a.rows, problem.a.columns);
  for (int j = 0; j < both.columns; ++j)
    for (int i = 0; i < both.rows; ++i)
      both(i, j) = W(i < p ? (*problem.constraint)(i, j) : problem.a(i - p, j));
  return describe(problem.path, dependentColumns(HouseholderQr<W>(both).r(), resolved), precisionOf<T>,
                  "column", columnName);
}

// --- Solving

// The same columns with rows of zeros below, or without the last rows.
template <class T>
Matrix<T> resized(const Matrix<T>& a, int rows) {
  Matrix<T> result(rows, a.columns);
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < std::min(rows, a.rows); ++i) result(i, j) = a(i, j);
  return result;
}

// By the host interface. The operands are copied: what is reported needs them.
template <class T>
toviStatus call(const Problem<T>& problem, Solution<T>& solution, double& time) {
  const int m = problem.a.rows, n = problem.a.columns;
  solution = {Matrix<T>(n, 1), problem.a, problem.constraint};
  T* const a = solution.a.values.data();
  toviStatus status = toviNoError;
  if (problem.constraint) {
    const int p = problem.constraint->rows;
    Matrix<T> c = problem.b, d = *problem.d;
    time = seconds([&] {
      status = gglse(m, n, p, a, m, solution.constraint->values.data(), p, c.values.data(), d.values.data(),
                     solution.x.values.data());
    });
  } else {
    Matrix<T> b = resized(problem.b, std::max(m, n));
    time = seconds([&] { status = gels(m, n, b.columns, a, m, b.values.data(), b.rows); });
    solution.x = resized(b, n);
  }
  return status;
}

template <class T>
Solution<T> solveFromHost(const Problem<T>& problem, double& time) {
  Solution<T> solution{Matrix<T>(0, 0), Matrix<T>(0, 0), {}};
  const toviStatus status = call(problem, solution, time);
  if (status == toviDataError || (status == toviNoError && !isFinite(solution.x)))
    for (const Factor<Wide<T>>& factor : factorsOf(problem, solution))
      if (!conditionOf(problem, factor).isResolved()) warn(dependences(problem, factor));
  check(status, problem.path);
  return solution;
}

// The same on operands that are on the device already: only the call is timed.
template <class T>
double timeOnDevice(const Problem<T>& problem) {
  const int m = problem.a.rows, n = problem.a.columns;
  const DeviceMatrix<T> dA(problem.a);
  if (!problem.constraint) {
    const DeviceMatrix<T> dB(resized(problem.b, std::max(m, n)));
    return seconds([&] {
      check(deviceGels(m, n, problem.b.columns, dA.get(), dA.ld(), dB.get(), dB.ld()), problem.path);
    });
  }
  const DeviceMatrix<T> dB(*problem.constraint), dC(problem.b), dD(*problem.d), dX(n, 1);
  return seconds([&] {
    check(deviceGglse(m, n, problem.constraint->rows, dA.get(), dA.ld(), dB.get(), dB.ld(), dC.get(),
                      dD.get(), dX.get()),
          problem.path);
  });
}

// What the same operands give in double precision; no numbers, where that finds no solution.
template <class T>
Matrix<Wide<T>> solveInDouble(const Problem<T>& problem) {
  using W = Wide<T>;
  Problem<W> wide{problem.path, {}, {}, converted<W>(problem.a), converted<W>(problem.b), {}, {}};
  if (problem.constraint) {
    wide.constraint = converted<W>(*problem.constraint);
    wide.d = converted<W>(*problem.d);
  }
  Solution<W> solution{Matrix<W>(0, 0), Matrix<W>(0, 0), {}};
  double time = 0.0;
  const toviStatus status = call(wide, solution, time);
  if (status == toviDataError) return Matrix<W>(problem.a.columns, problem.b.columns, W(NAN));
  check(status, problem.path + ": in double precision");
  return solution.x;
}

// --- Reporting

struct Report {
  std::string matrix, problem, device;
  int rows = 0, columns = 0, rightHandSides = 0;
  bool inDouble = false;
  Speed speed;
  double residual = 0.0, residualRatio = 0.0;  // these and what follows: the largest of the columns
  std::optional<double> optimality;            // none where the residual is not what is made least
  std::optional<double> constraint;            // its residual ratio
  std::optional<double> difference;            // max |x - y| / |y|, y in double precision
  Condition condition;
  std::vector<std::string> warnings;
};

constexpr const char* minimumNorm = "minimum norm";

CsvRow csvRow(const Report& report) {
  const auto field = [](const std::optional<double>& value) {
    return value ? number("%.6g", *value) : std::string();
  };
  CsvRow row = {{"rows", std::to_string(report.rows)},
                {"columns", std::to_string(report.columns)},
                {"right_hand_sides", std::to_string(report.rightHandSides)},
                {"problem", report.problem}};
  addPrecision(row, report.inDouble);
  report.speed.addTo(row);
  row.insert(row.end(), {{"residual_norm", number("%.6g", report.residual)},
                         {"residual_ratio", number("%.6g", report.residualRatio)},
                         {"optimality", field(report.optimality)},
                         {"constraint", field(report.constraint)},
                         {"difference", field(report.difference)}});
  report.condition.addTo(row);
  row.insert(row.end(), {{"matrix", quoted(report.matrix)}, {"device", quoted(report.device)}});
  return row;
}

// largest := the larger one, or NaN once there has been one.
void keepLargest(double& largest, double value) {
  if (!(value <= largest) && !std::isnan(largest)) largest = value;
}

// The greater condition, where a constraint has one and what it leaves of A another.
template <class T>
void judge(const Problem<T>& problem, const Solution<T>& solution, Report& report) {
  using W = Wide<T>;
  for (const Factor<W>& factor : factorsOf(problem, solution)) {
    const bool ofConstraint = factor.of == Factor<W>::Of::constraints;
    const Condition condition = conditionOf(problem, factor);
    if (condition.value > report.condition.value) report.condition = condition;
    if (condition.isResolved()) continue;
    report.warnings.push_back((ofConstraint ? problem.constraintPath : problem.path) + ": " +
                              condition.warning());
    for (std::string& line : dependences(problem, factor)) report.warnings.push_back(std::move(line));
  }
}

// Of one solution to its residual, which may leave no digit where the condition does.
template <class T>
void addSensitivity(const Problem<T>& problem, const Matrix<Wide<T>>& a, const Matrix<Wide<T>>& x,
                    const Matrix<Wide<T>>& b, Report& report) {
  const bool wasResolved = report.condition.isResolved();
  const Matrix<Wide<T>> r = residual(a, x, b);
  Matrix<Wide<T>> image = b;
  for (std::size_t k = 0; k < image.values.size(); ++k) image.values[k] -= r.values[k];
  report.condition.addResidual(norm(r) / norm(image), a.rows, a.columns);
  if (wasResolved && !report.condition.isResolved())
    report.warnings.push_back(problem.path + ": " + report.condition.warning());
}

template <class T>
void measure(const Problem<T>& problem, const Matrix<T>& solution, Report& report) {
  using W = Wide<T>;
  const Matrix<W> a = converted<W>(problem.a);
  std::optional<Matrix<W>> constraint;
  if (problem.constraint) constraint = converted<W>(*problem.constraint);
  const bool leastNorm = a.rows < a.columns && !constraint;
  for (int j = 0; j < solution.columns; ++j) {
    const Matrix<W> x = converted<W>(columnOf(solution, j)), b = converted<W>(columnOf(problem.b, j));
    const double ratio = residualRatio<T>(a, x, b);
    keepLargest(report.residual, norm(residual(a, x, b)));
    keepLargest(report.residualRatio, ratio);
    // A residual of a few roundings has no direction that could be asked for. Where x is large without need
    // its terms' roundings say nothing.
    if (!leastNorm && !(report.condition.isResolved() && isRoundingError<T>(a, x, b))) {
      if (!report.optimality) report.optimality = 0.0;
      keepLargest(*report.optimality, optimalityRatio<T>(a, x, b, constraint));
    }
    if (!leastNorm && !isRoundingError<T>(a, x, b)) addSensitivity(problem, a, x, b, report);
    if (constraint) report.constraint = residualRatio<T>(*constraint, x, converted<W>(*problem.d));
  }
}

template <class W>
double largestDifference(const Matrix<W>& x, const Matrix<W>& y) {
  double largest = 0.0;
  for (std::size_t k = 0; k < x.values.size(); ++k) {
    const double difference = std::abs(x.values[k] - y.values[k]) / std::abs(y.values[k]);
    if (x.values[k] != y.values[k]) keepLargest(largest, difference);
  }
  return largest;
}

std::string valueText(bool inDouble, double value) { return number(inDouble ? "%.16g" : "%.7g", value); }
std::string valueText(bool inDouble, std::complex<double> value) {
  return valueText(inDouble, value.real()) + number(inDouble ? "%+.16gi" : "%+.7gi", value.imag());
}

// One line a coefficient: every column of x and, where there is one, its reference.
template <class T, class W = Wide<T>>
std::string coefficientTable(const std::vector<std::string>& names, const Matrix<W>& x,
                             const std::optional<Matrix<W>>& reference) {
  std::size_t widest = std::string("coefficient").size();
  for (const std::string& name : names) widest = std::max(widest, name.size());
  constexpr int valueWidth = isDouble<T> ? (isComplex<T> ? 50 : 26) : (isComplex<T> ? 30 : 18);
  std::ostringstream text;
  const auto beginLine = [&](const std::string& name) {
    text << std::left << std::setw(static_cast<int>(widest)) << name << std::right;
  };
  beginLine("coefficient");
  for (int j = 0; j < x.columns; ++j) {
    text << std::setw(valueWidth) << "value";
    if (reference) text << std::setw(valueWidth) << "double precision";
  }
  for (int i = 0; i < x.rows; ++i) {
    beginLine('\n' + names[static_cast<std::size_t>(i)]);
    for (int j = 0; j < x.columns; ++j) {
      text << std::setw(valueWidth) << valueText(isDouble<T>, x(i, j));
      if (reference) text << std::setw(valueWidth) << valueText(isDouble<T>, (*reference)(i, j));
    }
  }
  return text.str() + '\n';
}

std::string text(const Report& report) {
  std::string lines =
      report.speed.text() + "residual norm   " + number("%.6g\n", report.residual) + "optimality      ";
  if (report.optimality)
    lines += number("%.3g\n", *report.optimality);
  else
    lines += (report.problem == minimumNorm ? "none: x is the solution of least norm; residual "
                                            : "none: the residual is within the rounding error of A x, ") +
             number("%.3g max(m,n) eps (||A|| ||x|| + ||b||)\n", report.residualRatio);
  if (report.constraint) lines += "constraint      " + number("%.3g\n", *report.constraint);
  if (report.difference)
    lines +=
        "difference      " + number("%.3g, largest relative one from double precision\n", *report.difference);
  return lines + report.condition.text();
}

template <class R>
std::string matrixText(const LstsqOptions& options, const Sources<R>& sources) {
  std::string text =
      options.matrix + ": " + std::to_string(sources.m()) + " x " + std::to_string(sources.n());
  if (sources.matrix) {
    const Header& header = sources.matrix->header();
    text += ", " + header.kind + ", " + counted(header.entries, "entry", "entries");
  }
  if (!options.response.empty()) text += ", response " + options.response;
  if (options.intercept) text += ", intercept";
  if (sources.constraint) text += "; " + counted(sources.p(), "constraint", "constraints");
  return text + "; " + rightHandSides(sources.columns());
}

template <class T>
bool lstsqAs(const LstsqOptions& options, Sources<Real<T>>& sources, Outputs& outputs) {
  Report report;
  report.matrix = options.matrix;
  report.problem = sources.constraint           ? "constrained least squares"
                   : sources.m() >= sources.n() ? "least squares"
                                                : minimumNorm;
  report.rows = sources.m();
  report.columns = sources.n();
  report.rightHandSides = sources.columns();
  report.inDouble = isDouble<T>;

  const Session session(options.device);
  report.device = deviceText(session.device());
  std::cout << "device          " << report.device << '\n'
            << "matrix          " << printable(matrixText(options, sources)) << '\n'
            << "problem         " << report.problem << '\n'
            << precisionText(report.inDouble) << std::flush;
  const double m = report.rows, n = report.columns, p = sources.p();
  std::string size = ": too large: " + std::to_string(report.rows) + " x " + std::to_string(report.columns);
  if (report.rightHandSides > 1) size += " with " + rightHandSides(report.rightHandSides);
  if (sources.constraint) size += " with " + counted(sources.p(), "constraint", "constraints");
  checkMemory(options.matrix + size, (m * n + std::max(m, n) * report.rightHandSides + p * n) * sizeof(T));

  const Problem<T> problem = read<T>(options, sources);
  report.speed.flops = problem.flops();
  // The first call of a process starts the device's threads, or loads its kernels: not part of the figures.
  const Matrix<T> one(1, 1, T(1));
  Problem<T> first{"first call", {}, {}, one, one, {}, {}};
  if (problem.constraint) first.constraint = first.d = one;
  solveFromHost(first, report.speed.withTransfers);
  const Solution<T> solution = solveFromHost(problem, report.speed.withTransfers);
  const Matrix<T>& x = solution.x;
  checkFinite(options.matrix, x);
  report.speed.withoutTransfers = timeOnDevice(problem);
  judge(problem, solution, report);
  measure(problem, x, report);

  const Matrix<Wide<T>> wideX = converted<Wide<T>>(x);
  std::optional<Matrix<Wide<T>>> reference;
  if (options.reference) {
    reference = solveInDouble(problem);
    report.difference = largestDifference(wideX, *reference);
  }
  std::cout << text(report);
  if (sources.design) std::cout << '\n' << coefficientTable<T>(sources.design->names, wideX, reference);
  std::cout << std::flush;
  warn(report.warnings);
  if (!options.output.empty())
    outputs.write(options.output, [&](std::ostream& file) { writeMatrixMarket(file, x); });
  if (!options.csv.empty()) appendCsv(options.csv, csvRow(report));
  outputs.takePlaces();
  return report.condition.isResolved();
}

template <class R>
bool lstsqIn(const LstsqOptions& options, Outputs& outputs) {
  Sources<R> sources(options);
  return sources.isComplex() ? lstsqAs<std::complex<R>>(options, sources, outputs)
                             : lstsqAs<R>(options, sources, outputs);
}

}  // namespace

bool lstsq(const LstsqOptions& options) {
  std::vector<std::string> inputs = options.constraint;
  inputs.insert(inputs.end(), {options.matrix, options.rightHandSide});
  Outputs outputs(inputs, {options.output}, options.csv);
  Report names;
  names.inDouble = options.inDouble;
  checkCsv(options.csv, csvRow(names));
  if (options.inDouble && options.reference)
    throw Failure("--reference compares with double precision, which --precision double computes in");
  return options.inDouble ? lstsqIn<double>(options, outputs) : lstsqIn<float>(options, outputs);
}

}  // namespace tool
