// Calls of any export with operands of any kind, and what every one of them must do: the documented status;
// an argument error, or a problem with nothing to do, changes no byte; success has written every output, with
// finite numbers where the problem is well conditioned, and nothing else. What may not be read is NaN:
// padding, the other triangle, a result with beta = 0. On either side of every array stand bytes that nobody
// may touch.

#ifndef TOVI_TESTS_SUPPORT_CALLS_H
#define TOVI_TESTS_SUPPORT_CALLS_H

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "tests/support/exports.h"

namespace testing_support {

// regular: well conditioned. deficient: small whole numbers, most of them zero. extreme: of very different
// magnitudes. notFinite: as regular, but for a few NaN and infinities.
enum class Data { regular, deficient, extreme, notFinite };

// An array of a call: its bytes before and after, those around it included.
class Operand {
 public:
  Operand(Element element, Shape shape, std::size_t stride, std::size_t guard)
      : element_(element), shape_(shape), guard_(guard) {
    const std::size_t elements = shape.empty() ? 0
                                               : static_cast<std::size_t>(shape.cols - 1) * stride +
                                                     static_cast<std::size_t>(shape.rows);
    before.assign(std::max<std::size_t>(2 * guard + elements * element.bytes(), 16), 0xA5);
    for (std::size_t at = guard; at < guard + elements * element.bytes(); at += element.partBytes)
      std::memcpy(before.data() + at, unset(), element.partBytes);
    for (int j = 0; j < shape.cols; ++j)
      for (int i = 0; i < shape.rows; ++i)
        for (int k = 0; k < element.parts; ++k)
          if (stored(i, j))
            numbers_.push_back(
                {i, j, k == 0,
                 guard +
                     (static_cast<std::size_t>(j) * stride + static_cast<std::size_t>(i)) * element.bytes() +
                     static_cast<std::size_t>(k) * element.partBytes});
  }

  std::vector<unsigned char> before, after;

  bool empty() const { return shape_.empty(); }
  const Shape& shape() const { return shape_; }
  void* in(unsigned char* bytes) const { return bytes + guard_; }

  // Sets every element that may be read: value(i, j, first) for each of its parts.
  template <class NewValue>
  void set(NewValue value) {
    for (const Number& one : numbers_) write(before.data() + one.at, value(one.row, one.col, one.first));
  }
  // The elements that may be read or written, zeros for the others.
  template <class W>
  HostMatrix<W> matrix(const std::vector<unsigned char>& bytes) const {
    HostMatrix<W> a(shape_.rows, shape_.cols);
    for (const Number& one : numbers_) {
      const double value = read(bytes.data() + one.at);
      a(one.row, one.col) += one.first ? makeElement<W>(value, 0) : makeElement<W>(0, value);
    }
    return a;
  }

  bool unchanged() const { return after == before; }
  // Whether all bytes but those of the elements are as they were.
  bool surroundingsUnchanged() const {
    std::vector<unsigned char> rest = after;
    for (const Number& one : numbers_)
      std::memcpy(rest.data() + one.at, before.data() + one.at, element_.partBytes);
    return rest == before;
  }
  // Whether every part of an element has been written where it was unset.
  bool written() const {
    return std::none_of(numbers_.begin(), numbers_.end(), [&](const Number& one) {
      return std::memcmp(after.data() + one.at, unset(), element_.partBytes) == 0;
    });
  }
  bool finite() const {
    return std::all_of(numbers_.begin(), numbers_.end(),
                       [&](const Number& one) { return std::isfinite(read(after.data() + one.at)); });
  }

 private:
  // A real number: an element or half of one, and where its bytes are.
  struct Number {
    int row, col;
    bool first;
    std::size_t at;
  };
  bool stored(int i, int j) const {
    const Part part = shape_.part;
    if (part == Part::all) return true;
    if (i == j) return part == Part::lower || part == Part::upper;
    return (i > j) == (part == Part::lower || part == Part::strictlyLower);
  }

  void write(unsigned char* to, double value) const {
    const float single = static_cast<float>(value);
    if (element_.partBytes == sizeof single)
      std::memcpy(to, &single, sizeof single);
    else
      std::memcpy(to, &value, sizeof value);
  }
  double read(const unsigned char* from) const {
    float single = 0;
    double value = 0;
    if (element_.integer) return 0;
    if (element_.partBytes == sizeof value) {
      std::memcpy(&value, from, sizeof value);
      return value;
    }
    std::memcpy(&single, from, sizeof single);
    return static_cast<double>(single);
  }

