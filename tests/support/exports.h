// The computational exports as a table: what every argument is, what must hold for it, and what of every
// array is read and written. Element types, and which arrays are read only, come from the exported functions
// themselves. With it one test body serves all exports.

#ifndef TOVI_TESTS_SUPPORT_EXPORTS_H
#define TOVI_TESTS_SUPPORT_EXPORTS_H

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/interface.h"

namespace testing_support {

// --- Values and types of arguments

struct Value {
  char option = 0;
  int number = 0;
  double re = 0, im = 0;
  void* address = nullptr;
};

struct Element {
  int parts = 0;  // 2: complex
  std::size_t partBytes = 0;
  bool integer = false;
  std::size_t bytes() const { return static_cast<std::size_t>(parts) * partBytes; }
};

// Of scalars and arrays; options and numbers have no element.
struct Type {
  Element element;
  bool constant = false;
};

template <class E>
constexpr Element elementOf() {
  if constexpr (std::is_same_v<E, int>)
    return {1, sizeof(int), true};
  else if constexpr (std::is_floating_point_v<E>)
    return {1, sizeof(E), false};
  else
    return {2, sizeof(E) / 2, false};
}

template <class P>
Type typeOf() {
  if constexpr (std::is_pointer_v<P>) {
    using E = std::remove_pointer_t<P>;
    return {elementOf<std::remove_const_t<E>>(), std::is_const_v<E>};
  } else if constexpr (std::is_integral_v<P>) {
    return {};
  } else {
    return {elementOf<P>(), true};
  }
}

template <class P>
P argument(const Value& value) {
  if constexpr (std::is_pointer_v<P>)
    return static_cast<P>(value.address);
  else if constexpr (std::is_same_v<P, char>)
    return value.option;
  else if constexpr (std::is_same_v<P, int>)
    return value.number;
  else if constexpr (std::is_floating_point_v<P>)
    return static_cast<P>(value.re);
  else
    return {static_cast<decltype(P::real)>(value.re), static_cast<decltype(P::imag)>(value.im)};
}

// --- Families

enum class Kind { option, size, scalar, array, ld, increment };
enum class Part { all, lower, upper, strictlyLower, strictlyUpper };

// The elements that the routine may read or write. diagonal: the column in which the diagonal starts that has
// to be large for the problem to be well conditioned.
struct Shape {
  int rows = 0, cols = 0;
  Part part = Part::all;
  int diagonal = 0;
  bool empty() const { return rows <= 0 || cols <= 0; }
};

struct Family;

// The arguments of a call by name, options in upper case.
class Arguments {
 public:
  Arguments(const Family& family, const std::vector<Value>& values) : family_(family), values_(values) {}
  int operator[](std::string_view name) const { return value(name).number; }
  bool is(std::string_view name, std::string_view options) const {
    return options.find(letter(name)) != std::string_view::npos;
  }
  char letter(std::string_view name) const { return upper(value(name).option); }
  bool isZero(std::string_view name) const { return value(name).re == 0 && value(name).im == 0; }
  static char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

 private:
  const Value& value(std::string_view name) const;

