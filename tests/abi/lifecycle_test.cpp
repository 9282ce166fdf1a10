// The detector's lifecycle as a client of the shared library sees it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "kevra.h"

namespace {

// A type that provides only the interface's own bodies.
struct InterfaceOnly : QORKEVRA {
    void destroyInstance(QORKEVRA* instance) override { delete instance; }
};

TEST(Lifecycle, FactoriesMakeDistinctObjectsAndDestroyReleasesThem) {
    QORKEVRA* a = QORKEVRA::createInstance();
    AppKEVRA* b = AppKEVRA::getInstance();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(static_cast<QORKEVRA*>(b), a);
    EXPECT_NE(dynamic_cast<AppKEVRA*>(a), nullptr);
    a->destroyInstance(a);
    b->destroyInstance(b);
}

TEST(Lifecycle, DestroyWithNullIsANoOpAndMayReleaseAnotherDetector) {
    AppKEVRA* keeper = AppKEVRA::getInstance();
    QORKEVRA* other = QORKEVRA::createInstance();
    keeper->destroyInstance(nullptr);
    keeper->destroyInstance(other);
    keeper->destroyInstance(keeper);
}

TEST(Lifecycle, InterfaceBodiesReportNotProvided) {
    QORKEVRA* d = new InterfaceOnly;
    EXPECT_EQ(d->KevrMain(nullptr, nullptr, nullptr, nullptr), static_cast<int32_t>(0x80000001u));
    EXPECT_EQ(d->ConfidenceIndex(nullptr, nullptr, nullptr, nullptr), static_cast<int32_t>(0x80000001u));
    EXPECT_EQ(KEVRA_STATUS_NOT_PROVIDED, static_cast<int32_t>(0x80000001u));
    d->destroyInstance(d);
}

TEST(Lifecycle, ConstructionLogsOneDebugLineOnlyWhenAsked) {
    unsetenv("MORVANE_DEBUG_LOG");
    testing::internal::CaptureStderr();
    QORKEVRA* quiet = QORKEVRA::createInstance();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    quiet->destroyInstance(quiet);

    setenv("MORVANE_DEBUG_LOG", "1", 1);
    testing::internal::CaptureStderr();
    QORKEVRA* loud = QORKEVRA::createInstance();
    const std::string logged = testing::internal::GetCapturedStderr();
    unsetenv("MORVANE_DEBUG_LOG");
    EXPECT_EQ(logged, "D/KEVR_Neon(0x10004007): [DEBUG] Init KevrMain\n");
    loud->destroyInstance(loud);
}

}  // namespace
