// sy_system: shell commands acting inside the device root, with a time limit.
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/sy_system.h"
#include "support/TestEnv.h"

namespace {

class SySystemTest : public tarnix_test::TarnixTest {};

TEST_F(SySystemTest, RemoveWithGlobsActsInsideTheRoot) {
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/sensor1_3.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/sensor1_4.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/sensor2_0.cfg", "x");
    writeFile("/mnt/mtd/code/config_bak/sensor1_1.cfg", "x");
    writeFile("/mnt/mtd/code/other/sensor1_2.cfg", "x");
    EXPECT_EQ(sy_system("rm -rf /mnt/mtd/code/config*/sensor1_[0-3].cfg", 30), 0);
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_3.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_bak/sensor1_1.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor1_4.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor2_0.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/other/sensor1_2.cfg"));
}

TEST_F(SySystemTest, ThermalPatternRemovesOnlyThermalFiles) {
    writeFile("/mnt/mtd/code/config_file/sensor-thermal1.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/sensor-thermal2.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", "x");
    EXPECT_EQ(sy_system("rm -rf /mnt/mtd/code/config*/sensor-thermal*.cfg", 30), 0);
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor-thermal1.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor-thermal2.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg"));
}

TEST_F(SySystemTest, RedirectionTargetsResolveToo) {
    makeDir("/tmp");
    EXPECT_EQ(sy_system("echo hello > /tmp/out.txt", 30), 0);
    EXPECT_EQ(readFile("/tmp/out.txt"), "hello\n");
    // Host devices and programs keep their paths.
    EXPECT_EQ(sy_system("/bin/echo quiet > /dev/null 2>/dev/null", 30), 0);
}

TEST_F(SySystemTest, ReturnsTheExitStatus) {
    EXPECT_EQ(sy_system("true", 30), 0);
    EXPECT_EQ(sy_system("exit 3", 30), 3);
    EXPECT_EQ(sy_system("false", 30), 1);
    EXPECT_EQ(sy_system("test -e /mnt/mtd/missing", 30), 1);
    EXPECT_EQ(sy_system(nullptr, 30), -1);
}

TEST_F(SySystemTest, KilledBySignalIsMinusOne) { EXPECT_EQ(sy_system("kill -9 $$", 30), -1); }

// True when the process is gone or only a zombie waiting to be reaped.
bool processEnded(int pid) {
    std::string stat = tarnix_test::readHostFile("/proc/" + std::to_string(pid) + "/stat");
    if (stat.empty()) {
        return true;
    }
    size_t close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'Z';
}

TEST_F(SySystemTest, TimeLimitEndsTheWholeProcessGroup) {
    makeDir("/tmp");
    // The limit is in real seconds, whatever the time scale.
    platform::setTimeScale(0.001);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sy_system("sleep 20 & echo $! > /tmp/pid; sleep 20", 1), -1);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(ms, 900);
    EXPECT_LT(ms, 5000);
    // The shell's background child went with it.
    int pid = std::atoi(readFile("/tmp/pid").c_str());
    ASSERT_GT(pid, 0);
    bool ended = false;
    for (int i = 0; i < 500 && !ended; ++i) {
        ended = processEnded(pid);
        if (!ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    EXPECT_TRUE(ended);
}

TEST_F(SySystemTest, RootWithBlanksAndQuotes) {
    makeDir("/dev root's");
    platform::setRoot(root() + "/dev root's");
    EXPECT_EQ(sy_system("mkdir -p /mnt/a && touch /mnt/a/f1 /mnt/a/f2 && rm -f /mnt/a/f*2", 30), 0);
    platform::setRoot(root());
    EXPECT_TRUE(fileExists("/dev root's/mnt/a/f1"));
    EXPECT_FALSE(fileExists("/dev root's/mnt/a/f2"));
}

TEST_F(SySystemTest, PathsAlreadyInsideTheRootAreKept) {
    writeFile("/data/x", "1");
    EXPECT_EQ(sy_system(("rm " + hostPath("/data/x")).c_str(), 30), 0);
    EXPECT_FALSE(fileExists("/data/x"));
}

TEST_F(SySystemTest, SeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &good] {
            for (int i = 0; i < 5; ++i) {
                std::string command = "exit " + std::to_string(t * 10 + i);
                if (sy_system(command.c_str(), 30) == t * 10 + i) {
                    ++good;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good.load(), 20);
}

} // namespace