  const Family& family_;
  const std::vector<Value>& values_;
};

using Holds = std::function<bool(const Arguments&)>;
using ShapeOf = std::function<Shape(const Arguments&)>;

// What a data error leaves as it was.
enum class Kept { nowhere, onTheHost, everywhere };

struct Argument {
  Kind kind;
  const char* name;
  std::string_view accepted = {};  // option: one of these
  Holds holds = {};                // option or size: what else must hold
  ShapeOf shape = {};              // array. A leading dimension or increment is that of the array before it.
  bool output = false;             // array: not read
  Kept kept = Kept::nowhere;
  bool evenEmpty = false;  // array: must not be null where the problem needs arrays, elements or not
};

inline Argument option(const char* name, std::string_view accepted, Holds holds = {}) {
  return {Kind::option, name, accepted, std::move(holds)};
}
inline Argument size(const char* name, Holds holds = {}) { return {Kind::size, name, {}, std::move(holds)}; }
inline Argument scalar(const char* name) { return {Kind::scalar, name}; }
inline Argument array(const char* name, ShapeOf shape, Kept kept = Kept::nowhere) {
  return {Kind::array, name, {}, {}, std::move(shape), false, kept};
}
inline Argument output(const char* name, ShapeOf shape, Kept kept = Kept::nowhere) {
  return {Kind::array, name, {}, {}, std::move(shape), true, kept};
}
inline Argument ld(const char* name) { return {Kind::ld, name}; }
inline Argument increment(const char* name) { return {Kind::increment, name}; }

struct Family {
  const char* name;
  std::vector<Argument> arguments;
  Holds needsArrays;    // null arrays are refused
  Holds nothingToDo;    // nothing is read or written
  int leastLd = 1;      // of a matrix without rows
  bool lapack = false;  // data errors are possible
  // Sizes in the order of the arguments: small problems for all that is done once, and for the factorizations
  // such of several blocks, which are 32 wide on capability 1.3 (64 for LU), in every shape. Equal sizes
  // differ in their options.
  std::vector<std::vector<int>> problems = {{9, 10, 11}, {33, 34, 35}, {12, 13, 14}};
};

inline const Value& Arguments::value(std::string_view name) const {
  std::size_t i = 0;
  while (i < family_.arguments.size() && family_.arguments[i].name != name) ++i;
  EXPECT_LT(i, family_.arguments.size()) << family_.name << " has no argument " << name;
  return values_.at(i);
}

// A rows x cols matrix by the names of its sizes.
inline ShapeOf by(const char* rows, const char* cols) {
  return [=](const Arguments& a) { return Shape{a[rows], a[cols]}; };
}
// The same, or its transpose where op(A) is one.
inline ShapeOf by(const char* trans, const char* rows, const char* cols) {
  return [=](const Arguments& a) {
    return a.is(trans, "N") ? Shape{a[rows], a[cols]} : Shape{a[cols], a[rows]};
  };
}
inline Part storedPart(const Arguments& a, bool unit = false) {
  if (a.is("uplo", "L")) return unit ? Part::strictlyLower : Part::lower;
  return unit ? Part::strictlyUpper : Part::upper;
}
inline int shorter(const Arguments& a) { return std::min(a["m"], a["n"]); }
inline Holds nonzero(std::vector<const char*> sizes) {
  return [=](const Arguments& a) {
    return std::all_of(sizes.begin(), sizes.end(), [&](const char* name) { return a[name] != 0; });
  };
}
inline Holds anyZero(std::vector<const char*> sizes) {
  return [=](const Arguments& a) { return !nonzero(sizes)(a); };
}

inline Family triangularFamily(const char* name, int leastLd) {
  const ShapeOf triangle = [](const Arguments& a) {
    const int order = a.is("side", "L") ? a["m"] : a["n"];
    return Shape{order, order, storedPart(a, a.is("diag", "U"))};
  };
  return {
      name,
      {option("side", "LR"), option("uplo", "LU"), option("transa", "NTC"), option("diag", "UN"), size("m"),
       size("n"), scalar("alpha"), array("a", triangle), ld("lda"), array("b", by("m", "n")), ld("ldb")},
      nonzero({"m", "n"}),
      anyZero({"m", "n"}),
      leastLd};
}

inline Family symmetricFamily(const char* name) {
  const ShapeOf triangle = [](const Arguments& a) {
    const int order = a.is("side", "L") ? a["m"] : a["n"];
    return Shape{order, order, storedPart(a)};
  };
  return {name,
          {option("side", "LR"), option("uplo", "UL"), size("m"), size("n"), scalar("alpha"),
           array("a", triangle), ld("lda"), array("b", by("m", "n")), ld("ldb"), scalar("beta"),
           array("c", by("m", "n")), ld("ldc")},
          nonzero({"m", "n"}),
          anyZero({"m", "n"}),
          0};
}

inline Family rankUpdateFamily(const char* name, const char* transposes, int operands, int leastLd) {
  const ShapeOf triangle = [](const Arguments& a) { return Shape{a["n"], a["n"], storedPart(a)}; };
  Family family{name,
                {option("uplo", "UL"), option("trans", transposes), size("n"), size("k"), scalar("alpha"),
                 array("a", by("trans", "n", "k")), ld("lda")},
                nonzero({"n", "k"}),
                anyZero({"n"}),
                leastLd};
  if (operands == 2) {
    family.arguments.push_back(array("b", by("trans", "n", "k")));
    family.arguments.push_back(ld("ldb"));
  }
  for (const Argument& last : {scalar("beta"), array("c", triangle), ld("ldc")})
    family.arguments.push_back(last);
  return family;
}

inline const std::vector<Family>& families() {
  static const auto vector = [](const char* rows) {
    return [=](const Arguments& a) { return Shape{a[rows], 1}; };
  };
  static const auto strided = [](const char* whenN, const char* otherwise) {
    return [=](const Arguments& a) { return Shape{1, a[a.is("trans", "N") ? whenN : otherwise]}; };
  };
  static const ShapeOf diagonal = [](const Arguments& a) { return Shape{shorter(a), 1}; };
  static const auto separate = [](const Arguments& a, const char* job) { return a.is(job, "AS"); };

  static const std::vector<Family> all = [] {
    Argument solutions = array("b", by("n", "nrhs"), Kept::everywhere);
    solutions.evenEmpty = true;
    return std::vector<Family>{
        {"gemm",
         {option("transa", "NTC"), option("transb", "NTC"), size("m"), size("n"), size("k"), scalar("alpha"),
          array("a", by("transa", "m", "k")), ld("lda"), array("b", by("transb", "k", "n")), ld("ldb"),
          scalar("beta"), array("c", by("m", "n")), ld("ldc")},
         nonzero({"m", "n", "k"}),
         anyZero({"m", "n"}),
         0},
        {"gemv",
         {option("trans", "NTC"), size("m"), size("n"), scalar("alpha"), array("a", by("m", "n")), ld("lda"),
          array("x", strided("n", "m")), increment("incx"), scalar("beta"), array("y", strided("m", "n")),
          increment("incy")},
         nonzero({"m", "n"}),
         anyZero({"m", "n"})},
        triangularFamily("trsm", 0),
        triangularFamily("trmm", 1),
        symmetricFamily("symm"),
        symmetricFamily("hemm"),
        rankUpdateFamily("syrk", "TN", 1, 1),
        rankUpdateFamily("herk", "NC", 1, 1),
        rankUpdateFamily("syr2k", "NT", 2, 0),
        rankUpdateFamily("her2k", "NC", 2, 0),
        {"getrf",
         {size("m"), size("n"), array("a", by("m", "n")), ld("lda"), output("ipiv", diagonal)},
         nonzero({"m", "n"}),
         anyZero({"m", "n"}),
         1,
         true,
         {{9, 10}, {80, 130}}},
        {"gesv",
         {size("n"), size("nrhs"), array("a", by("n", "n")), ld("lda"), output("ipiv", vector("n")),
          solutions, ld("ldb")},
         nonzero({"n"}),
         anyZero({"n"}),
         1,
         true,
         {{10, 2}, {130, 2}}},
        {"geqrf",
         {size("m"), size("n"), array("a", by("m", "n")), ld("lda"), output("tau", diagonal)},
         [](const Arguments& a) { return shorter(a) != 0 && (a["m"] > 1 || a["n"] > 1); },
         anyZero({"m", "n"}),
         1,
         true,
         {{20, 20}, {100, 97}, {70, 100}}},
        {"gels",
         {option("trans", "NTC"), size("m"), size("n"), size("nrhs"), array("a", by("m", "n")), ld("lda"),
          array("b",
                [](const Arguments& a) {
                  return Shape{std::max(a["m"], a["n"]), a["nrhs"]};
                }),
          ld("ldb")},
         nonzero({"m", "n", "nrhs"}),
         [](const Arguments&) { return false; },
         1,
         true,
         {{20, 10, 2}, {80, 50, 2}, {50, 80, 2}, {50, 80, 2}}},
        {"gesvd",
         {option("jobu", "ASON"),
          option("jobvt", "ASON",
                 [](const Arguments& a) { return !a.is("jobu", "O") || !a.is("jobvt", "O"); }),
          size("m"), size("n"), array("a", by("m", "n"), Kept::onTheHost), ld("lda"),
          output("s", diagonal, Kept::onTheHost),
          output(
              "u",
              [](const Arguments& a) {
                return separate(a, "jobu") ? Shape{a["m"], a.is("jobu", "A") ? a["m"] : shorter(a)} : Shape{};
              },
              Kept::onTheHost),
          ld("ldu"),
          output(
              "vt",
              [](const Arguments& a) {
                return separate(a, "jobvt") ? Shape{a.is("jobvt", "A") ? a["n"] : shorter(a), a["n"]}
                                            : Shape{};
              },
              Kept::onTheHost),
          ld("ldvt")},
         nonzero({"m", "n"}),
         anyZero({"m", "n"}),
         1,
         true,
         {{9, 4}, {5, 6}, {36, 34}, {34, 36}, {34, 33}, {33, 70}}},
        {"gglse",
         {size("m"), size("n"),
          size("p", [](const Arguments& a) { return a["p"] <= a["n"] && a["p"] >= a["n"] - a["m"]; }),
          array("a", by("m", "n")), ld("lda"),
          array("b",
                [](const Arguments& a) {
                  return Shape{a["p"], a["n"], Part::all, std::max(0, a["n"]) - std::max(0, a["p"])};
                }),
          ld("ldb"), array("c", vector("m")), array("d", vector("p")),
          output("x", vector("n"), Kept::onTheHost)},
         nonzero({"n"}),
         anyZero({"n"}),
         1,
         true,
         {{20, 15, 10}, {60, 80, 40}, {80, 60, 40}}},
    };
  }();
  return all;
}

// --- Exports

struct Export {
  std::string name;
  Memory where;
  const Family* family;
  std::vector<Type> types;
  std::function<toviStatus(const std::vector<Value>&)> call;
};

class ExportTable {
 public:
  ExportTable() {
    addAll<float>("S");
    addAll<double>("D");
    addAll<Complex<float>>("C");
    addAll<Complex<double>>("Z");
  }
  std::vector<Export> all;

