// Calls of all exports in which one argument is odd: the ones before it are good, those behind it are good or
// bad as well. So the error info, and the order of the tests, are seen for every argument.

#ifndef TOVI_TESTS_SUPPORT_ODD_ARGUMENTS_H
#define TOVI_TESTS_SUPPORT_ODD_ARGUMENTS_H

#include <vector>

#include "tests/support/calls.h"

namespace testing_support {

inline std::vector<Value> oddValues(const Argument& row, const Value& good) {
  std::vector<Value> values;
  const auto add = [&](char option, int number) { values.push_back({option, number}); };
  switch (row.kind) {
    case Kind::option:
      for (const char c : std::string_view("NTCLRUASOXntclruasox\0", 21)) add(c, 0);
      break;
    case Kind::size:
      for (const int number : {-1, INT_MIN, 0, good.number + 1, good.number + 2}) add(0, number);
      break;
    case Kind::ld:
      for (const int number : {good.number - 1, 0, -2, INT_MIN}) add(0, number);
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
