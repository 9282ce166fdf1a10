// A run allocates nothing, and creating, running and destroying detectors
// leaves nothing behind. This binary counts every allocation: it replaces the
// global operator new and delete, and is linked with malloc, calloc, realloc
// and free wrapped, which catches C allocations made by the library's objects.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "robustness/scene_run.h"

extern "C" {
void* __real_malloc(size_t n);
void* __real_calloc(size_t n, size_t size);
void* __real_realloc(void* p, size_t n);
void __real_free(void* p);
}

namespace {

std::atomic<long> g_allocations{0};
std::atomic<long> g_releases{0};

void* allocate(size_t n) {
    ++g_allocations;
    return __real_malloc(n == 0 ? 1 : n);
}

void* allocate_or_throw(size_t n) {
    void* p = allocate(n);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

void* allocate_aligned(size_t n, std::align_val_t a) {
    ++g_allocations;
    const size_t align = static_cast<size_t>(a);
    void* p = std::aligned_alloc(align, (n + align - 1) / align * align);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

void release(void* p) {
    if (p == nullptr) return;
    ++g_releases;
    __real_free(p);
}

// Allocations and releases made while `body` runs.
struct Counts {
    long allocations;
    long releases;
};

template <class Body>
Counts count(Body body) {
    const long a = g_allocations.load(), r = g_releases.load();
    body();
    return {g_allocations.load() - a, g_releases.load() - r};
}

}  // namespace

extern "C" {
void* __wrap_malloc(size_t n) { return allocate(n); }
void* __wrap_calloc(size_t n, size_t size) {
    ++g_allocations;
    return __real_calloc(n, size);
}
void* __wrap_realloc(void* p, size_t n) {
    ++g_allocations;
    if (p != nullptr) ++g_releases;
    return __real_realloc(p, n);
}
void __wrap_free(void* p) { release(p); }
}

void* operator new(size_t n) { return allocate_or_throw(n); }
void* operator new[](size_t n) { return allocate_or_throw(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(size_t n, std::align_val_t a) { return allocate_aligned(n, a); }
void* operator new[](size_t n, std::align_val_t a) { return allocate_aligned(n, a); }
void* operator new(size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate_aligned(n, a); }
void* operator new[](size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate_aligned(n, a); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, size_t) noexcept { release(p); }
void operator delete[](void* p, size_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }

namespace {

using kevra_test::SceneRun;

// Scenes in every weighting mode, and the calls a caller may get refused.
TEST(Allocation, RunsAndRefusalsAllocateNothing) {
    std::unique_ptr<SceneRun> scenes[] = {std::make_unique<SceneRun>(256, 50, 0.05, 1),
                                          std::make_unique<SceneRun>(77, 60, 0.0, 2),
                                          std::make_unique<SceneRun>(0, 50, 0.05, 3)};
    scenes[1]->run.config.weight_enable = 1;
    scenes[2]->run.config.weight_enable = 1;
    scenes[2]->run.config.weight_fixed = 1;
    AppKEVRA* d = AppKEVRA::getInstance();
    for (auto& s : scenes) {
        const Counts run = count([&] { EXPECT_TRUE(s->detect(*d)); });
        EXPECT_EQ(run.allocations, 0) << s->run.param.row_num << " rows";
        EXPECT_EQ(run.releases, 0);
    }
    SceneRun& s = *scenes[0];
    const Counts refused = count([&] {
        EXPECT_EQ(d->KevrMain(&s.run.param, nullptr, &s.run.config, &s.run.result), KEVRA_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(d->ConfidenceIndex(&s.input, &s.run.result, nullptr, &s.debug), KEVRA_STATUS_INVALID_ARGUMENT);
    });
    EXPECT_EQ(refused.allocations, 0);
    d->destroyInstance(d);
}

// One allocation per detector, released by destroyInstance; LeakSanitizer (in
// the sanitize suite) watches the same cycles.
TEST(Allocation, CreateRunDestroyCyclesReleaseEveryAllocation) {
    constexpr int kCycles = 1000;
    auto scene = std::make_unique<SceneRun>(40, 50, 0.05, 4);
    scene->run.config.weight_enable = 1;
    int failed = 0;
    const Counts cycles = count([&] {
        for (int i = 0; i < kCycles; ++i) {
            QORKEVRA* d = i % 2 ? QORKEVRA::createInstance() : static_cast<QORKEVRA*>(AppKEVRA::getInstance());
            failed += !scene->detect(*static_cast<AppKEVRA*>(d));
            d->destroyInstance(d);
        }
    });
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(cycles.allocations, kCycles);
    EXPECT_EQ(cycles.releases, kCycles);
}

}  // namespace
