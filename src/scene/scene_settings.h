// The classifier's settings and the records that carry a size: defaults,
// checks, and copies that honour a caller's older, shorter record.
#ifndef KEVRA_SCENE_SCENE_SETTINGS_H
#define KEVRA_SCENE_SCENE_SETTINGS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kevra_scene.h"

namespace kevra_scene {

// Every sized record begins with its size and one 32-bit field, and its
// fields end on 8-byte boundaries: a caller's record ends on one of them.
constexpr uint32_t kRecordHeader = 8;
inline bool record_size_ok(const void* record) {
    if (record == nullptr) return false;
    uint32_t size;
    std::memcpy(&size, record, sizeof size);
    return size >= kRecordHeader && size % 8 == 0;
}

// Half the longer ripple period (100 Hz): one request can then move either
// ripple by half a period against the rows.
constexpr int64_t kDefaultLongestExtraNs = 5000000;
constexpr int64_t kLongestExtraLimitNs = 100000000;
constexpr int64_t kDefaultRecheckNs = 10000000000;

kevra_scene_settings default_settings();

// Reads the fields the caller's record holds over `out` (which keeps the
// rest); false, leaving `out` unchanged, when the record is refused.
bool read_settings(const kevra_scene_settings* settings, kevra_scene_settings& out);

// Copies as much of `from` as the caller's record holds, keeping its size.
template <class Record>
void copy_record(const Record& from, Record* to) {
    const uint32_t size = to->size;
    const size_t n = size < sizeof(Record) ? size : sizeof(Record);
    std::memcpy(to, &from, n);
    to->size = size;
}

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_SCENE_SETTINGS_H