  // A NaN that no arithmetic makes, a negative whole number.
  static constexpr std::uint32_t unsetSingle = 0x7FC0BEEF, unsetWhole = 0x80BEEF01;
  static constexpr std::uint64_t unsetDouble = 0x7FF8BEEF0000BEEF;
  const void* unset() const {
    if (element_.integer) return &unsetWhole;
    return element_.partBytes == sizeof unsetSingle ? static_cast<const void*>(&unsetSingle) : &unsetDouble;
  }

  Element element_;
  Shape shape_;
  std::size_t guard_;
  std::vector<Number> numbers_;
};

// Runs just before the routine and just after it, when its operands are where it wants them.
struct Around {
  std::function<void()> before = [] {}, after = [] {};
};

class Call {
 public:
  // The arrays are unset until fill(). null: which of the arguments are null arrays.
  Call(const Export& routine, std::vector<Value> values, std::vector<bool> null, std::size_t guard)
      : routine_(&routine), values_(std::move(values)), null_(std::move(null)) {
    for (std::size_t i = 0; i < values_.size(); ++i)
      operands_.push_back(row(i).kind == Kind::array
                              ? std::make_optional<Operand>(routine.types[i].element,
                                                            row(i).shape(arguments()), stride(i), guard)
                              : std::nullopt);
  }

  const Export& routine() const { return *routine_; }
  const Family& family() const { return *routine_->family; }
  Arguments arguments() const { return {family(), values_}; }
  Data data() const { return data_; }
  const Element& element() const { return routine_->types[indexOf("a")].element; }
  // Operands as matrices, in double precision. What is not read counts as zero.
  template <class W>
  HostMatrix<W> before(std::string_view name) const {
    const std::size_t i = indexOf(name);
    return isRead(i) ? operands_[i]->matrix<W>(operands_[i]->before)
                     : HostMatrix<W>(operands_[i]->shape().rows, operands_[i]->shape().cols);
  }
  template <class W>
  HostMatrix<W> after(std::string_view name) const {
    const Operand& operand = *operands_[indexOf(name)];
    return operand.matrix<W>(operand.after);
  }
  // A scalar as the routine sees it.
  template <class W>
  W scalar(std::string_view name) const {
    const std::size_t i = indexOf(name);
    const Element& element = routine_->types[i].element;
    const auto rounded = [&](double x) {
      return element.partBytes == sizeof x ? x : static_cast<double>(static_cast<float>(x));
    };
    return makeElement<W>(rounded(values_[i].re), element.parts == 2 ? rounded(values_[i].im) : 0);
  }

  // The error info that the argument check is to give; 0: the call is to be accepted. All tests but those of
  // null arrays come first, both in the order of the arguments.
  int expectedInfo() const {
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (!acceptable(i)) return -static_cast<int>(i) - 1;
    if (!family().needsArrays(arguments())) return 0;
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (null_[i] && (!operands_[i]->empty() || row(i).evenEmpty)) return -static_cast<int>(i) - 1;
    return 0;
  }
  // The complex syr2k is served by the Hermitian routine of CUBLAS, which knows no 'T'.
  bool unknownToCublas() const {
    if (std::string_view(family().name) != "syr2k") return false;
    const std::size_t c = values_.size() - 2;
    return routine_->types[c].element.parts == 2 && arguments().is("trans", "T") && arguments()["n"] > 0 &&
           !null_[c];
  }

  // Also where arrays that nobody asks for are null.
  bool nothingToDo() const {
    if (family().nothingToDo(arguments())) return true;
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (null_[i] && !operands_[i]->empty()) return true;
    return false;
  }

  void fill(Random& random, Data data) {
    data_ = data;
    std::vector<Operand*> readable;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (!operands_[i] || !isRead(i) || operands_[i]->empty()) continue;
      Operand& operand = *operands_[i];
      const Shape shape = operand.shape();
      const double weight = 3 * std::sqrt(std::max(shape.rows, shape.cols));
      const int powers = element().partBytes == sizeof(double) ? 900 : 100;
      const bool unit = shape.part == Part::strictlyLower || shape.part == Part::strictlyUpper;
      operand.set([&](int row, int col, bool first) {
        const double x = random.uniform();
        if (data == Data::deficient) return x < -0.75 ? -1.0 : x > 0.75 ? 1.0 : 0.0;
        if (data == Data::extreme) return std::ldexp(x, random.below(2 * powers) - powers);
        if (unit) return x / shape.rows;
        return first && col - row == shape.diagonal ? x + weight : x;
      });
      readable.push_back(&operand);
    }
    if (data != Data::notFinite || readable.empty()) return;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double bad[] = {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity};
    Operand& operand = *readable[static_cast<std::size_t>(random.below(static_cast<int>(readable.size())))];
    const int every = 1 + random.below(operand.shape().rows * operand.shape().cols);
    int count = 0;
    operand.set(
        [&](int, int, bool) { return ++count % every == 0 ? bad[random.below(3)] : random.uniform(); });
  }

