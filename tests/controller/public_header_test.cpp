// A host that includes the controller's header gets the class and its types,
// but none of the library's internal macros: no report or trace macros, no
// source-file name and no lock macro.
#include "controller/ISensorController.h"

#include <gtest/gtest.h>

#if defined(SENSOR_ASSERT) || defined(SENSOR_ASSERT_T) || defined(SENSOR_ASSERT_AT) || defined(SENSOR_TRACE) || \
    defined(SENSOR_TRACE_AT) || defined(SENSOR_LINE) || defined(SENSOR_REPORT_AT)
#error "controller/ISensorController.h brings the library's diagnostics macros"
#endif
#if defined(SNS_SOURCE_FILE)
#error "controller/ISensorController.h brings SNS_SOURCE_FILE"
#endif
#if defined(SENSOR_PARAM_LOCK)
#error "controller/ISensorController.h brings a lock macro"
#endif

namespace {

TEST(PublicHeaderTest, TheControllerHeaderCompilesWithoutInternalMacros) {
    // The debug switches stay reachable for a host.
    const int nLevel = g_nDebugLevel.load();
    EXPECT_GE(nLevel, -1000);
    ISensorController* p = nullptr;
    EXPECT_EQ(nullptr, p);
}

} // namespace
