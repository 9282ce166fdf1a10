// A client of the installed library, built out of tree: it sees only the
// installed header and libraries. Exits non-zero on the first mismatch.
#include <kevra.h>
#include <kevra_scene.h>

#include <cstdio>
#include <cstring>

#ifndef KEVRA_PACKAGE_VERSION
#error "the build passes the version its package files report as KEVRA_PACKAGE_VERSION"
#endif

static int fail(const char* what) {
    std::fprintf(stderr, "consumer: %s\n", what);
    return 1;
}

int main() {
    char version[32];
    std::snprintf(version, sizeof version, "%d.%d.%d", KEVRA_VERSION_MAJOR, KEVRA_VERSION_MINOR, KEVRA_VERSION_PATCH);
    if (std::strcmp(version, KEVRA_PACKAGE_VERSION) != 0) return fail("header and package versions differ");

    constexpr int rows = 4;
    uint32_t sum_stream[rows * 24], count_stream[rows * 24], stat_sum[rows * 24], stat_count[rows * 24];
    float stat_level[rows * 24];
    for (int i = 0; i < rows * 24; ++i) {
        sum_stream[i] = 0x5A000000u | static_cast<uint32_t>(1000 + i);
        count_stream[i] = 0x80000000u | 64u;
    }
    float start_time = 0.0f;
    kevra_parameter param = {};
    param.row_num = rows;
    for (float& r : param.ratio_table) r = 1.0f;
    param.start_time = &start_time;
    param.exposure_time = 1000.0f;
    param.line_time = 10.0f;
    kevra_statistic stat = {sum_stream, count_stream};
    kevra_config config = {};
    config.mains_frequency = 50;
    config.lines_per_row = 16;
    kevra_fitting_result result = {};
    result.stat_level = stat_level;
    result.stat_sum = stat_sum;
    result.stat_count = stat_count;

    QORKEVRA* d = QORKEVRA::createInstance();
    if (d->KevrMain(&param, &stat, &config, &result) != KEVRA_STATUS_OK) return fail("KevrMain did not succeed");
    // Row 2, channel 1, zone 3: raw word 4 * 3 + 1 of that row, top byte dropped.
    if (stat_sum[2 * 24 + 6 * 1 + 3] != 1000u + 2 * 24 + 4 * 3 + 1) return fail("sums were not unpacked");
    if (d->KevrMain(nullptr, &stat, &config, &result) != KEVRA_STATUS_INVALID_ARGUMENT) return fail("null accepted");
    d->destroyInstance(d);

    QORKEVRASCENE* s = QORKEVRASCENE::createInstance();
    const kevra_scene_frame frame = {sum_stream, count_stream, 1000000, 1000.0f, 10.0f, rows, 16};
    kevra_scene_result answer = {};
    if (s->ProcessFrame(&frame, &answer) != KEVRA_STATUS_OK) return fail("ProcessFrame did not succeed");
    if (s->ProcessFrame(&frame, &answer) != KEVRA_STATUS_INVALID_ARGUMENT) return fail("a repeated frame accepted");
    s->destroyInstance(s);
    std::printf("kevra %s: consumer ran\n", version);
    return 0;
}