  // Bytes before to where the interface wants them, the call, bytes after.
  toviStatus run(const Around& around = {}) {
    std::vector<std::vector<unsigned char>> host(values_.size());
    std::vector<std::optional<DeviceArray<unsigned char>>> device(values_.size());
    std::vector<Value> values = values_;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (!operands_[i]) continue;
      const std::vector<unsigned char>& before = operands_[i]->before;
      if (routine_->where == Memory::host)
        host[i] = before;
      else
        device[i].emplace(before.data(), before.size());
      if (!null_[i]) values[i].address = operands_[i]->in(device[i] ? device[i]->data() : host[i].data());
    }
    around.before();
    const toviStatus status = routine_->call(values);
    around.after();
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (!operands_[i]) continue;
      operands_[i]->after = operands_[i]->before;
      if (device[i])
        device[i]->download(operands_[i]->after.data());
      else
        operands_[i]->after = host[i];
    }
    return status;
  }

  bool sameBits(const Call& other) const {
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (operands_[i] && operands_[i]->after != other.operands_[i]->after) return false;
    return true;
  }
  bool unchanged() const {
    return std::all_of(operands_.begin(), operands_.end(),
                       [](const auto& operand) { return !operand || operand->unchanged(); });
  }
  // Each operand by itself: as it was before, or as another call has left it.
  bool untouchedOrAs(const Call& other) const {
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (operands_[i] && !operands_[i]->unchanged() && operands_[i]->after != other.operands_[i]->after)
        return false;
    return true;
  }
  // Operands that are only read, what lies between and around the elements.
  bool paddingIntact() const {
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (operands_[i] && !(isWritten(i) ? operands_[i]->surroundingsUnchanged() : operands_[i]->unchanged()))
        return false;
    return true;
  }
  std::uint64_t digest() const {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const std::optional<Operand>& operand : operands_)
      if (operand)
        for (const unsigned char byte : operand->after) hash = (hash ^ byte) * 0x100000001B3;
    return hash;
  }

  // What is wrong with how the call ended, in words; empty: nothing. info: the error info, where nobody else
  // can have changed it.
  std::string fault(toviStatus status, std::optional<int> info) const {
    const auto infoIs = [&](int least, int most) { return !info || (*info >= least && *info <= most); };
    const int expected = expectedInfo();
    if (expected != 0) {
      if (status != toviArgumentError || !infoIs(expected, expected))
        return "argument error " + std::to_string(expected) + " was not reported";
      return unchanged() ? "" : "an argument error, but an operand was touched";
    }
    if (!paddingIntact()) return "what must not be written was";
    if (unknownToCublas())
      return status == toviBlasError && infoIs(7, 7) ? "" : "the form that CUBLAS does not know";
    if (status == toviDataError) return dataFault(infoIs(1, 3 + largestSize()));
    if (status != toviNoError || !infoIs(0, 0)) return "a status that is not documented";
    if (nothingToDo()) return unchanged() ? "" : "nothing to do, but an operand was touched";
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (!operands_[i] || !isWritten(i)) continue;
      const std::string name = row(i).name;
      if (!isRead(i) && !operands_[i]->written()) return name + " was not written as a whole";
      if (data_ == Data::regular && !operands_[i]->finite()) return name + " is not finite";
    }
    return "";
  }

  std::string text() const {
    std::string result = routine_->name + "(";
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const Value& value = values_[i];
      result += (i == 0 ? "" : ", ") + row(i).name + " = ";
      if (operands_[i])
        result += null_[i] ? "null" : "array";
      else if (row(i).kind == Kind::option)
        result += value.option;
      else if (row(i).kind == Kind::scalar)
        result += std::to_string(value.re) + " + " + std::to_string(value.im) + "i";
      else
        result += std::to_string(value.number);
    }
    constexpr const char* kinds[] = {"regular", "deficient", "extreme", "not finite"};
    return result + "), " + kinds[static_cast<int>(data_)];
  }

 private:
  const Argument& row(std::size_t i) const { return family().arguments[i]; }
  std::size_t indexOf(std::string_view name) const {
    std::size_t i = 0;
    while (row(i).name != name) ++i;
    return i;
  }
  bool isWritten(std::size_t i) const { return !routine_->types[i].constant; }
  bool isRead(std::size_t i) const {
    const auto hasBeta = [&] {
      return std::any_of(family().arguments.begin(), family().arguments.end(),
                         [](const Argument& one) { return std::string_view(one.name) == "beta"; });
    };
    return !row(i).output && !(isWritten(i) && hasBeta() && arguments().isZero("beta"));
  }
  int least(std::size_t i) const { return std::max(family().leastLd, operands_[i - 1]->shape().rows); }
  bool acceptable(std::size_t i) const {
    const Value& value = values_[i];
    const bool holds = !row(i).holds || row(i).holds(arguments());
    switch (row(i).kind) {
      case Kind::option:
        return row(i).accepted.find(Arguments::upper(value.option)) != std::string_view::npos && holds;
      case Kind::size:
        return value.number >= 0 && holds;
      case Kind::ld:
        return value.number >= least(i);
      case Kind::increment:
        return value.number != 0;
      default:
        return true;
    }
  }
  // From one column, or one element of a vector, to the next. A call that is refused may say anything.
  std::size_t stride(std::size_t i) const {
    const int rows = std::max(1, row(i).shape(arguments()).rows);
    const bool spaced =
        i + 1 < values_.size() && (row(i + 1).kind == Kind::ld || row(i + 1).kind == Kind::increment);
    const int said = spaced ? values_[i + 1].number : 0;
    return static_cast<std::size_t>(std::max(rows, said == INT_MIN ? 0 : std::abs(said)));
  }
  int largestSize() const {
    int largest = 0;
    for (std::size_t i = 0; i < values_.size(); ++i)
      if (row(i).kind == Kind::size) largest = std::max(largest, values_[i].number);
    return largest;
  }
  std::string dataFault(bool infoInRange) const {
    if (!family().lapack || data_ == Data::regular) return "a data error without reason";
    if (!infoInRange) return "the error info of the data error is out of range";
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const bool kept = row(i).kept == Kept::everywhere ||
                        (row(i).kept == Kept::onTheHost && routine_->where == Memory::host);
      if (operands_[i] && kept && !operands_[i]->unchanged())
        return std::string(row(i).name) + " was touched in spite of the data error";
    }
    return "";
  }

  const Export* routine_;
  std::vector<Value> values_;
  std::vector<bool> null_;
  std::vector<std::optional<Operand>> operands_;
  Data data_ = Data::regular;
};

