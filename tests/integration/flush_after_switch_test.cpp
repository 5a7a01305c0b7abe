// A host's set followed by its flush keeps the set values even when the
// sensor thread switched schemes in between.
#include <gtest/gtest.h>

#include <string>

#include "integration/integration_fixture.h"
#include "support/PowerCutFileOps.h"

namespace integration_test {
namespace {

using lifecycle_test::bytesOf;
using lifecycle_test::sameBytes;
using lifecycle_test::schemePath;

TEST_F(IntegrationTest, FlushAfterTheThreadSwitchedStoresTheSchemeThatWasSet) {
    installDeviceTree("box");
    platform::setClock(20, 27);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_EQ(0, scheme(c));

    // The time schedule, with scheme 0 ending at 08:00: at 20:27 the set
    // moves scheme 0 out of its own window.
    ASSERT_EQ(0, c.setParameters(std::string("(8000,1)(8003,8)(34,61)"), true));
    ASSERT_TRUE(waitFor([&] { return scheme(c) != 0; }, 10000));
    const int nNow = scheme(c);

    EXPECT_EQ(0, c.flush());
    // Scheme 0's file holds what was set in it, and the current scheme's
    // file holds the current row.
    std::string strScheme0 = readFile(schemePath(1, 0));
    EXPECT_TRUE(sameBytes(bytesOf(row(c, 0)), strScheme0));
    EXPECT_EQ(1u, valueOf(lifecycle_test::recordsOf(strScheme0), 8000));
    EXPECT_EQ(8u, valueOf(lifecycle_test::recordsOf(strScheme0), 8003));
    EXPECT_EQ(61u, valueOf(lifecycle_test::recordsOf(strScheme0), 34));
    EXPECT_TRUE(sameBytes(bytesOf(row(c, static_cast<u32>(nNow))), readFile(schemePath(1, nNow))));

    // Nothing changed since: a second flush writes nothing at all.
    tarnix_test::PowerCutFileOps ops;
    {
        tarnix_test::FileOpsGuard guard(&ops);
        EXPECT_EQ(0, c.flush());
    }
    EXPECT_TRUE(ops.steps().empty()) << (ops.steps().empty() ? std::string() : ops.steps().front());
    c.uinit();
}

} // namespace
} // namespace integration_test
