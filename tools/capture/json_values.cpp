#include "json_values.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace kevra_tool {

Json float_to_json(float value) {
    if (!std::isfinite(value)) return nullptr;
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    double shortest = 0.0;
    std::from_chars(text, end, shortest);
    // Reading the decimal as a double first could round twice; keep the exact
    // double of the float in that rare case.
    if (static_cast<float>(shortest) != value) shortest = value;
    return shortest;
}

float float_from_json(const Json& value) {
    if (value.is_null()) return std::numeric_limits<float>::quiet_NaN();
    if (!value.is_number()) throw std::invalid_argument("expected a number");
    return static_cast<float>(value.get<double>());
}

std::optional<int32_t> int32_from_json(const Json& value) {
    if (value.is_number_unsigned()) {
        if (value.get<uint64_t>() > uint64_t(INT32_MAX)) return std::nullopt;
    } else if (!value.is_number_integer() || value.get<int64_t>() < INT32_MIN || value.get<int64_t>() > INT32_MAX) {
        return std::nullopt;
    }
    return static_cast<int32_t>(value.get<int64_t>());
}

}  // namespace kevra_tool
