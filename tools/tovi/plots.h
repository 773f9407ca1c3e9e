// Plots as SVG files that stand by themselves: no scripts, no style sheets, no fonts from elsewhere.

#ifndef TOVI_TOOLS_PLOTS_H
#define TOVI_TOOLS_PLOTS_H

#include <string>
#include <vector>

namespace tool {

// Values over their index 1, 2, ..., on a logarithmic scale; those that are zero have no place on it.
struct ValuesPlot {
  std::string title, xTitle, yTitle;
  std::vector<float> values;  // falling
  int marked = 0;             // an index that a vertical line marks; 0: none
  std::string mark;           // what stands at the line
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

}  // namespace tool

#endif
