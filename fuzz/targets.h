// The fuzz targets. Each takes arbitrary bytes, runs the library on what they
// describe and stops the process (abort) when the library misbehaves in a way a
// sanitizer cannot see: a refused call that wrote something, a write outside
// the documented outputs, an invariant of a result broken, or a result that
// depends on anything but the call's own inputs. libFuzzer drives them through
// fuzz_main.cpp; the robustness tests replay fuzz/corpus through them.
//
// Byte layouts (little-endian, records as in kevra.h; pointer bytes inside a
// record are replaced by real buffers; past the end of the input every byte
// reads as zero; "the rest" is repeated as often as the buffers need):
//
// kevr_main_target:
//   u8 null_pick   0..9 passes one pointer as null: param, stat, config,
//                  result, start_time, sum_stream, count_stream, stat_sum,
//                  stat_count, stat_level; any other value: none
//   u8 row_mode    bit 0 set: row_num as given; clear: folded into 0..256
//   kevra_parameter, kevra_config, kevra_fitting_result, f32 start_time
//   the rest       stream words: row_num x 24 sums, then row_num x 24 counts
//
// confidence_index_target:
//   u8 null_pick   0..5 passes one pointer as null: input, result, output,
//                  debug, stat_level, stat_sum
//   kevra_confidence_idx_input (row_num above 1024 is folded into 1..1024),
//   kevra_fitting_result, kevra_confidence_idx_debug_output
//   the rest       per row: 24 f32 levels, then 24 u32 sums
//
// solver_target:
//   u8 which       even: inverse_ver2; odd: matrix_multiplication
//   inverse_ver2:          i32 order, f32 matrix[8][8], f32 other[8][8]
//   matrix_multiplication: i32 row_num (folded into 0..256), i32 unknown_num,
//                          f32 normal[8][8], f32 inverse[8][8], the rest: design[8][256]
//
// numeric_members_target:
//   u8 which       picks my_cos, cos_to_sin, flk_func, compare, median_filter,
//                  remove_outliers_ver2, nan_check_v2_6_256, nan_check_v2_256_4,
//                  local_flicker_detect or weight_compute (value mod 10)
//   then the member's arguments; see numeric_members_target.cpp.
//
// scene_target:
//   four frames, each: u8 null_pick (1 sum stream, 2 count stream, 3 result),
//   i32 row_num (folded into -1..300), i32 lines_per_row (folded into -1..62),
//   f32 exposure_time, f32 line_time, i64 step from the previous timestamp;
//   the rest       stream words, cycled: each frame's sums, then its counts
#ifndef KEVRA_FUZZ_TARGETS_H
#define KEVRA_FUZZ_TARGETS_H

#include <cstddef>
#include <cstdint>

namespace kevra_fuzz {

void kevr_main_target(const uint8_t* data, size_t size);
void confidence_index_target(const uint8_t* data, size_t size);
void solver_target(const uint8_t* data, size_t size);
void numeric_members_target(const uint8_t* data, size_t size);
void scene_target(const uint8_t* data, size_t size);

// Stream words and row data are cycled: these cap the rows one input describes.
constexpr int kConfidenceMaxRows = 1024;
// The fit loop is bounded only by the caller's max_iterations; larger values are
// folded so that one input runs in milliseconds (the bound itself is checked).
constexpr int32_t kMaxIterationsCap = 32;

}  // namespace kevra_fuzz

#endif  // KEVRA_FUZZ_TARGETS_H
