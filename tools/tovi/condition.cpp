#include "tools/tovi/condition.h"

#include "tools/tovi/numbers.h"

namespace tool {

namespace {

std::string valueText(const Condition& condition) {
  constexpr double worthSaying = 1.5;
  std::string text = number("%.3g", condition.value);
  if (condition.sensitivity > worthSaying * condition.value)
    text += number(" (%.3g with this residual)", condition.sensitivity);
  return text;
}

}  // namespace

std::string Condition::text() const {
  return "condition       " + valueText(*this) + ": " +
         (isResolved() ? number("about %.1f digits of x can be trusted\n", digits())
                       : "no digit of x can be trusted\n");
}

std::string Condition::warning() const {
  return "condition " + valueText(*this) + ", " + precision + number(" resolves %.3g: ", resolved) +
         "no digit of x can be trusted";
}

void Condition::addTo(CsvRow& row) const {
  row.insert(row.end(), {{"condition", number("%.6g", value)}, {"digits", number("%.3g", digits())}});
}

std::vector<std::string> describe(const std::string& path, const Dependences& dependences,
                                  const char* precision, const std::string& what,
                                  const std::function<std::string(int)>& name) {
  constexpr std::size_t mostOthers = 5;
  std::vector<std::string> lines;
  for (const Dependence& dependence : dependences.first) {
    std::string others;
    for (std::size_t k = 0; k < dependence.others.size() && k <= mostOthers; ++k) {
      others += k == 0 ? "" : ", ";
      others += k == mostOthers ? "..." : name(dependence.others[k]);
    }
    std::string line = path;
    line += others.empty() ? ": " : std::string(": to ") + precision + ' ';
    line += what + " " + name(dependence.column);
    line += others.empty() ? " is zero" : " depends on " + others;
    lines.push_back(line);
  }
  if (const auto described = static_cast<int>(lines.size()); described < dependences.count)
    lines.push_back(path + ": so do " + std::to_string(dependences.count - described) + " more");
  return lines;
}

}  // namespace tool
