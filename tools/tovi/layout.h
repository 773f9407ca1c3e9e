// A picture of what a sparse symmetric matrix couples. Files of matrices have no coordinates, but those of a
// structure, or a mesh, tell which unknowns are neighbours.

#ifndef TOVI_TOOLS_LAYOUT_H
#define TOVI_TOOLS_LAYOUT_H

#include <string>
#include <vector>

#include "tools/tovi/matrix.h"

namespace tool {

// Unknowns that have the same neighbours are one node, as the displacements of a point are. Nodes of the
// largest connected part have a place; the others are left out.
struct Mesh {
  std::vector<int> nodeOf;                   // of each unknown; -1: of none with a place
  std::vector<std::vector<int>> neighbours;  // of each node
  int nodes() const { return static_cast<int>(neighbours.size()); }
};

template <class T>
Mesh meshOf(const Matrix<T>& a);

struct Places {
  std::vector<double> x, y;  // of each node
};

// By eigenvectors of the mesh's Laplacian, smooth functions that differ between the ends of what they live
// on: x the lowest that is not constant, y the next that is no function of x. what: for messages.
template <class R>
Places placesOf(const Mesh& mesh, const std::string& what);

}  // namespace tool

#endif
