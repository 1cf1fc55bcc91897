#include "Cost.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <vector>

#include "Text.h"

namespace TalMachineTool {

namespace {

using P = MBuildtimeEstimatorParameter;

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Money: two decimals, never "-0.00".
std::string Money(double value) {
  const std::string text = Format("%.2f", value);
  return text == "-0.00" ? "0.00" : text;
}

// A rate: two decimals like money, more when two would round it (0.005 per litre).
std::string Rate(double value) {
  const std::string significant = Format("%.6g", value);
  const std::size_t point = significant.find('.');
  const bool exponent = significant.find('e') != std::string::npos;
  if (exponent ? std::fabs(value) < 1.0
               : point != std::string::npos && significant.size() - point - 1 > 2) {
    return significant;
  }
  return Money(value);
}

// Up to six significant digits; large values in full rather than with an exponent.
std::string Units(double value) {
  return Format(std::fabs(value) >= 1e6 ? "%.0f" : "%.6g", value);
}

// Columns are aligned by code points, so that non-ASCII names keep the columns straight.
std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

using Row = std::array<std::string, 5>;

void PrintTable(const std::vector<Row>& rows, const std::wstring& currency) {
  constexpr std::array<bool, 5> kRight = {false, false, true, true, true};
  std::array<std::size_t, 5> widths{};
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], Width(row[column]));
    }
  }
  for (std::size_t index = 0; index < rows.size(); ++index) {
    std::string line;
    for (std::size_t column = 0; column < rows[index].size(); ++column) {
      const std::string& cell = rows[index][column];
      const std::string pad(widths[column] - Width(cell), ' ');
      if (column > 0) line += "  ";
      line += kRight[column] ? pad + cell : cell + pad;
    }
    // The total line carries the currency after its amount.
    if (index + 1 == rows.size() && !currency.empty()) {
      line += " " + Printable(ToUtf8(currency));
    }
    while (!line.empty() && line.back() == ' ')
      line.pop_back();
    std::cout << line << '\n';
  }
}

void Warning(const std::string& file, std::string_view line) {
  Error(ShownName(file) + ": warning: " + std::string(line));
}

}  // namespace

int RunCost(const std::string& file, Policy policy, const BuildQuantities& build) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, policy)) return kFailure;

  MBuildtimePlatform platform;
  const auto set = [&platform](P parameter, double value) {
    platform.SetParameter(static_cast<unsigned int>(parameter), value);
  };
  set(P::Volume, build.volume);
  set(P::SupportVolume, build.supportVolume);
  set(P::SurfaceArea, build.surface);
  set(P::DeltaX, build.dx.value_or(0.0));
  set(P::DeltaY, build.dy.value_or(0.0));
  set(P::DeltaZ, build.dz.value_or(0.0));
  set(P::NumberOfStls, build.stls);
  if (build.dx && build.dy && build.dz)
    set(P::VolumeBoundingBox, *build.dx * *build.dy * *build.dz);
  const double time = build.time.value_or(0.0);

  const MCostFragments& costs = machine.m_costFragments;
  std::vector<Row> rows = {{"Fragment", "Dependency", "Units", "Unit cost", "Cost"}};
  double total = 0.0;
  for (std::size_t index = 0; index < costs.GetNumberOfCostFragments(); ++index) {
    const MCostFragment& fragment = costs.GetCostFragment(index);
    const P dependency = fragment.GetDependency();
    const std::string name = Printable(ToUtf8(fragment.GetName()));
    const std::string dependencyName = Printable(
        ToUtf8(MBuildtimePlatform::GetParameterName(static_cast<unsigned int>(dependency))));
    const double cost = costs.CalculateFragmentCost(index, platform, time);
    total += cost;
    rows.push_back({name, dependencyName, Units(costs.CalculateTotalUnits(index, platform, time)),
                    Rate(fragment.GetUnitCost()), Money(cost)});

    if (dependency == P::EstimatedBuildTime && !build.time) {
      Warning(file, "cost fragment '" + name +
                        "' depends on the estimated build time, which is 0 without --time");
    }
    const auto& charged = MCostFragments::m_dependency_list;
    if (std::find(std::begin(charged), std::end(charged), dependency) == std::end(charged)) {
      Warning(file, "cost fragment '" + name + "' depends on " + dependencyName +
                        ", which always costs nothing");
    }
  }
  rows.push_back({"Total", "", "", "", Money(total)});
  PrintTable(rows, costs.GetCurrency());
  return kSuccess;
}

int RunScanSpeed(const std::string& file, Policy policy, double cureDepth) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, policy)) return kFailure;
  const BUILD_TIME_PARAMETERS& parameters = machine.m_buildTimeCalculation.m_buildTimeParameters;
  std::cout << Format("%.6g", parameters.SCAN_SNELHEID(static_cast<float>(cureDepth))) << '\n';
  return kSuccess;
}

}  // namespace TalMachineTool
