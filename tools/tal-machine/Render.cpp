#include "Render.h"

#include <TalSDK/sdk/sax/SAXWriter.h>

#include <algorithm>
#include <any>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "Text.h"

namespace TalMachineTool {

namespace {

using Platform = MSAXMachinePlatform;
using Attributes = std::initializer_list<std::pair<std::string_view, std::string>>;

struct Pt {
  double x = 0.0;
  double y = 0.0;
};

// A number with at most two decimals and no trailing zeros.
std::string Num(double value) {
  std::array<char, 64> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                 std::chars_format::fixed, 2)
                       .ptr;
  std::string text(buffer.data(), end);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

double Mm(std::int32_t internal) {
  return static_cast<double>(internal) / MUnit::GetIE();
}

struct Bounds {
  double minX = std::numeric_limits<double>::infinity(), minY = minX;
  double maxX = -minX, maxY = -minX;
  void Add(double x, double y) {
    minX = std::min(minX, x), maxX = std::max(maxX, x);
    minY = std::min(minY, y), maxY = std::max(maxY, y);
  }
};

// The convex hull of `points`, counter-clockwise (monotone chain).
std::vector<Pt> ConvexHull(std::vector<Pt> points) {
  std::sort(points.begin(), points.end(),
            [](const Pt& a, const Pt& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  if (points.size() < 3) return points;
  const auto cross = [](const Pt& o, const Pt& a, const Pt& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
  };
  std::vector<Pt> hull(2 * points.size());
  std::size_t k = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    while (k >= 2 && cross(hull[k - 2], hull[k - 1], points[i]) <= 0)
      --k;
    hull[k++] = points[i];
  }
  for (std::size_t i = points.size() - 1, lower = k + 1; i-- > 0;) {
    while (k >= lower && cross(hull[k - 2], hull[k - 1], points[i]) <= 0)
      --k;
    hull[k++] = points[i];
  }
  hull.resize(k - 1);
  return hull;
}

// One locked area as drawn: a box (centre, half extents), a circle (centre, radius) or the
// outline of a custom mesh seen from above.
struct Area {
  enum class Shape { Box, Circle, Outline } shape = Shape::Box;
  std::string name, kind;
  bool visible = true;
  Pt center;
  double rx = 0.0, ry = 0.0;
  std::vector<Pt> outline;
};

std::vector<Area> CollectAreas(const TalAM::MachineParameters& machine) {
  std::vector<Area> areas;
  for (const auto& [name, holder] : machine.m_lockedAreas.m_areas) {
    Area area;
    area.name = ToUtf8(name);
    area.visible = holder.IsVisible();
    const std::any& value = holder.GetValue();
    if (const auto* box = std::any_cast<LockedAreas::Rectangle>(&value)) {
      area.kind = "box";
      area.center = {box->center.x, box->center.y};
      area.rx = box->width.x / 2, area.ry = box->width.y / 2;
    } else if (const auto* cylinder = std::any_cast<LockedAreas::Cylindrical>(&value)) {
      area.shape = Area::Shape::Circle;
      area.kind = "cylinder";
      area.center = {cylinder->center.x, cylinder->center.y};
      area.rx = area.ry = cylinder->radius;
    } else if (const auto* custom = std::any_cast<LockedAreas::CustomShape>(&value)) {
      area.shape = Area::Shape::Outline;
      area.kind = "custom shape";
      std::vector<Pt> points;
      if (custom->stl) {
        for (const MStlVertex& vertex : custom->stl->GetVertices()) {
          points.push_back({vertex.x, vertex.y});
        }
      }
      area.outline = ConvexHull(std::move(points));
    } else {
      continue;  // a type this tool does not know how to draw
    }
    areas.push_back(std::move(area));
  }
  return areas;
}

std::string Rgb(const TalSDK::Common::Color& color) {
  const auto channel = [](float value) {
    return std::to_string(static_cast<int>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255)));
  };
  return "rgb(" + channel(color.r) + "," + channel(color.g) + "," + channel(color.b) + ")";
}

const char* DirectionText(Platform::Direction direction) {
  switch (direction) {
    case Platform::Direction::Positive:
      return "positive";
    case Platform::Direction::Negative:
      return "negative";
    case Platform::Direction::Double:
      return "both ways";
  }
  return "?";
}

// Elements through the library's XML writer, attributes included.
class Svg {
 public:
  explicit Svg(TalSAX::ISAXWriter& writer) : m_writer(writer) {}
  void Open(std::string_view name, Attributes attributes) {
    m_writer.StartTag(name);
    for (const auto& [key, value] : attributes)
      m_writer.WriteAttribute(key, value);
  }
  void Close(std::string_view name) { m_writer.EndTag(name); }
  void Leaf(std::string_view name, Attributes attributes) {
    Open(name, attributes);
    Close(name);
  }
  void Text(Attributes attributes, std::string_view text) {
    Open("text", attributes);
    m_writer.WriteText(text);
    Close("text");
  }

