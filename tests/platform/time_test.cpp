// Device clock, time scale and the environment settings of the port.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/PXDeviceTime.h"
#include "platform/posix/PlatformControl.h"
#include "support/TestEnv.h"

extern char** environ;

namespace {

class DeviceTimeTest : public tarnix_test::TarnixTest {};

// The host's local time now.
struct tm localNow() {
    std::time_t t = std::time(nullptr);
    struct tm local {};
    localtime_r(&t, &local);
    return local;
}

// True when the device time falls on the date of one of the two host times
// read around it (a reading may straddle midnight).
bool onDateOf(const PXDateTime& p_stNow, const struct tm& p_stBefore, const struct tm& p_stAfter) {
    for (const struct tm* pLocal : {&p_stBefore, &p_stAfter}) {
        if (p_stNow.year == pLocal->tm_year + 1900 && p_stNow.month == pLocal->tm_mon + 1 &&
            p_stNow.day == pLocal->tm_mday) {
            return true;
        }
    }
    return false;
}

// True when the device time's hour and minute are those of one of the two
// host times read around it (a reading may straddle a minute).
bool inMinuteOf(const PXDateTime& p_stNow, const struct tm& p_stBefore, const struct tm& p_stAfter) {
    for (const struct tm* pLocal : {&p_stBefore, &p_stAfter}) {
        if (p_stNow.hour == pLocal->tm_hour && p_stNow.minute == pLocal->tm_min) {
            return true;
        }
    }
    return false;
}

TEST_F(DeviceTimeTest, FixedClockGivesHourAndMinuteOfToday) {
    platform::setClock(21, 7);
    const struct tm before = localNow();
    PXDateTime now = PXDeviceTime::getCurrentTime();
    const struct tm after = localNow();
    EXPECT_EQ(now.hour, 21);
    EXPECT_EQ(now.minute, 7);
    EXPECT_EQ(now.second, 0);
    EXPECT_TRUE(onDateOf(now, before, after)) << now.year << "-" << now.month << "-" << now.day;

    platform::setClock(0, 0);
    now = PXDeviceTime::getCurrentTime();
    EXPECT_EQ(now.hour, 0);
    EXPECT_EQ(now.minute, 0);
}

TEST_F(DeviceTimeTest, WithoutFixedClockItIsLocalTime) {
    platform::setClock(3, 3);
    platform::clearClock();
    std::time_t before = std::time(nullptr);
    PXDateTime now = PXDeviceTime::getCurrentTime();
    std::time_t after = std::time(nullptr);
    struct tm a {};
    struct tm b {};
    localtime_r(&before, &a);
    localtime_r(&after, &b);
    int got = now.hour * 3600 + now.minute * 60 + now.second;
    int lo = a.tm_hour * 3600 + a.tm_min * 60 + a.tm_sec;
    int hi = b.tm_hour * 3600 + b.tm_min * 60 + b.tm_sec;
    if (hi >= lo) {
        EXPECT_GE(got, lo);
        EXPECT_LE(got, hi);
    }
    EXPECT_TRUE(onDateOf(now, a, b)) << now.year << "-" << now.month << "-" << now.day;
}

TEST_F(DeviceTimeTest, TimeScaleIsKept) {
    EXPECT_DOUBLE_EQ(platform::timeScale(), 0.001);
    platform::setTimeScale(2.5);
    EXPECT_DOUBLE_EQ(platform::timeScale(), 2.5);
    platform::setTimeScale(-1.0);
    EXPECT_DOUBLE_EQ(platform::timeScale(), 0.0);
}

TEST_F(DeviceTimeTest, SettingsAreSafeFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 500; ++i) {
                if (t == 0) {
                    platform::setRoot(root());
                    platform::setClock(i % 24, i % 60);
                    platform::setTimeScale(0.001);
                } else {
                    EXPECT_EQ(platform::root(), root());
                    PXDateTime now = PXDeviceTime::getCurrentTime();
                    EXPECT_GE(now.hour, 0);
                    EXPECT_DOUBLE_EQ(platform::timeScale(), 0.001);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

// In the program started by EnvironmentSetsRootClockAndScale
// (TARNIX_ENV_CHECK set), checks the settings read from the environment
// before any test runs and ends the program: status 0 when they are right.
int checkEnvironment(const std::string& mode) {
    int failures = 0;
    auto expect = [&failures](bool ok, const char* what) {
        if (!ok) {
            std::fprintf(stderr, "environment check failed: %s\n", what);
            ++failures;
        }
    };
    if (mode == "set") {
        expect(platform::root() == "/srv/device-root", "root");
        expect(platform::timeScale() == 0.25, "time scale");
        PXDateTime now = PXDeviceTime::getCurrentTime();
        expect(now.hour == 7 && now.minute == 45 && now.second == 0, "clock");
        // Later calls override the environment.
        platform::setRoot("/other");
        expect(platform::root() == "/other", "root after setRoot");
    } else {
        // Values that do not parse leave the defaults.
        expect(platform::root().empty(), "default root");
        expect(platform::timeScale() == 1.0, "default time scale");
        const struct tm before = localNow();
        PXDateTime now = PXDeviceTime::getCurrentTime();
        const struct tm after = localNow();
        expect(inMinuteOf(now, before, after), "local clock");
    }
    return failures == 0 ? 0 : 1;
}

struct EnvironmentCheck {
    EnvironmentCheck() {
        const char* mode = std::getenv("TARNIX_ENV_CHECK");
        if (mode != nullptr) {
            std::fflush(stdout);
            std::_Exit(checkEnvironment(mode));
        }
    }
} g_environmentCheck;

// Runs this test program again with the given environment; returns the
// exit status of the run.
int runSelf(const std::vector<std::string>& env) {
    char self[4096] = {0};
    ssize_t n = ::readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (n <= 0) {
        return -1;
    }
    std::vector<std::string> envStrings = env;
    for (char** e = environ; *e != nullptr; ++e) {
        std::string entry = *e;
        if (entry.compare(0, 7, "TARNIX_") != 0 && entry.compare(0, 6, "GTEST_") != 0) {
            envStrings.push_back(entry);
        }
    }
    std::vector<char*> envp;
    for (auto& s : envStrings) {
        envp.push_back(&s[0]);
    }
    envp.push_back(nullptr);
    std::vector<char*> argv = {self, nullptr};
    pid_t pid = -1;
    if (posix_spawn(&pid, self, nullptr, nullptr, argv.data(), envp.data()) != 0) {
        return -1;
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

TEST_F(DeviceTimeTest, EnvironmentSetsRootClockAndScale) {
    EXPECT_EQ(runSelf({"TARNIX_ROOT=/srv/device-root/", "TARNIX_CLOCK=07:45", "TARNIX_TIME_SCALE=0.25",
                       "TARNIX_ENV_CHECK=set"}),
              0);
    EXPECT_EQ(runSelf({"TARNIX_CLOCK=7:5x", "TARNIX_TIME_SCALE=fast", "TARNIX_ENV_CHECK=defaults"}),
              0);
}

} // namespace
