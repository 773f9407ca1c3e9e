#include "tools/tovi/layout.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "tools/tovi/library.h"

namespace tool {
namespace {

using Neighbours = std::vector<std::vector<int>>;

std::size_t at(int index) { return static_cast<std::size_t>(index); }

// The unknowns in each column, its own among them, ascending.
template <class T>
Neighbours patternOf(const Matrix<T>& a) {
  Neighbours pattern(at(a.columns));
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < a.rows; ++i)
      if (i == j || a(i, j) != T(0)) pattern[at(j)].push_back(i);
  return pattern;
}

// One number for each pattern that there is.
std::vector<int> numbered(const Neighbours& pattern) {
  std::map<std::vector<int>, int> numbers;
  std::vector<int> result;
  for (const std::vector<int>& unknowns : pattern)
    result.push_back(numbers.try_emplace(unknowns, static_cast<int>(numbers.size())).first->second);
  return result;
}

Neighbours neighboursOf(const Neighbours& pattern, const std::vector<int>& nodeOf) {
  Neighbours neighbours(at(*std::max_element(nodeOf.begin(), nodeOf.end()) + 1));
  for (std::size_t j = 0; j < pattern.size(); ++j) {
    std::vector<int>& list = neighbours[at(nodeOf[j])];
    if (!list.empty()) continue;  // another unknown of the node has been here
    for (const int i : pattern[j]) list.push_back(nodeOf[at(i)]);
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
  }
  for (std::size_t node = 0; node < neighbours.size(); ++node) {
    std::vector<int>& list = neighbours[node];
    list.erase(std::find(list.begin(), list.end(), static_cast<int>(node)));
  }
  return neighbours;
}

// The largest connected part.
std::vector<int> largestPart(const Neighbours& neighbours) {
  std::vector<bool> seen(neighbours.size());
  std::vector<int> largest;
  for (std::size_t first = 0; first < neighbours.size(); ++first) {
    if (seen[first]) continue;
    seen[first] = true;
    std::vector<int> part = {static_cast<int>(first)};
    for (std::size_t k = 0; k < part.size(); ++k)
      for (const int next : neighbours[at(part[k])]) {
        if (seen[at(next)]) continue;
        seen[at(next)] = true;
        part.push_back(next);
      }
    if (part.size() > largest.size()) largest = std::move(part);
  }
  return largest;
}

// How much y differs between those that are next to each other in order of x, beside how much at all: near
// zero for a function of x, two where x says nothing of y.
double roughness(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<std::size_t> order(x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return x[a] < x[b]; });
  double steps = 0.0, squares = 0.0;
  for (std::size_t k = 0; k < order.size(); ++k) {
    const double step = k == 0 ? 0.0 : y[order[k]] - y[order[k - 1]];
    steps += step * step;
    squares += y[order[k]] * y[order[k]];  // the mean is zero
  }
  return steps / squares;
}

}  // namespace

template <class T>
Mesh meshOf(const Matrix<T>& a) {
  const Neighbours pattern = patternOf(a);
  const std::vector<int> nodeOf = numbered(pattern);
  const Neighbours all = neighboursOf(pattern, nodeOf);
  const std::vector<int> part = largestPart(all);
  std::vector<int> renumbered(all.size(), -1);
  for (std::size_t k = 0; k < part.size(); ++k) renumbered[at(part[k])] = static_cast<int>(k);
  Mesh mesh;
  for (const int node : nodeOf) mesh.nodeOf.push_back(renumbered[at(node)]);
  for (const int node : part) {
    mesh.neighbours.emplace_back();
    for (const int other : all[at(node)]) mesh.neighbours.back().push_back(renumbered[at(other)]);
  }
  return mesh;
}
template Mesh meshOf(const Matrix<float>&);
template Mesh meshOf(const Matrix<double>&);
template Mesh meshOf(const Matrix<std::complex<float>>&);
template Mesh meshOf(const Matrix<std::complex<double>>&);

template <class R>
Places placesOf(const Mesh& mesh, const std::string& what) {
  const int n = mesh.nodes();
  Matrix<R> laplacian(n, n);
  for (int node = 0; node < n; ++node) {
    laplacian(node, node) = static_cast<R>(mesh.neighbours[at(node)].size());
    for (const int other : mesh.neighbours[at(node)]) laplacian(other, node) = R(-1);
  }
  std::vector<R> values(at(n));
  check(syevd('V', n, laplacian.values.data(), n, values.data()), what);

  const auto vector = [&](int k) { return std::vector<double>(&laplacian(0, k), &laplacian(0, k) + n); };
  constexpr double noFunction = 1.5;
  constexpr int most = 30;  // to be tried
  Places places{vector(1), vector(2)};
  for (int k = 2; k < std::min(n, most); ++k) {
    places.y = vector(k);
    if (roughness(places.x, places.y) > noFunction) return places;
  }
  places.y = vector(2);
  return places;
}
template Places placesOf<float>(const Mesh&, const std::string&);
template Places placesOf<double>(const Mesh&, const std::string&);

}  // namespace tool
