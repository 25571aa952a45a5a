// kxcalc plot: draws the channels of a recording as curves into a PNG picture, every point
// placed by the library's graph mapping, and snaps a cursor to the nearest curve pixel with
// the library's cursor search.
#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "axes.h"
#include "canvas.h"
#include "channel_blocks.h"
#include "commands.h"
#include "failure.h"
#include "json.h"
#include "library.h"
#include "measure.h"
#include "options.h"
#include "progress.h"
#include "sources.h"
#include "synthetic.h"
#include "text.h"

namespace kxtool {
namespace {

constexpr int kDefaultWidth = 1200;
constexpr int kDefaultHeight = 700;
constexpr int kLargestSide = 8192;  // 256 MB of pixels; positions are 16-bit in the mapping
constexpr int kSmallestPlotWidth = 100;
constexpr int kSmallestPlotHeight = 60;
constexpr uint64_t kDefaultSyntheticFrames = 2048;
constexpr uint32_t kDefaultSyntheticChannels = 4;
constexpr int kFontSize = 13;

// Margins around the plot area, for tick labels, axis titles, the title and the legend.
constexpr int kMarginLeft = 78;
constexpr int kMarginRight = 24;
constexpr int kMarginTop = 34;
constexpr int kMarginBottom = 50;

constexpr uint32_t kPalette[] = {0xFF1F77B4, 0xFFD62728, 0xFF2CA02C, 0xFFFF7F0E, 0xFF9467BD,
                                 0xFF8C564B, 0xFFE377C2, 0xFF17BECF, 0xFF7F7F7F, 0xFFBCBD22};

struct PlotOptions {
  bool help = false;
  bool json = false;
  InputOptions input;
  std::optional<std::string> output;
  int width = kDefaultWidth;
  int height = kDefaultHeight;
  AxisScale xScale = AxisScale::Linear;
  AxisScale yScale = AxisScale::Linear;
  std::optional<std::pair<double, double>> xRange;
  std::optional<std::pair<double, double>> yRange;
  double dbReference = 1;
  uint32_t background = 0xFFFFFFFF;
  uint32_t grid = 0xFFDCDCDC;
  uint32_t axis = 0xFF303030;
  uint32_t mark = 0xFF000000;
  std::vector<uint32_t> colours;
  std::string font;
  std::optional<std::pair<int, int>> cursor;
  std::optional<double> sourceRate;
  std::optional<uint64_t> frames;
};

std::pair<double, double> parseRange(const char* option, const std::string& text) {
  const std::vector<double> bounds = parseRealList(option, text);
  if (bounds.size() != 2) {
    throw UsageError(format("%s: '%s' is not MIN,MAX", option, text.c_str()));
  }
  if (!(bounds[0] < bounds[1])) {
    throw UsageError(
        format("%s: the minimum %g is not below the maximum %g", option, bounds[0], bounds[1]));
  }
  return {bounds[0], bounds[1]};
}

std::pair<int, int> parsePair(const char* option, const std::string& text, char separator,
                              int minimum, int maximum) {
  const size_t split = text.find(separator);
  if (split == std::string::npos) {
    throw UsageError(
        format("%s: '%s' is not two numbers separated by '%c'", option, text.c_str(), separator));
  }
  const auto first = parseWholeNumber(option, text.substr(0, split), minimum, maximum);
  const auto second = parseWholeNumber(option, text.substr(split + 1), minimum, maximum);
  return {static_cast<int>(first), static_cast<int>(second)};
}

AxisScale parseScale(const char* option, const std::string& text, bool decibelAllowed) {
  if (text == "lin" || text == "linear") return AxisScale::Linear;
  if (text == "log" || text == "logarithmic") return AxisScale::Logarithmic;
  if (decibelAllowed && (text == "db" || text == "dB")) return AxisScale::Decibel;
  throw UsageError(format("%s: '%s' is not %s", option, text.c_str(),
                          decibelAllowed ? "lin, log or db" : "lin or log"));
}

PlotOptions parsePlotOptions(int argc, char** argv) {
  PlotOptions options;
  ArgumentReader reader(argc, argv, 2);
  while (reader.next()) {
    const std::string& name = reader.name();
    const char* option = name.c_str();
    if (takeSharedArgument(reader, options.help, options.json, options.input)) {
    } else if (name == "-o" || name == "--output") {
      options.output = reader.value();
    } else if (name == "--size") {
      std::tie(options.width, options.height) =
          parsePair(option, reader.value(), 'x', 1, kLargestSide);
    } else if (name == "--x-axis") {
      options.xScale = parseScale(option, reader.value(), false);
    } else if (name == "--y-axis") {
      options.yScale = parseScale(option, reader.value(), true);
    } else if (name == "--x-range") {
      options.xRange = parseRange(option, reader.value());
    } else if (name == "--y-range") {
      options.yRange = parseRange(option, reader.value());
    } else if (name == "--db-reference") {
      options.dbReference = parseReal(option, reader.value());
      if (!(options.dbReference > 0)) {
        throw UsageError(format("%s: %g is not above 0", option, options.dbReference));
      }
    } else if (name == "--background") {
      options.background = parseColour(option, reader.value());
    } else if (name == "--grid-colour" || name == "--grid-color") {
      options.grid = parseColour(option, reader.value());
    } else if (name == "--axis-colour" || name == "--axis-color") {
      options.axis = parseColour(option, reader.value());
    } else if (name == "--mark-colour" || name == "--mark-color") {
      options.mark = parseColour(option, reader.value());
    } else if (name == "--colours" || name == "--colors") {
      const std::string list = reader.value();
      options.colours.clear();
      for (size_t start = 0;;) {
        const size_t comma = list.find(',', start);
        options.colours.push_back(parseColour(option, list.substr(start, comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
      }
    } else if (name == "--font") {
      options.font = reader.value();
    } else if (name == "--cursor") {
      options.cursor = parsePair(option, reader.value(), ',', 0, kLargestSide - 1);
    } else if (name == "--source-rate") {
      options.sourceRate = parseReal(option, reader.value());
      if (!(*options.sourceRate > 0)) {
        throw UsageError(format("%s: '%g' is not above 0 Hz", option, *options.sourceRate));
      }
    } else if (name == "--frames") {
      options.frames = parseWholeNumber(option, reader.value(), 1, uint64_t{1} << 32);
    } else {
      rejectArgument(reader);
    }
  }
  if (options.help) return options;
  checkInputOptions(options.input);
  if (!options.output) throw UsageError("-o OUT.png is missing: the picture to write");
  const std::string& path = *options.output;
  if (path.size() < 4 || strcasecmp(path.c_str() + path.size() - 4, ".png") != 0) {
    throw UsageError(format("-o '%s': the picture is written as PNG, name it .png", path.c_str()));
  }
  if (options.input.file && options.frames) {
    throw UsageError("--frames sets the length of the synthetic run, not of a FILE");
  }
  const auto checkLogRange = [](const char* option, const auto& range, AxisScale scale) {
    if (range && scale == AxisScale::Logarithmic && range->first <= 0) {
      throw UsageError(
          format("%s: a logarithmic axis needs bounds above 0, not %g", option, range->first));
    }
  };
  checkLogRange("--x-range", options.xRange, options.xScale);
  checkLogRange("--y-range", options.yRange, options.yScale);
  return options;
}

const char* const kHelp = R"(Usage: kxcalc plot [OPTIONS] [FILE] -o OUT.png

Draws every channel of a recording as a curve into a PNG picture: each point
is placed by the library's graph mapping (kxcalcGetXYValGraph2D), consecutive
points joined by lines, with axes, ticks and labels. Long recordings are read
block by block. Without FILE it draws a synthetic acquisition of 4 channels.

X is the time in seconds when the sample rate is known (sound files, the
synthetic run, --source-rate), otherwise the frame number. Ranges not given
come from the data (minimum and maximum by the library's statistics).

Options:
  -o, --output FILE  the PNG picture to write (required)
  --size WxH         picture size in pixels (default 1200x700)
  --x-axis A         lin (default) or log
  --y-axis A         lin (default), log or db (20 log10 of value / reference)
  --x-range MIN,MAX  X axis bounds (seconds or frames)
  --y-range MIN,MAX  Y axis bounds (values; decibels on a db axis)
  --db-reference V   the value of 0 dB (default 1)
  --colours LIST     curve colours, one per channel, #rrggbb or names
  --background C     background colour (default white)
  --grid-colour C    grid colour (default #dcdcdc)
  --axis-colour C    frame, tick and label colour (default #303030)
  --mark-colour C    colour of the cursor mark (default black)
  --font FILE        TrueType font of the labels (default DejaVu Sans)
  --cursor X,Y       finds the curve pixel nearest to pixel X,Y with the
                     library's cursor search, reports it and marks it
  --source-rate HZ   sample rate of a raw FILE (or instead of a sound file's)
  --frames N         frames of the synthetic run (default 2048)
  --channels N       also the channels of the synthetic run (default 4)
  --json             print the summary as one JSON object
)";

Axis defaultXAxis(AxisScale scale, uint64_t frames, double step) {
  const double last = frames > 1 ? static_cast<double>(frames - 1) * step : step;
  if (scale == AxisScale::Logarithmic) {
    // The first frame lies at 0, which has no place on a logarithmic axis.
    return {scale, step, last > step ? last : 10 * step};
  }
  return {scale, 0, last};
}

Axis defaultYAxis(AxisScale scale, double low, double high, double dbReference) {
  if (!std::isfinite(low) || !std::isfinite(high)) {
    throw Failure("the data is not finite (NaN or infinity): give --y-range");
  }
  if (scale == AxisScale::Linear) {
    if (low == high) {
      const double half = low != 0 ? std::fabs(low) * 0.1 : 1;
      return {scale, low - half, high + half};
    }
    const double pad = (high - low) * 0.05;
    return {scale, low - pad, high + pad};
  }
  if (scale == AxisScale::Logarithmic) {
    if (high <= 0) throw Failure("no value above 0 for a logarithmic Y axis: give --y-range");
    const double top = std::ceil(std::log10(high));
    const double bottom = low > 0 ? std::floor(std::log10(low)) : top - 6;
    return {scale, std::pow(10.0, bottom), std::pow(10.0, bottom < top ? top : top + 1)};
  }
  const double peak = std::max(std::fabs(low), std::fabs(high)) / dbReference;
  if (!(peak > 1e-9)) throw Failure("no value above 1e-9 for a decibel Y axis: give --y-range");
  const double top = std::ceil(20 * std::log10(peak) / 10) * 10 + 0.0;  // never -0
  double bottom = top - 120;
  if (low > 1e-9)
    bottom = std::max(bottom, std::floor(20 * std::log10(low / dbReference) / 10) * 10);
  return {scale, bottom < top ? bottom : top - 10, top};
}

std::vector<uint32_t> curveColours(const PlotOptions& options, uint32_t channels) {
  std::vector<uint32_t> colours = options.colours;
  if (!colours.empty() && colours.size() != channels) {
    throw UsageError(
        format("--colours lists %zu colours for %u channels", colours.size(), channels));
  }
  for (uint32_t c = 0; colours.size() < channels; ++c) {
    // Beyond the palette, the palette again, darkened a step each round.
    const uint32_t base = kPalette[c % std::size(kPalette)];
    const uint32_t darker = c / std::size(kPalette) * 0x10;
    uint32_t colour = 0xFF000000;
    for (int shift = 0; shift < 24; shift += 8) {
      const uint32_t part = (base >> shift) & 0xFF;
      colour |= (part > darker ? part - darker : 0) << shift;
    }
    colours.push_back(colour);
  }
  for (uint32_t c = 0; c < channels; ++c) {
    for (const auto& [colour, role] :
         {std::pair{options.background, "background"}, std::pair{options.grid, "grid"},
          std::pair{options.axis, "axis"}}) {
      if (colours[c] == colour) {
        throw UsageError(
            format("channel %u's colour %s is the %s's: curves need colours of "
                   "their own",
                   c, colourText(colour).c_str(), role));
      }
    }
  }
  return colours;
}

// The mapping export's record for the plot area and the two axes; the caller sets the
// points (yData, index, pointsLeft) and xStart.
XYGraphPointRequest mappingRequest(const Rect& plot, const Axis& x, const Axis& y, double xStep,
                                   double dbReference) {
  XYGraphPointRequest request{};
  request.xSource = 2;  // index * xStep + xStart
  request.yDataType = RawType_double;
  request.xScale = x.scale == AxisScale::Logarithmic ? 1 : 0;
  request.yScale = y.scale == AxisScale::Linear ? 0 : y.scale == AxisScale::Logarithmic ? 1 : 2;
  request.left = static_cast<int16_t>(plot.left);
  request.right = static_cast<int16_t>(plot.right);
  request.top = static_cast<int16_t>(plot.top);
  request.bottom = static_cast<int16_t>(plot.bottom);
  request.xStep = xStep;
  request.yFactor = 1;
  request.xMin = x.minimum;
  request.xMax = x.maximum;
  if (x.scale == AxisScale::Logarithmic) {
    request.xLogMin = std::log10(x.minimum);
    request.xLogMax = std::log10(x.maximum);
  }
  request.yMin = y.minimum;
  request.yMax = y.maximum;
  if (y.scale == AxisScale::Logarithmic) {
    request.yLogMin = std::log10(y.minimum);
    request.yLogMax = std::log10(y.maximum);
  }
  request.dbReference = dbReference;
  return request;
}

// Where each channel's curve has got to: its last point, joined to the next.
struct CurveEnd {
  bool present = false;
  int x = 0, y = 0;
};

// Reads the source block by block and draws every channel's points, joined by lines;
// returns the number of points mapped.
uint64_t drawCurves(const Library& library, FrameSource& source,
                    const ChannelConversion& conversion, XYGraphPointRequest request, double xStep,
                    const std::vector<uint32_t>& colours, const Rect& plot, Canvas& canvas) {
  const auto map = KXTOOL_RESOLVE(library, kxcalcGetXYValGraph2D);
  ChannelBlocks<double> blocks(library, source, conversion);
  const uint32_t channels = source.channels();
  std::vector<CurveEnd> ends(channels);
  int32_t xPixels[4], yPixels[4];
  uint32_t mapped = 0;
  request.xPixels = xPixels;
  request.yPixels = yPixels;
  request.pointCount = &mapped;

  Progress progress("plot", source.frames());
  uint64_t first = 0;
  while (const size_t count = blocks.read()) {
    request.xStart = static_cast<double>(first) * xStep;
    for (uint32_t c = 0; c < channels; ++c) {
      const double* values = blocks.values(c);
      CurveEnd& end = ends[c];
      request.index = 0;
      request.pointsLeft = static_cast<uint32_t>(count);
      while (request.pointsLeft > 0) {
        request.yData = values + request.index;
        map(&request);
        for (uint32_t k = 0; k < mapped; ++k) {
          // A NaN or infinite value leaves a gap in the curve.
          if (!std::isfinite(values[request.index + static_cast<int32_t>(k)])) {
            end.present = false;
            continue;
          }
          const int x = xPixels[k], y = yPixels[k];
          if (end.present) {
            canvas.line(end.x, end.y, x, y, colours[c], plot);
          } else if (plot.contains(x, y)) {
            canvas.set(x, y, colours[c]);
          }
          end = {true, x, y};
        }
        request.index += static_cast<int32_t>(mapped);
        request.pointsLeft -= mapped;
      }
    }
    first += count;
    progress.update(first);
  }
  if (first == 0) throw Failure(format("%s: no complete frame", source.description().c_str()));
  return first * channels;
}

// Half way between the grid and the background.
uint32_t minorGridColour(const PlotOptions& options) {
  return 0xFF000000 | ((options.grid & 0xFEFEFE) / 2 + (options.background & 0xFEFEFE) / 2);
}

void drawAxes(Canvas& canvas, Font& font, const Rect& plot, const Axis& x, const Axis& y,
              const PlotOptions& options, bool labels) {
  const uint32_t minorGrid = minorGridColour(options);
  const int plotWidth = plot.right - plot.left, plotHeight = plot.bottom - plot.top;
  const auto xPixel = [&](double value) {
    return plot.left + static_cast<int>(std::lround(x.fraction(value) * plotWidth));
  };
  const auto yPixel = [&](double value) {
    return plot.bottom - static_cast<int>(std::lround(y.fraction(value) * plotHeight));
  };
  const std::vector<Tick> xTicks = axisTicks(x, std::max(2, plotWidth / 90));
  const std::vector<Tick> yTicks = axisTicks(y, std::max(2, plotHeight / 45));
  if (!labels) {
    for (const Tick& tick : xTicks) {
      canvas.verticalLine(xPixel(tick.value), plot.top, plot.bottom,
                          tick.label.empty() ? minorGrid : options.grid);
    }
    for (const Tick& tick : yTicks) {
      canvas.horizontalLine(plot.left, plot.right, yPixel(tick.value),
                            tick.label.empty() ? minorGrid : options.grid);
    }
    // The frame lies just outside the plot area, so that no curve pixel is hidden.
    canvas.horizontalLine(plot.left - 1, plot.right + 1, plot.top - 1, options.axis);
    canvas.horizontalLine(plot.left - 1, plot.right + 1, plot.bottom + 1, options.axis);
    canvas.verticalLine(plot.left - 1, plot.top - 1, plot.bottom + 1, options.axis);
    canvas.verticalLine(plot.right + 1, plot.top - 1, plot.bottom + 1, options.axis);
    return;
  }
  int lastLabelEnd = -1000000;
  for (const Tick& tick : xTicks) {
    if (tick.label.empty()) continue;
    const int px = xPixel(tick.value);
    canvas.verticalLine(px, plot.bottom + 2, plot.bottom + 5, options.axis);
    const int width = font.width(tick.label);
    const int start = std::clamp(px - width / 2, 0, canvas.width() - width);
    if (start <= lastLabelEnd + 6) continue;  // no overlapping labels
    font.draw(canvas, start, plot.bottom + 7 + font.ascent(), tick.label, options.axis);
    lastLabelEnd = start + width;
  }
  int lastLabelTop = 1000000;
  for (const Tick& tick : yTicks) {
    if (tick.label.empty()) continue;
    const int py = yPixel(tick.value);
    canvas.horizontalLine(plot.left - 5, plot.left - 2, py, options.axis);
    const int baseline = py + font.ascent() / 2 - 1;
    if (baseline > lastLabelTop - 4) continue;
    font.draw(canvas, plot.left - 8 - font.width(tick.label), baseline, tick.label, options.axis);
    lastLabelTop = baseline - font.ascent();
  }
}

struct CursorHit {
  bool found = false;
  int x = 0, y = 0;
  uint32_t colour = 0;
  int channel = -1;
  double xValue = 0, yValue = 0;
};

CursorHit findCursor(const Library& library, const Canvas& canvas, const Rect& plot,
                     std::pair<int, int> cursor, const std::vector<uint32_t>& excluded,
                     const std::vector<uint32_t>& colours, const Axis& x, const Axis& y) {
  // The search covers the plot area only: the labels around it are not curves.
  const uint32_t* topLeft = canvas.row(plot.top) + plot.left;
  const int32_t stride = -canvas.width() * static_cast<int32_t>(sizeof(uint32_t));  // top-down
  uint32_t value = 0, foundX = UINT32_MAX, foundY = UINT32_MAX;
  KXTOOL_RESOLVE(library, kxcalcFindCursorXY)
  (topLeft, stride, plot.right - plot.left + 1, plot.bottom - plot.top + 1,
   cursor.first - plot.left, cursor.second - plot.top, &value, &foundX, &foundY, excluded.data(),
   static_cast<int32_t>(excluded.size()));
  CursorHit hit;
  if (foundX == UINT32_MAX) return hit;
  hit.found = true;
  hit.x = plot.left + static_cast<int>(foundX);
  hit.y = plot.top + static_cast<int>(foundY);
  hit.colour = value;
  const auto match = std::find(colours.begin(), colours.end(), value);
  hit.channel = match == colours.end() ? -1 : static_cast<int>(match - colours.begin());
  hit.xValue = x.valueAt(static_cast<double>(hit.x - plot.left) / (plot.right - plot.left));
  hit.yValue = y.valueAt(static_cast<double>(plot.bottom - hit.y) / (plot.bottom - plot.top));
  return hit;
}

const char* scaleName(AxisScale scale) {
  return scale == AxisScale::Linear        ? "linear"
         : scale == AxisScale::Logarithmic ? "logarithmic"
                                           : "decibel";
}

// What the picture shows, for the summary.
struct Drawing {
  Rect area{};
  Axis x, y;
  std::string xTitle, yTitle;
  std::vector<uint32_t> colours;
  uint64_t points = 0;
  CursorHit hit;
};

// The Y axis from the data: every channel's minimum and maximum, read in a first pass.
Axis yAxisFromData(const Library& library, FrameSource& source, const ChannelConversion& conversion,
                   const PlotOptions& options) {
  Progress progress("plot: range", source.frames());
  const Measurement measurement =
      measureEngineeringValues(library, source, conversion, Precision::Double, &progress);
  double low = measurement.channels[0].minimum, high = measurement.channels[0].maximum;
  for (const ChannelStatistics& channel : measurement.channels) {
    low = std::min(low, channel.minimum);
    high = std::max(high, channel.maximum);
  }
  source.rewind();
  return defaultYAxis(options.yScale, low, high, options.dbReference);
}

// The axis titles below and left of the plot, the title above it and the legend on its right.
void drawTitles(Canvas& canvas, Font& font, const Drawing& drawing, const std::string& title,
                const PlotOptions& options) {
  const Rect& plot = drawing.area;
  font.draw(canvas, (plot.left + plot.right - font.width(drawing.xTitle)) / 2, options.height - 8,
            drawing.xTitle, options.axis);
  font.draw(canvas, 4 + font.ascent(), (plot.top + plot.bottom + font.width(drawing.yTitle)) / 2,
            drawing.yTitle, options.axis, true);
  const int baseline = 8 + font.ascent();
  font.draw(canvas, plot.left, baseline, title, options.axis);
  int legendX = plot.right + 1;
  for (auto c = static_cast<uint32_t>(drawing.colours.size()); c-- > 0;) {
    const std::string label = format("channel %u", c);
    legendX -= font.width(label) + 30;
    if (legendX < plot.left + font.width(title) + 20) break;  // no room left beside the title
    const int middle = 8 + font.ascent() / 2 + 2;
    canvas.horizontalLine(legendX, legendX + 18, middle, drawing.colours[c]);
    canvas.horizontalLine(legendX, legendX + 18, middle + 1, drawing.colours[c]);
    font.draw(canvas, legendX + 22, baseline, label, options.axis);
  }
}

void printJsonSummary(const Library& library, const FrameSource& source, const PlotOptions& options,
                      const Drawing& drawing) {
  const Rect& plot = drawing.area;
  JsonObject summary;
  summary.add("output", *options.output)
      .add("width", options.width)
      .add("height", options.height)
      .add("plotArea", JsonObject()
                           .add("left", plot.left)
                           .add("top", plot.top)
                           .add("right", plot.right)
                           .add("bottom", plot.bottom))
      .add("x", JsonObject()
                    .add("scale", scaleName(drawing.x.scale))
                    .add("min", drawing.x.minimum)
                    .add("max", drawing.x.maximum)
                    .add("title", drawing.xTitle))
      .add("y", JsonObject()
                    .add("scale", scaleName(drawing.y.scale))
                    .add("min", drawing.y.minimum)
                    .add("max", drawing.y.maximum)
                    .add("title", drawing.yTitle))
      .add("channels", source.channels())
      .add("points", drawing.points);
  std::string colourList = "[";
  for (size_t c = 0; c < drawing.colours.size(); ++c) {
    colourList += (c ? ", " : "") + JsonObject::quoted(colourText(drawing.colours[c]));
  }
  summary.addRaw("colours", colourList + "]");
  if (options.cursor) {
    const CursorHit& hit = drawing.hit;
    JsonObject cursor;
    cursor.add("x", options.cursor->first).add("y", options.cursor->second).add("found", hit.found);
    if (hit.found) {
      cursor.add("pixelX", hit.x)
          .add("pixelY", hit.y)
          .add("colour", colourText(hit.colour))
          .add("channel", hit.channel)
          .add("xValue", hit.xValue)
          .add("yValue", hit.yValue);
    }
    summary.add("cursor", cursor);
  }
  summary.add("library", JsonObject()
                             .add("version", library.version())
                             .add("variant", variantName(library.variant()))
                             .add("path", library.path()));
  std::printf("%s\n", summary.text().c_str());
}

void printSummary(const Library& library, const FrameSource& source, const PlotOptions& options,
                  const Drawing& drawing) {
  const Rect& plot = drawing.area;
  const char* yUnit = drawing.y.scale == AxisScale::Decibel ? " dB" : "";
  printBanner(library);
  std::printf("input: %s\n", source.description().c_str());
  std::printf("picture: '%s', %dx%d, plot area x %d..%d, y %d..%d\n", options.output->c_str(),
              options.width, options.height, plot.left, plot.right, plot.top, plot.bottom);
  std::printf("x axis: %s, %.9g .. %.9g, %s\n", scaleName(drawing.x.scale), drawing.x.minimum,
              drawing.x.maximum, drawing.xTitle.c_str());
  std::printf("y axis: %s, %.9g .. %.9g%s, %s\n", scaleName(drawing.y.scale), drawing.y.minimum,
              drawing.y.maximum, yUnit, drawing.yTitle.c_str());
  std::printf("curves: %u channel%s, %llu points mapped by kxcalcGetXYValGraph2D; colours",
              source.channels(), source.channels() == 1 ? "" : "s",
              static_cast<unsigned long long>(drawing.points));
  for (const uint32_t colour : drawing.colours) std::printf(" %s", colourText(colour).c_str());
  std::printf("\n");
  if (!options.cursor) return;
  const auto [cursorX, cursorY] = *options.cursor;
  const CursorHit& hit = drawing.hit;
  if (hit.found) {
    std::printf(
        "cursor %d,%d: nearest curve pixel %d,%d, colour %s, channel %d, x %.6g, y %.6g%s\n",
        cursorX, cursorY, hit.x, hit.y, colourText(hit.colour).c_str(), hit.channel, hit.xValue,
        hit.yValue, yUnit);
  } else {
    std::printf("cursor %d,%d: no curve pixel in the plot area\n", cursorX, cursorY);
  }
}

}  // namespace

int plotCommand(int argc, char** argv) {
  const PlotOptions options = parsePlotOptions(argc, argv);
  if (options.help) {
    std::printf("%s%s%s", kHelp, kInputOptionsHelp, kVariantHelp);
    return 0;
  }
  Drawing drawing;
  const Rect& plot = drawing.area = {kMarginLeft, kMarginTop, options.width - 1 - kMarginRight,
                                     options.height - 1 - kMarginBottom};
  if (plot.right - plot.left + 1 < kSmallestPlotWidth ||
      plot.bottom - plot.top + 1 < kSmallestPlotHeight) {
    throw UsageError(
        format("--size %dx%d is too small: the plot area inside the margins would "
               "be %dx%d, at least %dx%d is needed",
               options.width, options.height, std::max(0, plot.right - plot.left + 1),
               std::max(0, plot.bottom - plot.top + 1), kSmallestPlotWidth, kSmallestPlotHeight));
  }
  if (options.cursor &&
      (options.cursor->first >= options.width || options.cursor->second >= options.height)) {
    throw UsageError(format("--cursor %d,%d lies outside the %dx%d picture", options.cursor->first,
                            options.cursor->second, options.width, options.height));
  }
  Font font(findFont(options.font), kFontSize);
  const Library library(options.input.variant);

  std::unique_ptr<FrameSource> source =
      options.input.file
          ? openInputFile(options.input)
          : acquisitionSource(options.input.channels.value_or(kDefaultSyntheticChannels),
                              options.frames.value_or(kDefaultSyntheticFrames));
  const ChannelConversion conversion = channelConversion(options.input, *source);
  drawing.colours = curveColours(options, source->channels());
  const double rate = options.sourceRate.value_or(source->sampleRate());
  const double xStep = rate > 0 ? 1 / rate : 1;

  if (options.xRange) {
    drawing.x = {options.xScale, options.xRange->first, options.xRange->second};
  } else if (source->frames() == 0) {
    throw Failure(
        format("'%s' does not say its length: give --x-range", options.input.file->c_str()));
  } else {
    drawing.x = defaultXAxis(options.xScale, source->frames(), xStep);
  }
  drawing.y = options.yRange ? Axis{options.yScale, options.yRange->first, options.yRange->second}
                             : yAxisFromData(library, *source, conversion, options);
  const std::string unit = conversion.userGiven ? source->scaledUnit() : source->unit();
  drawing.xTitle = rate > 0 ? "time (s)" : "frame";
  drawing.yTitle =
      drawing.y.scale == AxisScale::Decibel ? format("dB re %g", options.dbReference) : unit;

  // Grid and frame first, the curves over them, the labels outside the plot area last.
  Canvas canvas(options.width, options.height, options.background);
  drawAxes(canvas, font, plot, drawing.x, drawing.y, options, false);
  drawing.points =
      drawCurves(library, *source, conversion,
                 mappingRequest(plot, drawing.x, drawing.y, xStep, options.dbReference), xStep,
                 drawing.colours, plot, canvas);
  drawAxes(canvas, font, plot, drawing.x, drawing.y, options, true);
  drawTitles(canvas, font, drawing,
             options.input.file ? *options.input.file : "synthetic acquisition", options);

  if (options.cursor) {
    drawing.hit =
        findCursor(library, canvas, plot, *options.cursor,
                   {options.background, options.grid, minorGridColour(options), options.axis},
                   drawing.colours, drawing.x, drawing.y);
    const auto [cursorX, cursorY] = *options.cursor;
    canvas.horizontalLine(cursorX - 4, cursorX + 4, cursorY, options.mark);
    canvas.verticalLine(cursorX, cursorY - 4, cursorY + 4, options.mark);
    if (drawing.hit.found) {
      canvas.ring(drawing.hit.x, drawing.hit.y, 6, options.mark);
      canvas.ring(drawing.hit.x, drawing.hit.y, 7, options.mark);
    }
  }
  canvas.writePng(*options.output);

  if (options.json) {
    printJsonSummary(library, *source, options, drawing);
  } else {
    printSummary(library, *source, options, drawing);
  }
  return 0;
}

}  // namespace kxtool
