// The computational exports as a table: what every argument is, what must hold for it, and what of every
// array is read and written. Element types, and which arrays are read only, come from the exported functions
// themselves. With it one test body serves all exports.

#ifndef TOVI_TESTS_SUPPORT_EXPORTS_H
#define TOVI_TESTS_SUPPORT_EXPORTS_H

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <sstream>
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

// The elements that the routine may read or write. For the problem to be well conditioned the diagonal that
// starts in the column `diagonal` has to be large, or all elements have to be small.
struct Shape {
  int rows = 0, cols = 0;
  Part part = Part::all;
  int diagonal = 0;
  bool small = false;
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
  std::string name;
  std::string accepted = {};  // option: one of these
  ShapeOf shape = {};         // array. A leading dimension or increment is that of the array before it.
  bool output = false;        // array: not read
  Holds holds = {};           // option or size: what else must hold
  Kept kept = Kept::nowhere;
  bool onHost = false;     // array: in host memory in either interface
  bool evenEmpty = false;  // array: must not be null where the problem needs arrays, elements or not
};

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

  Argument& operator[](std::string_view argument) {
    return *std::find_if(arguments.begin(), arguments.end(),
                         [&](const Argument& one) { return one.name == argument; });
  }
};

inline const Value& Arguments::value(std::string_view name) const {
  std::size_t i = 0;
  while (i < family_.arguments.size() && family_.arguments[i].name != name) ++i;
  EXPECT_LT(i, family_.arguments.size()) << family_.name << " has no argument " << name;
  return values_.at(i);
}

inline int shorter(const Arguments& a) { return std::min(a["m"], a["n"]); }

// A number of rows or columns by its word: a size, or what is made of several arguments.
inline int extent(const Arguments& a, const std::string& word) {
  if (word == "1") return 1;
  if (word == "min") return shorter(a);
  if (word == "max") return std::max(a["m"], a["n"]);
  if (word == "order") return a[a.is("side", "L") ? "m" : "n"];
  if (word == "op-rows") return a[a.is("trans", "N") ? "m" : "n"];
  if (word == "op-cols") return a[a.is("trans", "N") ? "n" : "m"];
  return a[word];
}

inline std::vector<std::string> wordsOf(std::string text, const char* separators = " ") {
  for (char& c : text)
    if (std::strchr(separators, c) != nullptr) c = ' ';
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// rows,cols and what else there is of a shape: the option that transposes it, or the triangle, of which with
// "unit" the diagonal is not there where diag says so; "below", what is below the diagonal; "small".
inline ShapeOf shapeOf(const std::vector<std::string>& words) {
  return
      [rows = words.at(0), cols = words.at(1), more = words.size() > 2 ? words[2] : ""](const Arguments& a) {
        Shape shape{extent(a, rows), extent(a, cols)};
        if (more == "uplo" || more == "unit") {
          const bool strictly = more == "unit" && a.is("diag", "U");
          shape.part = a.is("uplo", "L") ? (strictly ? Part::strictlyLower : Part::lower)
                                         : (strictly ? Part::strictlyUpper : Part::upper);
        } else if (more == "below") {
          shape.part = Part::strictlyLower;
        } else if (more == "small") {
          shape.small = true;
        } else if (!more.empty() && !a.is(more, "N")) {
          std::swap(shape.rows, shape.cols);
        }
        return shape;
      };
}

// Arguments in the order of the header: options with what they accept, arrays with their shapes and a '>'
// where they are not read. The other names say what they are.
inline std::vector<Argument> argumentsOf(const char* text) {
  std::vector<Argument> all;
  for (const std::string& word : wordsOf(text)) {
    const std::vector<std::string> parts = wordsOf(word, "=(,)>");
    Argument argument{Kind::size, parts[0]};
    if (word.find('=') != std::string::npos)
      argument.kind = Kind::option, argument.accepted = parts[1];
    else if (word.find('(') != std::string::npos)
      argument.kind = Kind::array, argument.shape = shapeOf({parts.begin() + 1, parts.end()}),
      argument.output = word.back() == '>';
    else if (word == "alpha" || word == "beta")
      argument.kind = Kind::scalar;
    else if (word.rfind("ld", 0) == 0 || word.rfind("inc", 0) == 0)
      argument.kind = word[0] == 'l' ? Kind::ld : Kind::increment;
    all.push_back(argument);
  }
  return all;
}

inline Holds nonzero(const char* sizes) {
  return [names = wordsOf(sizes)](const Arguments& a) {
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) { return a[name] != 0; });
  };
}
inline Holds anyZero(const char* sizes) {
  return [all = nonzero(sizes)](const Arguments& a) { return !all(a); };
}

inline Family blasFamily(const char* name, const char* arguments, const char* needed, const char* result,
                         int leastLd) {
  return {name, argumentsOf(arguments), nonzero(needed), anyZero(result), leastLd};
}

