// A detector is one allocation, which destroyInstance releases, and its calls
// allocate nothing. This binary counts every allocation: it replaces the global
// operator new and delete, and is linked with malloc, calloc, realloc and free
// wrapped, which catches C allocations made by the library's objects.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "kevra_scene.h"
#include "robustness/scene_run.h"
#include "support/scene_sequence.h"

extern "C" {
void* __real_malloc(size_t n);
void* __real_calloc(size_t n, size_t size);
void* __real_realloc(void* p, size_t n);
void __real_free(void* p);
}

namespace {

std::atomic<long> g_allocations{0};
std::atomic<long> g_releases{0};

// Alignment 0: the default.
void* allocate(size_t n, std::align_val_t a = std::align_val_t{0}) {
    ++g_allocations;
    const size_t align = static_cast<size_t>(a);
    return align == 0 ? __real_malloc(n == 0 ? 1 : n) : std::aligned_alloc(align, (n + align - 1) / align * align);
}

void* allocate_or_throw(size_t n, std::align_val_t a = std::align_val_t{0}) {
    if (void* p = allocate(n, a)) return p;
    throw std::bad_alloc();
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
void __wrap_free(void* p) {
    if (p != nullptr) ++g_releases;
    __real_free(p);
}
}

// Every form, so that no allocation slips past the count (or, under
// AddressSanitizer, frees memory that another allocator handed out).
void* operator new(size_t n) { return allocate_or_throw(n); }
void* operator new[](size_t n) { return allocate_or_throw(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(size_t n, std::align_val_t a) { return allocate_or_throw(n, a); }
void* operator new[](size_t n, std::align_val_t a) { return allocate_or_throw(n, a); }
void* operator new(size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, a); }
void* operator new[](size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, a); }
void operator delete(void* p) noexcept { __wrap_free(p); }
void operator delete[](void* p) noexcept { __wrap_free(p); }
void operator delete(void* p, size_t) noexcept { __wrap_free(p); }
void operator delete[](void* p, size_t) noexcept { __wrap_free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { __wrap_free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { __wrap_free(p); }
void operator delete(void* p, std::align_val_t) noexcept { __wrap_free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { __wrap_free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { __wrap_free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { __wrap_free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { __wrap_free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { __wrap_free(p); }

namespace {

// From both factories; a run in every weighting mode, and the calls a caller
// may get refused. LeakSanitizer (in the sanitize suite) watches the same.
TEST(Allocation, ADetectorIsOneAllocationAndItsRunsAndRefusalsMakeNone) {
    auto s = std::make_unique<kevra_test::SceneRun>(256, 50, 0.05, 1);
    for (const bool create : {true, false}) {
        const long allocations = g_allocations, releases = g_releases;
        AppKEVRA* d = create ? static_cast<AppKEVRA*>(QORKEVRA::createInstance()) : AppKEVRA::getInstance();
        EXPECT_EQ(g_allocations - allocations, 1);
        for (int mode = 0; mode < 3; ++mode) {
            s->set_weighting(mode);
            EXPECT_TRUE(s->detect(*d)) << "weighting " << mode;
        }
        EXPECT_EQ(d->KevrMain(&s->run.param, nullptr, &s->run.config, &s->run.result), KEVRA_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(d->ConfidenceIndex(&s->input, &s->run.result, nullptr, &s->debug), KEVRA_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(g_allocations - allocations, 1);  // the calls made none
        EXPECT_EQ(g_releases - releases, 0);
        d->destroyInstance(d);
        EXPECT_EQ(g_releases - releases, 1);
    }
}

// The scene classifier allocates itself once; frames (of a panning camera,
// so that the motion search runs), refusals and resets allocate nothing.
TEST(Allocation, ASceneClassifierAllocatesOnlyWhenCreated) {
    kevra_test::SequencePlan plan;
    plan.ripple[0] = 0.1;
    plan.picture = kevra_test::Picture::WindowOverDesk;
    plan.motion = 300;
    const auto frames = kevra_test::make_sequence(plan);
    const long allocations = g_allocations, releases = g_releases;
    QORKEVRASCENE* s = QORKEVRASCENE::createInstance();
    const long created = g_allocations - allocations;
    EXPECT_GE(created, 1);
    kevra_scene_result result{};
    for (const auto& f : frames) EXPECT_EQ(s->ProcessFrame(&f.frame, &result), KEVRA_STATUS_OK);
    EXPECT_EQ(s->ProcessFrame(&frames[0].frame, &result), KEVRA_STATUS_INVALID_ARGUMENT);
    s->Reset();
    EXPECT_EQ(s->ProcessFrame(&frames[0].frame, &result), KEVRA_STATUS_OK);
    EXPECT_EQ(g_allocations - allocations, created);
    s->destroyInstance(s);
    EXPECT_EQ(g_releases - releases, created);
}

}  // namespace
