// The detector's lifecycle as a client of the shared library sees it.
#include <gtest/gtest.h>

#include <cstdlib>

#include "kevra.h"

namespace {

// A type that provides only the interface's own bodies.
struct InterfaceOnly : QORKEVRA {
    void destroyInstance(QORKEVRA*) override {}
};

// Either detector may release the other; releasing null does nothing.
TEST(Lifecycle, FactoriesMakeDistinctDetectorsThatAnyDetectorReleases) {
    QORKEVRA* a = QORKEVRA::createInstance();
    AppKEVRA* b = AppKEVRA::getInstance();
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_NE(static_cast<QORKEVRA*>(b), a);
    EXPECT_NE(dynamic_cast<AppKEVRA*>(a), nullptr);
    b->destroyInstance(nullptr);
    b->destroyInstance(a);
    b->destroyInstance(b);
}

TEST(Lifecycle, InterfaceBodiesReportNotProvided) {
    InterfaceOnly bare;
    QORKEVRA& d = bare;
    EXPECT_EQ(d.KevrMain(nullptr, nullptr, nullptr, nullptr), static_cast<int32_t>(0x80000001u));
    EXPECT_EQ(d.ConfidenceIndex(nullptr, nullptr, nullptr, nullptr), KEVRA_STATUS_NOT_PROVIDED);
}

TEST(Lifecycle, ConstructionLogsOneDebugLineOnlyWhenAsked) {
    for (const bool asked : {false, true}) {
        asked ? setenv("MORVANE_DEBUG_LOG", "1", 1) : unsetenv("MORVANE_DEBUG_LOG");
        testing::internal::CaptureStderr();
        QORKEVRA* d = QORKEVRA::createInstance();
        const char* line = asked ? "D/KEVR_Neon(0x10004007): [DEBUG] Init KevrMain\n" : "";
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line);
        d->destroyInstance(d);
    }
    unsetenv("MORVANE_DEBUG_LOG");
}

}  // namespace