// After a call that something has kept from its way: it is whole, or was not made; padding and operands that
// are only read are untouched; and the next one is like one that nothing has disturbed.
inline void expectUnharmed(const Call& problem, const Call& good, const Call& disturbed, toviStatus status) {
  EXPECT_TRUE(status != toviNoError || disturbed.sameBits(good));
  EXPECT_TRUE(disturbed.paddingIntact());
  EXPECT_TRUE(problem.routine().where == Memory::device || disturbed.untouchedOrAs(good));
  Call next = problem;
  ASSERT_EQ(next.run(), toviNoError) << toviGetErrorInfo();
  ASSERT_TRUE(next.sameBits(good));
}

// How calls are drawn.
struct Draw {
  std::function<int(Random&)> size;
  bool good = true;  // only such as succeed; else bad arguments too
  Data data = Data::regular;
};

inline std::function<int(Random&)> sizesBetween(int least, int most) {
  return [=](Random& random) { return least + random.below(most - least + 1); };
}

// These sizes, in the order of the arguments.
inline std::function<int(Random&)> sizesOf(const std::vector<int>& sizes) {
  return [sizes, next = std::size_t{0}](Random&) mutable { return sizes[next++ % sizes.size()]; };
}

inline Value drawValue(const Argument& row, Random& random, const Draw& draw) {
  const auto oneOf = [&](std::string_view all) {
    return all[static_cast<std::size_t>(random.below(static_cast<int>(all.size())))];
  };
  Value value;
  switch (row.kind) {
    case Kind::option: {
      const char c = oneOf(row.accepted);
      value.option = random.below(4) == 0 ? static_cast<char>(c - 'A' + 'a') : c;
      break;
    }
    case Kind::size:
      value.number = draw.size(random);
      break;
    case Kind::scalar: {
      const bool beta = std::string_view(row.name) == "beta";
      const int which = !draw.good ? random.below(5) : beta ? random.below(3) : 2;
      value.re = which == 0 ? 0 : which == 1 ? 1 : 0.5 + random.below(3);
      value.im = which < 2
                     ? 0
                     : static_cast<double>(static_cast<float>(random.uniform()));  // exact in every precision
      break;
    }
    case Kind::increment:
      value.number = (1 + random.below(3)) * (random.below(2) == 0 ? 1 : -1);
      break;
    default:
      break;
  }
  return value;
}

