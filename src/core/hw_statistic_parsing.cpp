#include "core/hw_statistic_parsing.h"

#include "kevra.h"

void AppKEVRA::HW_Statistic_parsing(kevra_statistic* stat, kevra_parameter* param) {
    kevra::parse_statistic_rows<kevra::simd::Native>(stat->sum_stream, stat->count_stream, param->row_num,
                                                     stat_sum, stat_count, stat_high);
}
