// The scene answer on drawn cases whose right answer is certain from the
// physics (tests/support/scene_sequence.h): per case, how many sequences end
// right, UNKNOWN, or wrong at any frame from the 4th on (a frequency on a
// lamp-free scene, the other frequency, NONE on visible flicker).
//
//   kevra_scene_cases [SEQUENCES_PER_CASE]   (default 100)
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "kevra_scene.h"
#include "support/scene_sequence.h"

namespace {

using kevra_test::SequencePlan;

enum Case { StillLamp, NoLamp, PartialLamp, ObjectNoLamp, ObjectAndLamp, PanLamp, PanNoLamp, ExposureRamp, StandingLamp, WeakLamp };
const char* const kNames[] = {"lamp, still camera", "no lamp, still camera", "lamp lighting 1-2 zones",
                              "no lamp, object moving", "lamp, object moving", "lamp, camera panning 12-25 rows",
                              "no lamp, camera panning", "lamp, exposure ramp", "lamp, ripple standing still",
                              "weak lamp (1.5-3 %)"};
constexpr int kCases = 10;
constexpr int32_t kEither = -2;  // too faint to say: NONE and the lamp are both right

struct Draw {
    std::mt19937_64 rng;
    double uniform(double a, double b) { return a + (b - a) * double(rng() >> 11) * 0x1.0p-53; }
    int zones() { return (1 << (rng() % 6)) | (rng() % 2 ? 1 << (rng() % 6) : 0); }
};

// The ripple moves by 0.1..0.9 of a period per frame against the rows and
// against the picture (which a uniform picture cannot show).
bool ripple_moves(const SequencePlan& s) {
    for (const int motion : {0, s.motion}) {
        double x = 2.0 * s.mains * (1.0 / s.fps - motion * double(s.line_time) * 1e-6);
        x -= std::floor(x);
        if (x < 0.1 || x > 0.9) return false;
    }
    return true;
}

SequencePlan draw(Case c, Draw& d) {
    for (;;) {
        SequencePlan s;
        s.mains = d.rng() % 2 ? 50 : 60;
        const double fps[] = {30, 29.97, 25, 24, 60, 15, 50, 20};
        s.fps = fps[d.rng() % 8];
        do s.exposure = float(d.uniform(500, 9000));
        while (std::fabs(std::sin(kevra_scene::kPi * 2 * s.mains * s.exposure * 1e-6)) < 0.3);
        s.drift = d.uniform(-0.003, 0.003);
        s.picture = kevra_test::Picture(d.rng() % 3);
        s.noise = d.uniform(0.001, 0.005);
        s.seed = d.rng();
        if (c != NoLamp && c != ObjectNoLamp && c != PanNoLamp) s.ripple[0] = d.uniform(0.03, 0.3);
        if (c == WeakLamp) s.ripple[0] = d.uniform(0.015, 0.03);
        if (c == PartialLamp) {
            s.lamp_zones = d.zones();
            s.daylight = d.uniform(0, 0.5);
            s.ripple[0] = d.uniform(0.06, 0.3);
        }
        s.ripple[1] = c == WeakLamp ? 0.0 : 0.2 * s.ripple[0];
        if (c == ObjectNoLamp || c == ObjectAndLamp) {
            s.band_zones = d.zones();
            s.band_gain = d.rng() % 2 ? 0.5 : 1.8;
            s.band_lines = int(d.uniform(160, 800));
            s.band_speed = int(d.uniform(30, 600)) * (d.rng() % 2 ? 1 : -1);
            s.band_first = int(d.uniform(0, 4000));
        }
        if (c == PanLamp || c == PanNoLamp) s.motion = int(d.uniform(200, 400)) * (d.rng() % 2 ? 1 : -1);
        if (c == ExposureRamp) s.exposure_ramp = d.uniform(-0.08, 0.08);
        if ((c == StandingLamp) != ripple_moves(s)) return s;  // else draw again
    }
}

// The lamp's visible ripple, peak to peak, decides what is right.
int32_t truth(const SequencePlan& s) {
    const double x = kevra_scene::kPi * 2 * s.mains * double(s.exposure) * 1e-6;
    const double visible = 2 * s.ripple[0] * (1 - s.daylight) * std::fabs(std::sin(x) / x);
    return visible >= 0.02 ? int32_t(s.mains) : visible < 0.01 ? KEVRA_SCENE_NONE : kEither;
}

bool wrong(int32_t answer, int32_t want, const SequencePlan& s) {
    if (answer == KEVRA_SCENE_UNKNOWN || answer == want) return false;
    return !(answer == int32_t(s.mains) && s.ripple[0] > 0.0) && !(want == kEither && answer == KEVRA_SCENE_NONE);
}

}  // namespace

int main(int argc, char** argv) {
    const int n = argc > 1 ? std::atoi(argv[1]) : 100;
    if (n < 1) {
        std::fprintf(stderr, "usage: kevra_scene_cases [SEQUENCES_PER_CASE >= 1]\n");
        return 2;
    }
    std::unique_ptr<QORKEVRASCENE, void (*)(QORKEVRASCENE*)> c(QORKEVRASCENE::createInstance(),
                                                             [](QORKEVRASCENE* x) { x->destroyInstance(x); });
    std::printf("%-34s %6s %6s %8s %6s\n", "case", "drawn", "right", "unknown", "wrong");
    for (int k = 0; k < kCases; ++k) {
        Draw d{std::mt19937_64(uint64_t(1000 + k))};
        int right = 0, unknown = 0, wrongs = 0;
        for (int i = 0; i < n; ++i) {
            const SequencePlan s = draw(Case(k), d);
            const int32_t want = truth(s);
            c->Reset();
            int32_t answer = KEVRA_SCENE_UNKNOWN;
            bool bad = false;
            int frame = 0;
            for (const auto& f : kevra_test::make_sequence(s)) {
                kevra_scene_result r{};
                bad = bad || c->ProcessFrame(&f.frame, &r) != KEVRA_STATUS_OK;
                answer = r.scene_flicker;
                bad = bad || (frame++ >= 3 && wrong(answer, want, s));
            }
            wrongs += bad;
            right += !bad && answer == want;
            unknown += !bad && answer == KEVRA_SCENE_UNKNOWN;
        }
        std::printf("%-34s %6d %6d %8d %6d\n", kNames[k], n, right, unknown, wrongs);
    }
    return 0;
}
