// Numbers in JSON. Floats are written as the shortest decimal that reads back to the same
// float, so files stay readable and round-trip bit for bit; a value that is
// not finite is written as null.
#ifndef KEVRA_TOOLS_JSON_VALUES_H
#define KEVRA_TOOLS_JSON_VALUES_H

#include <cstdint>
#include <optional>

#include <nlohmann/json.hpp>

namespace kevra_tool {

using Json = nlohmann::ordered_json;

Json float_to_json(float value);

// null reads as not-a-number; anything but a number or null throws std::invalid_argument.
float float_from_json(const Json& value);

// An integer that fits 32 bits, or nothing.
std::optional<int32_t> int32_from_json(const Json& value);

}  // namespace kevra_tool

#endif  // KEVRA_TOOLS_JSON_VALUES_H
