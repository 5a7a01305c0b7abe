#pragma once
// Hermetic test environment: every test gets a fresh device root directory,
// a scaled-down time base, a pinned fake clock, a reset simulated ISP and
// default diagnostics switches. Stdout can be captured to check the
// library's exact messages.
//
// The clock is pinned to 12:00 unless TARNIX_TEST_CLOCK=HH:MM names another
// time, so that no test depends on the time of day; CI runs the suite a
// second time at another hour to prove it.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "ispsim/ispsim.h"
#include "platform/posix/PlatformControl.h"

namespace tarnix_test {

class TarnixTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Host directory that stands for the device's "/".
    const std::string& root() const { return m_strRoot; }
    // Host path of a device path ("/tmp/Debug.sign" -> "<root>/tmp/Debug.sign").
    std::string hostPath(const std::string& devicePath) const;
    // File helpers on device paths; parent directories are created.
    void writeFile(const std::string& devicePath, const std::string& content) const;
    void writeBytes(const std::string& devicePath, const std::vector<unsigned char>& bytes) const;
    std::string readFile(const std::string& devicePath) const;
    bool fileExists(const std::string& devicePath) const;
    void makeDir(const std::string& devicePath) const;
    void removeFile(const std::string& devicePath) const;

    // Writes "/tmp/Debug.sign" with the two lines given.
    void setDebugMarker(const std::string& line1, const std::string& line2 = "") const;
    // Text of "/mnt/mtd/log/SensorError.log" ("" when absent).
    std::string errorLog() const;

    // Copies the sample device tree devices/<model>/ into the root and loads
    // its simulator profile (if any) into the simulated ISP.
    void installDeviceTree(const std::string& model) const;

    // Stdout capture (the library's console output).
    void captureStdout();
    std::string capturedStdout();

private:
    std::string m_strRoot;
    bool m_bCapturing = false;
};

// The time every test starts with on the fake clock (TARNIX_TEST_CLOCK or
// 12:00), and the same as "HH:MM" for sensorctl's --clock.
void pinnedClock(int& hour, int& minute);
std::string pinnedClockText();

// Recursively removes a host directory.
void removeTree(const std::string& hostDir);
// Reads a whole host file.
std::string readHostFile(const std::string& hostPath);
// Counts non-overlapping occurrences of needle in text.
size_t countOccurrences(const std::string& text, const std::string& needle);
// ISP calls of the log with the given option (0 = set), in order.
std::vector<ispsim::Call> callsWithOpt(unsigned int opt);
// Commands of ISP set calls (option 0), in order.
std::vector<unsigned int> setCommands();

// One ISP set call: channel, command and the first data word.
struct SetCall {
    int channel;
    unsigned int cmd;
    uint32_t value;
    bool operator==(const SetCall& o) const { return channel == o.channel && cmd == o.cmd && value == o.value; }
};
std::ostream& operator<<(std::ostream& os, const SetCall& c);
// ISP set calls (option 0) of the log, in order.
std::vector<SetCall> setCalls();

} // namespace tarnix_test
