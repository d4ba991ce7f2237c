// Charts as SVG for pages: lines and bars with axes, coloured by the page's style sheet.
#ifndef LMLCOMMAND_CHART_H
#define LMLCOMMAND_CHART_H

#include <string>
#include <vector>

namespace command
{
struct ChartLine
{
    std::string name;
    std::vector<double> x;
    std::vector<double> y;
};

struct Chart
{
    std::string title;
    std::string xLabel;
    std::string yLabel;
    std::vector<ChartLine> lines; // at most four are told apart
    bool bars = false;            // of the first line, whose x are the left edges of equal bins
    bool logarithmic = false;     // the y axis; values of 0 are left out
    double yLow = 0.0;            // equal values: from the lines
    double yHigh = 0.0;
};

/// An <svg> element with a title for readers who do not see it. Long lines keep their largest and smallest values.
std::string Svg(const Chart& chart);

/// A text inside HTML.
std::string Escaped(const std::string& text);
} // namespace command

#endif