 private:
  template <class T>
  void addAll(const char* precision) {
    const auto both = [&](const char* family, const auto& exports) {
      add(precision, family, exports[0], exports[1]);
    };
#define TOVI_ROW(P, family) both(#family, Exports<T>::family);
    TOVI_BLAS(TOVI_ROW, )
    if constexpr (tovi::isComplex<T>) {
      TOVI_HERMITIAN_BLAS(TOVI_ROW, )
    }
    if constexpr (std::is_same_v<Real<T>, float>) {
      TOVI_LAPACK(TOVI_ROW, )
    }
#undef TOVI_ROW
  }
  template <class... P>
  void add(const char* precision, std::string_view family, toviStatus (*host)(P...),
           toviStatus (*device)(P...)) {
    const auto row = std::find_if(families().begin(), families().end(),
                                  [&](const Family& one) { return one.name == family; });
    for (const Memory where : bothInterfaces) {
      const auto function = where == Memory::host ? host : device;
      all.push_back({std::string(where == Memory::host ? "tovi" : "toviDevice") + precision + row->name,
                     where,
                     &*row,
                     {typeOf<P>()...},
                     [function](const std::vector<Value>& values) {
                       return invoke(function, values, std::index_sequence_for<P...>());
                     }});
    }
  }
  template <class... P, std::size_t... I>
  static toviStatus invoke(toviStatus (*function)(P...), const std::vector<Value>& values,
                           std::index_sequence<I...>) {
    return function(argument<P>(values[I])...);
  }
};

// All of them, 68 of BLAS and 24 of LAPACK.
inline const std::vector<Export>& allExports() {
  static const ExportTable table;
  return table.all;
}

}  // namespace testing_support

#endif
