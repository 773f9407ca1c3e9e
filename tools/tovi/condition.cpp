#include "tools/tovi/condition.h"

#include "tools/tovi/numbers.h"

namespace tool {

std::string Condition::text() const {
  return "condition       " + number("%.3g: ", value) +
         (isResolved() ? number("about %.1f digits of x can be trusted\n", digits())
                       : "no digit of x can be trusted\n");
}

std::string Condition::warning() const {
  return number("condition %.3g, ", value) + number("single precision resolves %.3g: ", resolved) +
         "no digit of x can be trusted";
}

void Condition::addTo(CsvRow& row) const {
  row.insert(row.end(), {{"condition", number("%.6g", value)}, {"digits", number("%.3g", digits())}});
}

std::vector<std::string> describe(const std::string& path, const std::vector<Dependence>& dependences,
                                  const std::string& what, const std::function<std::string(int)>& name) {
  constexpr std::size_t most = 5;
  std::vector<std::string> lines;
  for (const Dependence& dependence : dependences) {
    if (lines.size() == most) {
      lines.push_back(path + ": and so do " + std::to_string(dependences.size() - most) + " more");
      break;
    }
    std::string others;
    for (std::size_t k = 0; k < dependence.others.size() && k <= most; ++k)
      others += (k == 0 ? "" : ", ") + (k == most ? "..." : name(dependence.others[k]));
    const std::string column = what + " " + name(dependence.column);
    lines.push_back(
        path + ": " +
        (others.empty() ? column + " is zero" : "to single precision " + column + " depends on " + others));
  }
  return lines;
}

}  // namespace tool