inline const std::vector<Family>& families() {
  static const std::vector<Family> all = [] {
    const char* const triangular =
        "side=LR uplo=LU transa=NTC diag=UN m n alpha a(order,order,unit) lda b(m,n) ldb";
    const char* const symmetric =
        "side=LR uplo=UL m n alpha a(order,order,uplo) lda b(m,n) ldb beta c(m,n) ldc";
    const char* const hermitianEigen = "jobz=NV uplo=LU n a(n,n) lda w(n,1)>";
    const auto update = [](const char* name, const std::string& transposes, const char* second, int leastLd) {
      const std::string arguments =
          "uplo=UL trans=" + transposes + " n k alpha a(n,k,trans) lda " + second + " beta c(n,n,uplo) ldc";
      return blasFamily(name, arguments.c_str(), "n k", "n", leastLd);
    };
    const char* const second = "b(n,k,trans) ldb";
    const auto lapackFamily = [](const char* name, const char* arguments, const char* sizes,
                                 const std::vector<std::vector<int>>& problems) {
      return Family{name, argumentsOf(arguments), nonzero(sizes), anyZero(sizes), 1, true, problems};
    };
    const auto productWithQ = [&](const char* name, const std::string& transposes) {
      const std::string arguments =
          "side=LR trans=" + transposes + " m n k a(order,k,below) lda tau(k,1,small) c(m,n) ldc";
      Family family = lapackFamily(name, arguments.c_str(), "m n k", {{20, 19, 10}, {100, 97, 70}});
      family["k"].holds = [](const Arguments& a) { return a["k"] <= extent(a, "order"); };
      return family;
    };
    const auto generationOfQ = [&](const char* name) {
      Family family =
          lapackFamily(name, "m n k a(m,n) lda tau(k,1,small)", "n", {{20, 15, 10}, {100, 97, 70}});
      family["n"].holds = [](const Arguments& a) { return a["n"] <= a["m"]; };
      family["k"].holds = [](const Arguments& a) { return a["k"] <= a["n"]; };
      return family;
    };
    const auto refined = [&](const char* name) {
      Family family =
          lapackFamily(name, "n nrhs a(n,n) lda ipiv(n,1)> b(n,nrhs) ldb x(n,nrhs)> ldx iter(1,1)>", "n",
                       {{10, 2}, {130, 2}});
      family.nothingToDo = [](const Arguments&) { return false; };
      family["x"].kept = Kept::onTheHost;
      family["iter"].onHost = true;
      return family;
    };
    std::vector<Family> rows = {
        blasFamily("gemm",
                   "transa=NTC transb=NTC m n k alpha a(m,k,transa) lda b(k,n,transb) ldb beta c(m,n) ldc",
                   "m n k", "m n", 0),
        blasFamily("gemv", "trans=NTC m n alpha a(m,n) lda x(1,op-cols) incx beta y(1,op-rows) incy", "m n",
                   "m n", 1),
        blasFamily("trsm", triangular, "m n", "m n", 0),
        blasFamily("trmm", triangular, "m n", "m n", 1),
        blasFamily("symm", symmetric, "m n", "m n", 0),
        blasFamily("hemm", symmetric, "m n", "m n", 0),
        update("syrk", "TN", "", 1),
        update("herk", "NC", "", 1),
        update("syr2k", "NT", second, 0),
        update("her2k", "NC", second, 0),
        lapackFamily("getrf", "m n a(m,n) lda ipiv(min,1)>", "m n", {{9, 10}, {80, 130}}),
        lapackFamily("gesv", "n nrhs a(n,n) lda ipiv(n,1)> b(n,nrhs) ldb", "n", {{10, 2}, {130, 2}}),
        lapackFamily("geqrf", "m n a(m,n) lda tau(min,1)>", "m n", {{20, 20}, {100, 97}, {70, 100}}),
        lapackFamily("gels", "trans=NTC m n nrhs a(m,n) lda b(max,nrhs) ldb", "m n nrhs",
                     {{20, 10, 2}, {80, 50, 2}, {50, 80, 2}, {50, 80, 2}}),
        lapackFamily("gesvd", "jobu=ASON jobvt=ASON m n a(m,n) lda s(min,1)> u(m,m)> ldu vt(n,n)> ldvt",
                     "m n", {{9, 4}, {5, 6}, {36, 34}, {34, 36}, {34, 33}, {33, 70}}),
        lapackFamily("gesdd", "jobz=ASON m n a(m,n) lda s(min,1)> u(m,m)> ldu vt(n,n)> ldvt", "m n",
                     {{9, 4}, {5, 6}, {36, 34}, {34, 36}, {33, 70}, {70, 33}}),
        lapackFamily("syevd", hermitianEigen, "n", {{9}, {70}, {70}}),
        lapackFamily("heevd", hermitianEigen, "n", {{9}, {70}, {70}}),
        lapackFamily("gglse", "m n p a(m,n) lda b(p,n) ldb c(m,1) d(p,1) x(n,1)>", "n",
                     {{20, 15, 10}, {60, 80, 40}, {80, 60, 40}}),
        lapackFamily("getrs", "trans=NTC n nrhs a(n,n) lda ipiv(n,1) b(n,nrhs) ldb", "n nrhs",
                     {{10, 2}, {130, 2}}),
        lapackFamily("potrf", "uplo=UL n a(n,n,uplo) lda", "n", {{10}, {130}, {129}, {150}}),
        lapackFamily("potrs", "uplo=UL n nrhs a(n,n,uplo) lda b(n,nrhs) ldb", "n nrhs", {{10, 2}, {130, 2}}),
        lapackFamily("posv", "uplo=UL n nrhs a(n,n,uplo) lda b(n,nrhs) ldb", "n", {{10, 2}, {130, 2}}),
        productWithQ("ormqr", "NT"),
        productWithQ("unmqr", "NC"),
        generationOfQ("orgqr"),
        generationOfQ("ungqr"),
        refined("sgesv"),
        refined("cgesv")};
    const auto family = [&](std::string_view name) -> Family& {
      return *std::find_if(rows.begin(), rows.end(), [&](const Family& one) { return one.name == name; });
    };
    // What the words do not say
    family("gesv")["b"].kept = Kept::everywhere, family("gesv")["b"].evenEmpty = true;
    family("geqrf").needsArrays = [](const Arguments& a) {
      return shorter(a) != 0 && (a["m"] > 1 || a["n"] > 1);
    };
    family("gels").nothingToDo = [](const Arguments&) { return false; };
    Family &gesvd = family("gesvd"), &gglse = family("gglse");
    for (const char* const name : {"a", "s", "u", "vt"}) gesvd[name].kept = Kept::onTheHost;
    gesvd["jobvt"].holds = [](const Arguments& a) { return !a.is("jobu", "O") || !a.is("jobvt", "O"); };
    gesvd["u"].shape = [](const Arguments& a) {
      return a.is("jobu", "AS") ? Shape{a["m"], a.is("jobu", "A") ? a["m"] : shorter(a)} : Shape{};
    };
    gesvd["vt"].shape = [](const Arguments& a) {
      return a.is("jobvt", "AS") ? Shape{a.is("jobvt", "A") ? a["n"] : shorter(a), a["n"]} : Shape{};
    };
    Family& gesdd = family("gesdd");
    for (const char* const name : {"a", "s", "u", "vt"}) gesdd[name].kept = Kept::onTheHost;
    gesdd["u"].shape = [](const Arguments& a) {
      const bool returned = a.is("jobz", "AS") || (a.is("jobz", "O") && a["m"] < a["n"]);
      return returned ? Shape{a["m"], a.is("jobz", "A") ? a["m"] : shorter(a)} : Shape{};
    };
    gesdd["vt"].shape = [](const Arguments& a) {
      const bool returned = a.is("jobz", "AS") || (a.is("jobz", "O") && a["m"] >= a["n"]);
      return returned ? Shape{a.is("jobz", "A") ? a["n"] : shorter(a), a["n"]} : Shape{};
    };
    for (const char* const name : {"syevd", "heevd"})
      for (const char* const array : {"a", "w"}) family(name)[array].kept = Kept::onTheHost;
    gglse["p"].holds = [](const Arguments& a) { return a["p"] <= a["n"] && a["p"] >= a["n"] - a["m"]; };
    gglse["b"].shape = [](const Arguments& a) {
      return Shape{a["p"], a["n"], Part::all, std::max(0, a["n"]) - std::max(0, a["p"])};
    };
    gglse["x"].kept = Kept::onTheHost;
    family("potrf")["a"].kept = family("posv")["a"].kept = Kept::onTheHost;
    family("posv")["b"].kept = Kept::everywhere;
    return rows;
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

  // S, D, C or Z
  char precision() const { return name[where == Memory::host ? 4 : 10]; }
  // The body of a LAPACK routine is one template, so that what takes long need not be tried with each type.
  bool isTypicalInstance() const { return !family->lapack || precision() == 'S' || precision() == 'Z'; }
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
#define TOVI_ROW_AS(P, family, name) both(#name, Exports<T>::family);
#define TOVI_ROW(P, family) TOVI_ROW_AS(P, family, family)
    TOVI_BLAS(TOVI_ROW, )
    if constexpr (tovi::isComplex<T>) {
      TOVI_HERMITIAN_BLAS(TOVI_ROW, )
      TOVI_COMPLEX_LAPACK(TOVI_ROW_AS, )
    } else {
      TOVI_REAL_LAPACK(TOVI_ROW_AS, )
    }
    if constexpr (std::is_same_v<T, double>) {
      TOVI_REFINED(TOVI_ROW_AS, )
    }
    if constexpr (std::is_same_v<T, Complex<double>>) {
      TOVI_COMPLEX_REFINED(TOVI_ROW_AS, )
    }
    TOVI_LAPACK(TOVI_ROW, )
#undef TOVI_ROW
#undef TOVI_ROW_AS
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

// All of them, 68 of BLAS and 116 of LAPACK.
inline const std::vector<Export>& allExports() {
  static const ExportTable table;
  return table.all;
}

}  // namespace testing_support

#endif
