// The three forms of a detection report: text for people, JSON for programs,
// an SVG picture of every channel's levels and fitted model.
#ifndef KEVRA_TOOLS_REPORT_H
#define KEVRA_TOOLS_REPORT_H

#include <ostream>
#include <string>

#include "detection.h"
#include "json_values.h"

namespace kevra_tool {

void write_text_report(std::ostream& out, const DetectionReport& report);

// Values that are not finite appear as null and read back as not-a-number.
Json report_to_json(const DetectionReport& report);

// Throws InputError (naming `name`) when the JSON is not a report.
DetectionReport report_from_json(const Json& json, const std::string& name);

std::string plot_svg(const DetectionReport& report);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_REPORT_H
