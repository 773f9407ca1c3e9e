// Plots as SVG files that stand by themselves: no scripts, no style sheets, no fonts from elsewhere.

#ifndef TOVI_TOOLS_PLOTS_H
#define TOVI_TOOLS_PLOTS_H

#include <string>
#include <utility>
#include <vector>

namespace tool {

// Values over their index 1, 2, ..., on a logarithmic scale; those that are zero have no place on it.
struct ValuesPlot {
  std::string title, xTitle, yTitle;
  std::vector<double> values;  // falling
  int marked = 0;              // an index that a vertical line marks; 0: none
  std::string mark;            // what stands at the line
};

std::string svgOf(const ValuesPlot& plot);

// Points in the plane, coloured by label.
struct ScatterPlot {
  std::string title, xTitle, yTitle;
  std::vector<double> x, y;
  std::vector<int> group;           // of each point; of no point: all alike
  std::string groupsTitle;          // above the legend
  std::vector<std::string> groups;  // at most mostGroups: their labels
};

constexpr int mostGroups = 20;

std::string svgOf(const ScatterPlot& plot);

// Eigenvalues over their index, and below them how far the points of something move in the lowest modes.
struct EigenvaluesPlot {
  struct Mode {
    std::string title;
    std::vector<double> values;  // of each point, none negative
  };
  std::string title;
  std::vector<double> values;  // ascending
  double rounding = 0.0;       // what lies within it of zero has no place on a logarithmic scale
  std::vector<double> x, y;    // where the points are
  std::string modesTitle;
  std::vector<Mode> modes;  // at most mostModes, or none
};

constexpr std::size_t mostModes = 6;

std::string svgOf(const EigenvaluesPlot& plot);

// The same curves in several panels, three in a row, that share their axes. Both axes are logarithmic; all
// coordinates are positive.
struct CurvesPlot {
  using Curve = std::vector<std::pair<double, double>>;  // from left to right; may be empty
  struct Panel {
    std::string title;
    std::vector<Curve> curves;
  };
  std::string title, xTitle, yTitle;
  std::vector<double> xTicks;
  std::vector<std::string> curves;  // at most mostCurves: the legend
  bool bounded = false;             // the last of them is a dotted line
  std::vector<Panel> panels;
};

constexpr int mostCurves = 6;

std::string svgOf(const CurvesPlot& plot);

}  // namespace tool

#endif
