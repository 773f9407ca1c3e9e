#include "tools/tovi/plots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "tools/tovi/numbers.h"

namespace tool {
namespace {

// --- Text

// Text from anywhere (names of files and columns) as it may stand in XML, cut to so many characters.
std::string escaped(std::string_view text, int longest) {
  std::string result;
  for (int count = 0; !text.empty(); ++count) {
    if (count == longest) return result + "…";
    const std::size_t length = characterLength(text);
    const char c = text.front();
    if (length == 0)
      result += "�";
    else if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else
      result += text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

std::string at(double coordinate) { return number("%.1f", coordinate); }

// --- Scales

struct Tick {
  double value;
  std::string text;
};

struct Scale {
  double low, high;  // values at the ends
  bool logarithmic;
  std::vector<Tick> ticks;

  // 0 at the low end, 1 at the high one.
  double fraction(double value) const {
    return logarithmic ? std::log(value / low) / std::log(high / low)
                       : (value / 2 - low / 2) / (high / 2 - low / 2);  // high - low may overflow
  }
};

// ..., 0.5, 1, 2, 5, 10, 20, ...: number 0 is 1.
double roundNumber(int index) {
  constexpr int mantissas[] = {1, 2, 5};
  const int third = (index % 3 + 3) % 3;
  return mantissas[third] * std::pow(10.0, (index - third) / 3);
}

// The index of the largest of them that is not above the value.
int roundIndexBelow(double value) {
  int index = 3 * static_cast<int>(std::floor(std::log10(value))) + 3;
  while (roundNumber(index) > value) --index;
  return index;
}

// Ends as given, ticks at multiples of a round number.
Scale linearScale(double low, double high, int mostTicks) {
  Scale scale{low, high, false, {}};
  int index = roundIndexBelow((high - low) / mostTicks);
  if (roundNumber(index) * mostTicks < high - low) ++index;
  const double step = roundNumber(index);
  for (double k = std::ceil(low / step); k * step <= high; ++k)
    scale.ticks.push_back({k * step, number("%.6g", k == 0 ? 0.0 : k * step)});
  return scale;
}

// The indices 1 .. count, a tick at 1 and at multiples of a round number.
Scale indexScale(int count) {
  const double margin = 0.5 + 0.01 * count;
  Scale scale = linearScale(1 - margin, count + margin, 10);
  const auto isNoIndex = [](const Tick& tick) {
    return tick.value < 1 || tick.value != std::floor(tick.value);
  };
  scale.ticks.erase(std::remove_if(scale.ticks.begin(), scale.ticks.end(), isNoIndex), scale.ticks.end());
  if (scale.ticks.empty() || scale.ticks.front().value > 1) scale.ticks.insert(scale.ticks.begin(), {1, "1"});
  return scale;
}

std::string powerOfTen(int exponent) {
  constexpr const char* raised[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
  std::string text = exponent < 0 ? "10⁻" : "10";
  for (const char digit : std::to_string(std::abs(exponent))) text += raised[digit - '0'];
  return text;
}

// Ends at round numbers; ticks at powers of ten, or at all round numbers where the powers are few.
Scale logarithmicScale(double smallest, double largest) {
  int low = roundIndexBelow(smallest), high = roundIndexBelow(largest);
  if (roundNumber(high) < largest) ++high;
  if (low == high) --low, ++high;
  Scale scale{roundNumber(low), roundNumber(high), true, {}};
  const bool all = high - low <= 8;
  int decades = 1;  // from one tick to the next
  while (high - low > 3 * 12 * decades) ++decades;
  for (int index = low; index <= high; ++index) {
    const double value = roundNumber(index);
    if (all)
      scale.ticks.push_back({value, number("%g", value)});
    else if (index % (3 * decades) == 0)
      scale.ticks.push_back({value, powerOfTen(index / 3)});
  }
  return scale;
}

// --- Drawing

struct Frame {
  double left, top, right, bottom;
};

std::string disc(double x, double y, const std::string& style) {
  return "<circle cx=\"" + at(x) + "\" cy=\"" + at(y) + "\" " + style + "/>";
}

std::string rectangle(const Frame& frame, const std::string& style) {
  return "<rect x=\"" + at(frame.left) + "\" y=\"" + at(frame.top) + "\" width=\"" +
         at(frame.right - frame.left) + "\" height=\"" + at(frame.bottom - frame.top) + "\" " + style + "/>";
}

constexpr const char* blue = "#1f5fa8";

// From light grey for 0 by yellow and red to nearly black for 1.
std::string shade(double part) {
  constexpr std::array<std::array<double, 3>, 4> colours = {
      {{221, 225, 230}, {247, 200, 95}, {214, 62, 42}, {72, 8, 46}}};
  const double place = part * static_cast<double>(colours.size() - 1);
  const std::size_t below = std::min(static_cast<std::size_t>(place), colours.size() - 2);
  std::string text = "rgb(";
  for (std::size_t k = 0; k < 3; ++k)
    text += number(k == 0 ? "%.0f" : ",%.0f",
                   colours[below][k] +
                       (place - static_cast<double>(below)) * (colours[below + 1][k] - colours[below][k]));
  return text + ")";
}

class Drawing {
 public:
  Drawing(double width, double height, const std::string& title) {
    text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
            number("%g", width) + "\" height=\"" + number("%g", height) + "\" viewBox=\"0 0 " +
            number("%g ", width) + number("%g", height) +
            "\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\"13\" fill=\"#333\">\n<title>" +
            escaped(title, 200) + "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    add("<text x=\"" + at(width / 2) +
        "\" y=\"32\" text-anchor=\"middle\" font-size=\"17\" font-weight=\"bold\">" + escaped(title, 75) +
        "</text>");
  }

  void add(const std::string& element) { text_ += element + '\n'; }

  void line(double x1, double y1, double x2, double y2, const std::string& style) {
    add("<line x1=\"" + at(x1) + "\" y1=\"" + at(y1) + "\" x2=\"" + at(x2) + "\" y2=\"" + at(y2) + "\" " +
        style + "/>");
  }
  // markup: escaped already
  void text(double x, double y, const char* anchor, const std::string& markup,
            const std::string& style = {}) {
    add("<text x=\"" + at(x) + "\" y=\"" + at(y) + "\" text-anchor=\"" + anchor + "\"" + style + ">" +
        markup + "</text>");
  }

  void grid(const Frame& frame, const Scale& x, const Scale& y) {
    for (const Tick& tick : x.ticks) {
      const double position = onX(frame, x, tick.value);
      line(position, frame.top, position, frame.bottom + 5, "stroke=\"#ddd\"");
      text(position, frame.bottom + 20, "middle", tick.text);
    }
    for (const Tick& tick : y.ticks) {
      const double position = onY(frame, y, tick.value);
      line(frame.left - 5, position, frame.right, position, "stroke=\"#ddd\"");
      text(frame.left - 9, position + 4.5, "end", tick.text);
    }
    add(rectangle(frame, "fill=\"none\" stroke=\"#555\""));
  }
  // Below a frame, or all of them, and at the left of the drawing
  void titles(const Frame& frame, const std::string& xTitle, const std::string& yTitle) {
    text((frame.left + frame.right) / 2, frame.bottom + 46, "middle", escaped(xTitle, 90));
    const std::string middle = at((frame.top + frame.bottom) / 2);
    add("<text transform=\"translate(22 " + middle + ") rotate(-90)\" text-anchor=\"middle\">" +
        escaped(yTitle, 60) + "</text>");
  }
  void axes(const Frame& frame, const Scale& x, const Scale& y, const std::string& xTitle,
            const std::string& yTitle) {
    grid(frame, x, y);
    titles(frame, xTitle, yTitle);
  }

  // A curve through values over first, first + 1, ...; discs where they are few
  void values(const Frame& frame, const Scale& x, const Scale& y, int first,
              const std::vector<double>& values) {
    std::string points, discs;
    for (std::size_t k = 0; k < values.size(); ++k) {
      const double px = onX(frame, x, static_cast<double>(k) + first), py = onY(frame, y, values[k]);
      points += (k == 0 ? "" : " ") + at(px) + "," + at(py);
      discs += disc(px, py, "r=\"2.5\"") + '\n';
    }
    add("<polyline points=\"" + points + "\" fill=\"none\" stroke=\"" + blue +
        "\" stroke-width=\"1.5\" stroke-linejoin=\"round\"/>");
    constexpr std::size_t mostDiscs = 120;  // more of them would only be a thicker line
    if (values.size() <= mostDiscs) add("<g fill=\"" + std::string(blue) + "\">\n" + discs + "</g>");
  }

  // Points without axes, the darker the larger their value is, which goes above smaller ones.
  void points(const Frame& frame, const std::vector<double>& x, const std::vector<double>& y,
              const std::vector<double>& values) {
    add(rectangle(frame, "fill=\"none\" stroke=\"#ccc\""));
    constexpr int shades = 16;
    constexpr double side = 18, head = 34;  // left free
    const auto [xLow, xHigh] = std::minmax_element(x.begin(), x.end());
    const auto [yLow, yHigh] = std::minmax_element(y.begin(), y.end());
    const double largest = *std::max_element(values.begin(), values.end());
    const Scale xScale{*xLow, *xHigh, false, {}}, yScale{*yLow, *yHigh, false, {}};
    const Frame inner{frame.left + side, frame.top + head, frame.right - side, frame.bottom - side};
    std::array<std::string, shades> dots;
    for (std::size_t k = 0; k < values.size(); ++k) {
      const int which = std::min(static_cast<int>(values[k] / largest * shades), shades - 1);
      dots[static_cast<std::size_t>(which)] +=
          "M" + at(onX(inner, xScale, x[k])) + " " + at(onY(inner, yScale, y[k])) + "h0";
    }
    add("<g fill=\"none\" stroke-width=\"5\" stroke-linecap=\"round\">");
    for (int which = 0; which < shades; ++which)
      if (const std::string& path = dots[static_cast<std::size_t>(which)]; !path.empty())
        add("<path stroke=\"" + shade(which / (shades - 1.0)) + "\" d=\"" + path + "\"/>");
    add("</g>");
  }

  static double onX(const Frame& frame, const Scale& scale, double value) {
    return frame.left + scale.fraction(value) * (frame.right - frame.left);
  }
  static double onY(const Frame& frame, const Scale& scale, double value) {
    return frame.bottom - scale.fraction(value) * (frame.bottom - frame.top);
  }

  std::string finished() const { return text_ + "</svg>\n"; }

 private:
  std::string text_;
};

// The smallest and the largest value, some room beyond them.
Scale spanning(const std::vector<double>& values) {
  const auto [smallest, largest] = std::minmax_element(values.begin(), values.end());
  constexpr double huge = std::numeric_limits<double>::max() / 4;
  if (*smallest < -huge || *largest > huge) {
    const double low = std::min(*smallest, 0.0), high = std::max(*largest, 0.0);
    return {low, high, false, {{low, number("%g", low)}, {high, number("%g", high)}}};
  }
  // At the least what shows in the numbers at the ticks.
  double room =
      std::max(0.04 * (*largest - *smallest), 1e-4 * std::max(std::abs(*smallest), std::abs(*largest)));
  if (room == 0.0) room = 1.0;
  return linearScale(*smallest - room, *largest + room, 9);
}

// Discs in ten colours, then rings in the same ones.
std::string groupStyle(int group) {
  constexpr std::array<const char*, mostGroups / 2> colours = {"#1f77b4", "#e6761a", "#2a9d3c", "#d62728",
                                                               "#8a5cc0", "#8c564b", "#e377c2", "#6b6b6b",
                                                               "#b5b61c", "#17b3c4"};
  const std::string colour = colours[static_cast<std::size_t>(group) % colours.size()];
  if (static_cast<std::size_t>(group) < colours.size()) return "fill=\"" + colour + "\"";
  return "fill=\"none\" stroke=\"" + colour + "\" stroke-width=\"1.5\"";
}

}  // namespace

std::string svgOf(const ValuesPlot& plot) {
  std::vector<double> positive;
  for (const double value : plot.values)
    if (value > 0.0) positive.push_back(value);
  const std::size_t zeros = plot.values.size() - positive.size();

  constexpr double width = 800, height = 500;
  constexpr Frame frame{86, 54, width - 28, height - 66};
  Drawing drawing(width, height, plot.title);
  const Scale x = indexScale(static_cast<int>(plot.values.size()));
  const Scale y =
      positive.empty() ? logarithmicScale(1, 1) : logarithmicScale(positive.back(), positive.front());
  const std::string missing = zeros == 0   ? ""
                              : zeros == 1 ? " (one value is zero)"
                                           : " (" + std::to_string(zeros) + " values are zero)";
  drawing.axes(frame, x, y, plot.xTitle + missing, plot.yTitle);

  if (plot.marked > 0) {
    const double position = Drawing::onX(frame, x, plot.marked);
    drawing.line(position, frame.top, position, frame.bottom, "stroke=\"#c0392b\" stroke-dasharray=\"5 4\"");
    const bool onTheLeft = position > (frame.left + frame.right) / 2;
    drawing.text(position + (onTheLeft ? -7 : 7), frame.top + 19, onTheLeft ? "end" : "start",
                 escaped(plot.mark, 60), " fill=\"#c0392b\"");
  }
  drawing.values(frame, x, y, 1, positive);
  return drawing.finished();
}

std::string svgOf(const EigenvaluesPlot& plot) {
  constexpr int across = 3;
  constexpr double panelWidth = 372, panelHeight = 250, gap = 16, left = 28, captions = 44;
  const bool wide = !plot.modes.empty();
  const double spectrumHeight = wide ? 420 : 500;
  const double width = wide ? 2 * left + across * panelWidth + (across - 1) * gap : 800;
  const int rows = (static_cast<int>(plot.modes.size()) + across - 1) / across;
  Drawing drawing(width, spectrumHeight + (wide ? captions + rows * (panelHeight + gap) : 0), plot.title);

  // A logarithmic scale where they are positive, but for rounding, and span decades
  constexpr double decades = 100;
  const auto first = std::upper_bound(plot.values.begin(), plot.values.end(), plot.rounding);
  const bool logarithmic = plot.values.front() >= -plot.rounding && first != plot.values.end() &&
                           plot.values.back() > decades * *first;
  const std::vector<double> shown(logarithmic ? first : plot.values.begin(), plot.values.end());
  const std::size_t missing = plot.values.size() - shown.size();
  const Frame frame{86, 54, width - 28, spectrumHeight - 66};
  const Scale x = indexScale(static_cast<int>(plot.values.size()));
  const Scale y = logarithmic ? logarithmicScale(shown.front(), shown.back()) : spanning(shown);
  drawing.axes(frame, x, y,
               missing == 0
                   ? "index"
                   : "index (the first " + std::to_string(missing) + " are within rounding error of zero)",
               "eigenvalue");
  drawing.values(frame, x, y, static_cast<int>(missing) + 1, shown);
  if (!wide) return drawing.finished();

  drawing.text(width / 2, spectrumHeight + 20, "middle", escaped(plot.modesTitle, 160));
  for (std::size_t k = 0; k < plot.modes.size(); ++k) {
    const int column = static_cast<int>(k) % across, row = static_cast<int>(k) / across;
    Frame panel{};
    panel.left = left + column * (panelWidth + gap);
    panel.top = spectrumHeight + captions + row * (panelHeight + gap);
    panel.right = panel.left + panelWidth;
    panel.bottom = panel.top + panelHeight;
    drawing.points(panel, plot.x, plot.y, plot.modes[k].values);
    drawing.text(panel.left + 10, panel.top + 20, "start", escaped(plot.modes[k].title, 40),
                 " font-weight=\"bold\"");
  }
  return drawing.finished();
}

std::string svgOf(const ScatterPlot& plot) {
  constexpr double height = 620;
  const bool legend = !plot.groups.empty();
  const double width = legend ? 860 : 740;
  const Frame frame{86, 54, 712, height - 66};
  Drawing drawing(width, height, plot.title);
  const Scale x = spanning(plot.x), y = spanning(plot.y);
  drawing.axes(frame, x, y, plot.xTitle, plot.yTitle);

  const int groups = std::max<int>(1, static_cast<int>(plot.groups.size()));
  for (int group = 0; group < groups; ++group) {
    std::string discs;
    for (std::size_t k = 0; k < plot.x.size(); ++k)
      if (!legend || plot.group[k] == group)
        discs +=
            disc(Drawing::onX(frame, x, plot.x[k]), Drawing::onY(frame, y, plot.y[k]), "r=\"2.8\"") + '\n';
    drawing.add("<g " + groupStyle(group) + " opacity=\"0.75\">\n" + discs + "</g>");
  }
  if (!legend) return drawing.finished();

  const double left = frame.right + 22;
  drawing.text(left - 5, frame.top + 12, "start", escaped(plot.groupsTitle, 16), " font-weight=\"bold\"");
  for (int group = 0; group < groups; ++group) {
    const double middle = frame.top + 34 + 22 * group;
    drawing.add(disc(left, middle, "r=\"5\" " + groupStyle(group)));
    drawing.text(left + 13, middle + 4.5, "start", escaped(plot.groups[static_cast<std::size_t>(group)], 14));
  }
  return drawing.finished();
}

std::string svgOf(const CurvesPlot& plot) {
  constexpr int across = 3;
  constexpr double panelWidth = 300, panelHeight = 250, left = 74, top = 92, gapX = 60, gapY = 62,
                   bottom = 62;
  const int rows = (static_cast<int>(plot.panels.size()) + across - 1) / across;
  const double right = left + across * panelWidth + (across - 1) * gapX,
               lowest = top + rows * panelHeight + (rows - 1) * gapY;
  Drawing drawing(right + 24, lowest + bottom, plot.title);

  std::vector<double> values;
  for (const CurvesPlot::Panel& panel : plot.panels)
    for (const CurvesPlot::Curve& curve : panel.curves)
      for (const auto& point : curve) values.push_back(point.second);
  const auto [smallest, largest] = std::minmax_element(values.begin(), values.end());
  const Scale y = values.empty() ? logarithmicScale(1, 1) : logarithmicScale(*smallest, *largest);
  Scale x{plot.xTicks.front() / 1.15, plot.xTicks.back() * 1.15, true, {}};
  for (const double tick : plot.xTicks) x.ticks.push_back({tick, number("%g", tick)});

  constexpr const char* styles[mostCurves] = {
      "fill=\"none\" stroke=\"#1f5fa8\" stroke-width=\"2\"",
      "fill=\"none\" stroke=\"#e6761a\" stroke-width=\"1.6\" stroke-dasharray=\"7 4\"",
      "fill=\"none\" stroke=\"#3b8a3e\" stroke-width=\"1.6\" stroke-dasharray=\"12 4\"",
      "fill=\"none\" stroke=\"#a3338c\" stroke-width=\"1.6\" stroke-dasharray=\"9 3 2 3\"",
      "fill=\"none\" stroke=\"#7a5c3e\" stroke-width=\"1.6\" stroke-dasharray=\"4 3\"",
      "fill=\"none\" stroke=\"#777\" stroke-width=\"1.6\" stroke-dasharray=\"1.5 3\""};
  const auto styleOf = [&](std::size_t k) {
    return styles[plot.bounded && k + 1 == plot.curves.size() ? mostCurves - 1 : k];
  };
  double legend = left;
  for (std::size_t k = 0; k < plot.curves.size(); ++k) {
    drawing.line(legend, 56, legend + 36, 56, styleOf(k));
    drawing.text(legend + 43, 60.5, "start", escaped(plot.curves[k], 60));
    legend += 70 + 6.6 * static_cast<double>(plot.curves[k].size());
  }
  for (std::size_t p = 0; p < plot.panels.size(); ++p) {
    const int column = static_cast<int>(p) % across, row = static_cast<int>(p) / across;
    Frame frame{};
    frame.left = left + column * (panelWidth + gapX);
    frame.top = top + row * (panelHeight + gapY);
    frame.right = frame.left + panelWidth;
    frame.bottom = frame.top + panelHeight;
    drawing.grid(frame, x, y);
    drawing.text(frame.left + 8, frame.top + 20, "start", escaped(plot.panels[p].title, 40),
                 " font-weight=\"bold\"");
    for (std::size_t k = 0; k < plot.panels[p].curves.size(); ++k) {
      std::string points;
      for (const auto& [abscissa, value] : plot.panels[p].curves[k])
        points += at(Drawing::onX(frame, x, abscissa)) + "," + at(Drawing::onY(frame, y, value)) + " ";
      drawing.add("<polyline points=\"" + points + "\" " + styleOf(k) + " stroke-linejoin=\"round\"/>");
    }
  }
  drawing.titles({left, top, right, lowest}, plot.xTitle, plot.yTitle);
  return drawing.finished();
}

}  // namespace tool