 private:
  TalSAX::ISAXWriter& m_writer;
};

const char* const kPalette[] = {"#e67e22", "#8e44ad", "#16a085", "#c0392b", "#2980b9", "#7f8c8d"};
const char* const kGasColor = "#1f6fb2";
const char* const kRecoaterColor = "#2e8b3a";

std::string Render(const TalAM::MachineParameters& machine) {
  const Platform& platform = machine.m_platform;
  const bool circle = platform.m_shape == Platform::PlatformShape::Circle;
  const double dx = Mm(platform.m_envelope.m_dx);
  // A Circle platform is the circle of diameter Dx inscribed in the square [0, Dx]².
  const double dy = circle ? dx : Mm(platform.m_envelope.m_dy);
  const Pt position{Mm(platform.m_position.x), Mm(platform.m_position.y)};
  const Pt part{Mm(platform.m_defaultPartPosition.x), Mm(platform.m_defaultPartPosition.y)};
  const std::vector<Area> areas = CollectAreas(machine);

  // Everything drawn stays on the canvas, areas lying off the platform included.
  Bounds bounds;
  bounds.Add(0, 0);
  bounds.Add(dx, dy);
  bounds.Add(position.x, position.y);
  bounds.Add(part.x, part.y);
  for (const Area& area : areas) {
    if (area.shape == Area::Shape::Outline) {
      for (const Pt& p : area.outline)
        bounds.Add(p.x, p.y);
    } else {
      bounds.Add(area.center.x - area.rx, area.center.y - area.ry);
      bounds.Add(area.center.x + area.rx, area.center.y + area.ry);
    }
  }
  const double size = std::max({bounds.maxX - bounds.minX, bounds.maxY - bounds.minY, 10.0});
  const double font = size / 36, margin = size * 0.12, stroke = size / 400;
  const double title = 2.4 * font;

  // Canvas coordinates in millimetres; SVG y grows downwards, so +Y is flipped to point up.
  const auto X = [&](double x) { return margin + x - bounds.minX; };
  const auto Y = [&](double y) { return title + margin + bounds.maxY - y; };

  // Legend lines: swatch kind, colour, text.
  struct Entry {
    std::string swatch, color, text, cls;
    bool dashed = false;
  };
  std::vector<Entry> legend;
  legend.push_back({"platform", "#222",
                    std::string(circle ? "Platform, circle ⌀" + Num(dx) + " mm"
                                       : "Platform " + Num(dx) + " × " + Num(dy) + " mm"),
                    "legend"});
  for (const auto& overlap : platform.m_laserOverlaps.m_overlaps) {
    legend.push_back({"band", Rgb(overlap.color),
                      std::string("Laser overlap ") +
                          (overlap.orientation == DirectionAxis::X ? "X" : "Y") + " = " +
                          Num(Mm(overlap.position)) + " mm, " + Num(Mm(overlap.width)) + " mm wide",
                      "legend"});
  }
  legend.push_back({"cross", "#222", "Platform position", "legend"});
  legend.push_back({"diamond", "#d0021b", "Default part position", "legend"});
  // Gas flow and recoater: "Gas flow Y negative".
  const auto indication = [&legend](const char* colour, std::string name, const auto& shown) {
    legend.push_back({"arrow", colour,
                      name + (shown.directionAxis == DirectionAxis::X ? " X " : " Y ") +
                          DirectionText(shown.direction),
                      "legend"});
  };
  if (platform.m_gasFlow) indication(kGasColor, "Gas flow", *platform.m_gasFlow);
  if (platform.m_recoater) indication(kRecoaterColor, "Recoater", *platform.m_recoater);
  for (std::size_t i = 0; i < areas.size(); ++i) {
    const Area& area = areas[i];
    legend.push_back({"area", area.visible ? kPalette[i % std::size(kPalette)] : "#888",
                      std::to_string(i + 1) + " " + area.name + " (" + area.kind +
                          (area.visible ? "" : ", hidden") + ")",
                      "legend-area", !area.visible});
  }
  if (!machine.m_lockedAreas.m_areasEnabled && !areas.empty()) {
    legend.push_back({"", "", "Locked areas are disabled", "legend"});
  }

  std::size_t longest = 0;
  for (const Entry& entry : legend)
    longest = std::max(longest, entry.text.size());
  const double line = 1.6 * font;
  const double legendX = X(bounds.maxX) + margin;
  const double width = legendX + 2.2 * font + 0.55 * font * static_cast<double>(longest) + margin;
  const double scaleY = Y(bounds.minY) + margin + 1.5 * font;
  const double height = std::max(scaleY + 2 * font, title + margin + line * legend.size());
  const double pixels = std::min(880 / width, 780 / height);

  std::string text;
  TalSAX::SAXWriter writer(nullptr);
  writer.OpenString(text);
  Svg svg(writer);
  svg.Open("svg", {{"xmlns", "http://www.w3.org/2000/svg"},
                   {"viewBox", "0 0 " + Num(width) + " " + Num(height)},
                   {"width", Num(width * pixels)},
                   {"height", Num(height * pixels)},
                   {"font-family", "sans-serif"},
                   {"font-size", Num(font)}});
  svg.Open("defs", {});
  svg.Open("clipPath", {{"id", "platform-clip"}});
  if (circle) {
    svg.Leaf("circle", {{"cx", Num(X(dx / 2))}, {"cy", Num(Y(dx / 2))}, {"r", Num(dx / 2)}});
  } else {
    svg.Leaf("rect",
             {{"x", Num(X(0))}, {"y", Num(Y(dy))}, {"width", Num(dx)}, {"height", Num(dy)}});
  }
  svg.Close("clipPath");
  for (const auto& [id, color] :
       {std::pair{"gas-head", kGasColor}, {"recoater-head", kRecoaterColor}}) {
    svg.Open("marker", {{"id", id},
                        {"viewBox", "0 0 10 10"},
                        {"refX", "8"},
                        {"refY", "5"},
                        {"markerWidth", "3.5"},
                        {"markerHeight", "3.5"},
                        {"orient", "auto-start-reverse"}});
    svg.Leaf("path", {{"d", "M0,0 L10,5 L0,10 z"}, {"fill", color}});
    svg.Close("marker");
  }
  svg.Close("defs");
  svg.Leaf("rect", {{"width", "100%"}, {"height", "100%"}, {"fill", "white"}});

  // Title.
  std::string name = ToUtf8(machine.GetName());
  svg.Text({{"x", Num(margin)},
            {"y", Num(1.5 * font)},
            {"font-size", Num(1.2 * font)},
            {"font-weight", "bold"}},
           (name.empty() ? std::string("Machine") : name) + " — platform, top view");

  // Envelope.
  const std::string strokeWidth = Num(stroke * 2);
  if (circle) {
    svg.Leaf("circle", {{"class", "platform"},
                        {"cx", Num(X(dx / 2))},
                        {"cy", Num(Y(dx / 2))},
                        {"r", Num(dx / 2)},
                        {"fill", "#f4f4f0"},
                        {"stroke", "#222"},
                        {"stroke-width", strokeWidth}});
  } else {
    svg.Leaf("rect", {{"class", "platform"},
                      {"x", Num(X(0))},
                      {"y", Num(Y(dy))},
                      {"width", Num(dx)},
                      {"height", Num(dy)},
                      {"fill", "#f4f4f0"},
                      {"stroke", "#222"},
                      {"stroke-width", strokeWidth}});
  }

  // Laser overlap bands: orientation X is a band `width` wide centred on x = position, across
  // the whole platform in Y; orientation Y the same across X. Clipped to the platform.
  svg.Open("g", {{"clip-path", "url(#platform-clip)"}});
  for (const auto& overlap : platform.m_laserOverlaps.m_overlaps) {
    const double centre = Mm(overlap.position), half = Mm(overlap.width) / 2;
    const bool alongX = overlap.orientation == DirectionAxis::X;
    svg.Leaf("rect", {{"class", "overlap"},
                      {"x", Num(alongX ? X(centre - half) : X(0))},
                      {"y", Num(alongX ? Y(dy) : Y(centre + half))},
                      {"width", Num(alongX ? 2 * half : dx)},
                      {"height", Num(alongX ? dy : 2 * half)},
                      {"fill", Rgb(overlap.color)},
                      {"fill-opacity", Num(std::clamp(overlap.color.a, 0.0f, 1.0f))}});
  }
  svg.Close("g");

  // Locked areas, numbered as in the legend; hidden ones grey and dashed.
  for (std::size_t i = 0; i < areas.size(); ++i) {
    const Area& area = areas[i];
    const std::string color = area.visible ? kPalette[i % std::size(kPalette)] : "#888";
    const std::string dash = area.visible ? "none" : Num(stroke * 8) + " " + Num(stroke * 5);
    const std::string fillOpacity = area.visible ? "0.35" : "0.08";
    Pt label = area.center;
    switch (area.shape) {
      case Area::Shape::Box:
        svg.Leaf("rect", {{"class", "area"},
                          {"data-name", area.name},
                          {"data-kind", area.kind},
                          {"x", Num(X(area.center.x - area.rx))},
                          {"y", Num(Y(area.center.y + area.ry))},
                          {"width", Num(2 * area.rx)},
                          {"height", Num(2 * area.ry)},
                          {"fill", color},
                          {"fill-opacity", fillOpacity},
                          {"stroke", color},
                          {"stroke-width", strokeWidth},
                          {"stroke-dasharray", dash}});
        break;
      case Area::Shape::Circle:
        svg.Leaf("circle", {{"class", "area"},
                            {"data-name", area.name},
                            {"data-kind", area.kind},
                            {"cx", Num(X(area.center.x))},
                            {"cy", Num(Y(area.center.y))},
                            {"r", Num(area.rx)},
                            {"fill", color},
                            {"fill-opacity", fillOpacity},
                            {"stroke", color},
                            {"stroke-width", strokeWidth},
                            {"stroke-dasharray", dash}});
        break;
      case Area::Shape::Outline: {
        std::string points;
        Bounds box;
        for (const Pt& p : area.outline) {
          points += (points.empty() ? "" : " ") + Num(X(p.x)) + "," + Num(Y(p.y));
          box.Add(p.x, p.y);
        }
        svg.Leaf("polygon", {{"class", "area"},
                             {"data-name", area.name},
                             {"data-kind", area.kind},
                             {"points", points},
                             {"fill", color},
                             {"fill-opacity", fillOpacity},
                             {"stroke", color},
                             {"stroke-width", strokeWidth},
                             {"stroke-dasharray", dash}});
        // The label goes in a corner: the middle of a large outline is often taken.
        label = area.outline.empty() ? Pt{} : Pt{box.minX + font, box.maxY - 1.2 * font};
        break;
      }
    }
    svg.Text({{"x", Num(X(label.x))},
              {"y", Num(Y(label.y) + 0.35 * font)},
              {"text-anchor", "middle"},
              {"font-weight", "bold"},
              {"fill", color}},
             std::to_string(i + 1));
  }

  // Gas flow below (axis X) or left of (axis Y) the drawing, recoater above or right of it.
  const auto arrow = [&](DirectionAxis axis, Platform::Direction direction, bool low,
                         const char* color, const char* head, const char* label) {
    const bool alongX = axis == DirectionAxis::X;
    const double offset = margin * 0.5;
    const double at = alongX ? (low ? bounds.minY - offset : bounds.maxY + offset)
                             : (low ? bounds.minX - offset : bounds.maxX + offset);
    const double from = (alongX ? dx : dy) * 0.3, to = (alongX ? dx : dy) * 0.7;
    const bool negative = direction == Platform::Direction::Negative;
    const double a = negative ? to : from, b = negative ? from : to;
    const Pt start = alongX ? Pt{X(a), Y(at)} : Pt{X(at), Y(a)};
    const Pt end = alongX ? Pt{X(b), Y(at)} : Pt{X(at), Y(b)};
    const std::string marker = std::string("url(#") + head + ")";
    svg.Open("line", {{"class", "arrow"},
                      {"x1", Num(start.x)},
                      {"y1", Num(start.y)},
                      {"x2", Num(end.x)},
                      {"y2", Num(end.y)},
                      {"stroke", color},
                      {"stroke-width", Num(stroke * 4)},
                      {"marker-end", marker}});
    if (direction == Platform::Direction::Double) writer.WriteAttribute("marker-start", marker);
    svg.Close("line");
    const Pt middle =
        alongX ? Pt{X(dx / 2), Y(at) - 0.6 * font} : Pt{X(at) - 0.6 * font, Y(dy / 2)};
    // Beside a vertical arrow the label reads upwards.
    svg.Open(
        "text",
        {{"x", Num(middle.x)}, {"y", Num(middle.y)}, {"text-anchor", "middle"}, {"fill", color}});
    if (!alongX) {
      writer.WriteAttribute("transform", "rotate(-90 " + Num(middle.x) + " " + Num(middle.y) + ")");
    }
    writer.WriteText(label);
    svg.Close("text");
  };
  if (platform.m_gasFlow) {
    arrow(platform.m_gasFlow->directionAxis, platform.m_gasFlow->direction, true, kGasColor,
          "gas-head", "gas flow");
  }
  if (platform.m_recoater) {
    arrow(platform.m_recoater->directionAxis, platform.m_recoater->direction, false, kRecoaterColor,
          "recoater-head", "recoater");
  }

  // Platform position: a cross; default part position: a diamond.
  const double arm = font * 0.6;
  svg.Leaf("path", {{"class", "position"},
                    {"d", "M" + Num(X(position.x) - arm) + "," + Num(Y(position.y)) + " h" +
                              Num(2 * arm) + " M" + Num(X(position.x)) + "," +
                              Num(Y(position.y) - arm) + " v" + Num(2 * arm)},
                    {"stroke", "#222"},
                    {"stroke-width", Num(stroke * 3)}});
  svg.Leaf("path", {{"class", "part"},
                    {"d", "M" + Num(X(part.x)) + "," + Num(Y(part.y) - arm) + " l" + Num(arm) +
                              "," + Num(arm) + " l" + Num(-arm) + "," + Num(arm) + " l" +
                              Num(-arm) + "," + Num(-arm) + " z"},
                    {"fill", "#d0021b"}});

  // Scale bar: the largest 1, 2 or 5 × 10ⁿ mm not over a quarter of the drawing.
  const double decade = std::pow(10.0, std::floor(std::log10(size / 4)));
  double bar = decade;
  for (const double step : {2.0, 5.0}) {
    if (decade * step <= size / 4) bar = decade * step;
  }
  const double barX = X(bounds.minX);
  svg.Leaf("path", {{"class", "scale-bar"},
                    {"d", "M" + Num(barX) + "," + Num(scaleY - font / 2) + " v" + Num(font / 2) +
                              " h" + Num(bar) + " v" + Num(-font / 2)},
                    {"fill", "none"},
                    {"stroke", "#222"},
                    {"stroke-width", strokeWidth}});
  svg.Text({{"x", Num(barX + bar + font / 2)}, {"y", Num(scaleY)}}, Num(bar) + " mm");

  // Legend.
  for (std::size_t i = 0; i < legend.size(); ++i) {
    const Entry& entry = legend[i];
    const double top = title + margin + line * static_cast<double>(i);
    const double mid = top + font * 0.5;
    const std::string sx = Num(legendX), sy = Num(top), s = Num(font);
    if (entry.swatch == "platform") {
      svg.Leaf("rect", {{"x", sx},
                        {"y", sy},
                        {"width", s},
                        {"height", s},
                        {"fill", "#f4f4f0"},
                        {"stroke", entry.color},
                        {"stroke-width", strokeWidth}});
    } else if (entry.swatch == "band") {
      svg.Leaf("rect", {{"x", sx},
                        {"y", sy},
                        {"width", s},
                        {"height", s},
                        {"fill", entry.color},
                        {"fill-opacity", "0.5"}});
    } else if (entry.swatch == "area") {
      svg.Leaf("rect", {{"x", sx},
                        {"y", sy},
                        {"width", s},
                        {"height", s},
                        {"fill", entry.color},
                        {"fill-opacity", entry.dashed ? "0.08" : "0.35"},
                        {"stroke", entry.color},
                        {"stroke-width", strokeWidth},
                        {"stroke-dasharray", entry.dashed ? Num(stroke * 4) : "none"}});
    } else if (entry.swatch == "cross") {
      svg.Leaf("path", {{"d", "M" + sx + "," + Num(mid) + " h" + s + " M" +
                                  Num(legendX + font / 2) + "," + sy + " v" + s},
                        {"stroke", entry.color},
                        {"stroke-width", Num(stroke * 3)}});
    } else if (entry.swatch == "diamond") {
      svg.Leaf("path",
               {{"d", "M" + Num(legendX + font / 2) + "," + sy + " l" + Num(font / 2) + "," +
                          Num(font / 2) + " l" + Num(-font / 2) + "," + Num(font / 2) + " l" +
                          Num(-font / 2) + "," + Num(-font / 2) + " z"},
                {"fill", entry.color}});
    } else if (entry.swatch == "arrow") {
      svg.Leaf("path", {{"d", "M" + sx + "," + Num(mid) + " h" + s + " l" + Num(-font / 3) + "," +
                                  Num(-font / 3) + " m" + Num(font / 3) + "," + Num(font / 3) +
                                  " l" + Num(-font / 3) + "," + Num(font / 3)},
                        {"fill", "none"},
                        {"stroke", entry.color},
                        {"stroke-width", Num(stroke * 3)}});
    }
    svg.Text(
        {{"class", entry.cls}, {"x", Num(legendX + 1.6 * font)}, {"y", Num(mid + 0.35 * font)}},
        entry.text);
  }
  svg.Close("svg");
  writer.Close();
  return text;
}

}  // namespace

int RunRender(const std::string& file, const std::string& out, Policy policy) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, policy)) return kFailure;
  const std::string svg = Render(machine);
  if (out.empty() || out == "-") {
    std::cout << svg;
    return kSuccess;
  }
  const bool written = SaveReplacing(out, [&svg](const std::string& temporary) {
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    if (stream) stream << svg;
    if (stream) stream.close();
    return stream ? std::string() : "cannot write: " + std::string(std::strerror(errno));
  });
  if (!written) return kFailure;
  return kSuccess;
}

}  // namespace TalMachineTool