// What an argument may be in place of a good one: mostly, but not always, a bad one.
inline std::vector<Value> oddValues(const Argument& row, const Value& good) {
  std::vector<Value> values;
  const auto add = [&](char option, int number) { values.push_back({option, number}); };
  switch (row.kind) {
    case Kind::option:
      for (const char c : std::string_view("NTCLRUASOXntclruasox1* \0", 24)) add(c, 0);
      break;
    case Kind::size:
      for (const int number : {-1, INT_MIN, 0, good.number + 1, good.number + 2}) add(0, number);
      break;
    case Kind::ld:
      for (const int number : {std::max(good.number, 0) - 1, 0, -2, INT_MIN}) add(0, number);
      break;
    case Kind::increment:
    case Kind::array:  // null
      add(0, 0);
      break;
    default:
      break;
  }
  return values;
}

// Arguments of which each one is accepted, null arrays aside.
inline std::vector<Value> drawValues(const Export& routine, Random& random, const Draw& draw) {
  const std::vector<Argument>& rows = routine.family->arguments;
  std::vector<Value> values(rows.size());
  const Arguments arguments(*routine.family, values);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    int attempts = 100;
    do values[i] = drawValue(rows[i], random, draw);
    while (rows[i].holds && !rows[i].holds(arguments) && --attempts > 0);
    if (rows[i].kind == Kind::ld) {
      const int tight = std::max(routine.family->leastLd, rows[i - 1].shape(arguments).rows);
      values[i].number = tight + (random.below(2) == 0 ? 0 : random.below(20) == 0 ? 300 : random.below(5));
    }
  }
  return values;
}

inline Call drawCall(const Export& routine, Random& random, const Draw& draw) {
  const std::vector<Argument>& rows = routine.family->arguments;
  while (true) {
    std::vector<Value> values = drawValues(routine, random, draw);
    std::vector<bool> null(rows.size(), false);
    if (!draw.good && random.below(5) < 2)
      for (int count = 1 + random.below(2); count > 0; --count) {
        const auto i = static_cast<std::size_t>(random.below(static_cast<int>(rows.size())));
        const std::vector<Value> odd = oddValues(rows[i], values[i]);
        if (!odd.empty())
          values[i] = odd[static_cast<std::size_t>(random.below(static_cast<int>(odd.size())))];
        null[i] = rows[i].kind == Kind::array;
      }
    Call call(routine, std::move(values), std::move(null), random.below(2) == 0 ? 0 : 64);
    if (draw.good && (call.expectedInfo() != 0 || call.unknownToCublas())) continue;
    call.fill(random, draw.data);
    return call;
  }
}

// Calls of all exports in which one argument is odd: the ones before it are good, those behind it are good or
// bad as well. So the error info, and the order of the tests, are seen for every argument.
enum class Behind { good, noArrays, allBad };

// visit(call), for accepted calls too: not every odd argument is a bad one.
template <class Visit>
void forEveryOddArgument(int rounds, const Visit& visit) {
  std::uint64_t seed = 0;
  for (const Export& routine : allExports()) {
    Random random(++seed);
    const std::vector<Argument>& rows = routine.family->arguments;
    for (int round = 0; round < rounds; ++round) {
      const std::vector<Value> good = drawValues(routine, random, {sizesBetween(0, round % 2 == 0 ? 5 : 1)});
      for (std::size_t i = 0; i < rows.size(); ++i)
        for (const Value& odd : oddValues(rows[i], good[i]))
          for (const Behind behind : {Behind::good, Behind::noArrays, Behind::allBad}) {
            std::vector<Value> values = good;
            std::vector<bool> null(rows.size(), false);
            values[i] = odd;
            null[i] = rows[i].kind == Kind::array;
            for (std::size_t k = i + 1; k < rows.size(); ++k) {
              null[k] = rows[k].kind == Kind::array && behind != Behind::good;
              if (behind == Behind::allBad) values[k] = {'X', rows[k].kind == Kind::increment ? 0 : -1};
            }
            Call call(routine, std::move(values), std::move(null), 0);
            call.fill(random, Data::regular);
            visit(call);
            if (::testing::Test::HasFailure()) return;
          }
    }
  }
}

}  // namespace testing_support

#endif
