// PXLogger: entry format, rotation, silent failure and concurrent writers.
#include <sys/stat.h>

#include <ctime>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/PXLogger.h"
#include "support/TestEnv.h"

namespace {

class PXLoggerTest : public tarnix_test::TarnixTest {
protected:
    std::vector<std::string> linesOf(const std::string& devicePath) const {
        std::vector<std::string> lines;
        std::stringstream ss(readFile(devicePath));
        std::string line;
        while (std::getline(ss, line)) {
            lines.push_back(line);
        }
        return lines;
    }
};

const char* kLog = "/mnt/mtd/log/SensorError.log";

TEST_F(PXLoggerTest, EntryIsStampTagAndText) {
    makeDir("/mnt/mtd/log");
    PXLogger logger;
    logger.init(kLog, 10240, 3);
    logger.writeLog("[sensor assert]", "file:SensorFile.cpp fun:keyValToFile line:42\n");
    logger.writeLog("[sensor warn]", "no newline");
    std::string text = errorLog();
    std::regex entry(
        "\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2} \\[sensor assert\\] file:SensorFile.cpp fun:keyValToFile line:42\n"
        "\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2} \\[sensor warn\\] no newline\n");
    EXPECT_TRUE(std::regex_match(text, entry)) << text;
}

TEST_F(PXLoggerTest, EmptyTextStillMakesAnEntry) {
    makeDir("/mnt/mtd/log");
    PXLogger logger;
    logger.init(kLog, 10240, 3);
    logger.writeLog("[sensor assert]", "");
    logger.writeLog(nullptr, nullptr);
    std::vector<std::string> lines = linesOf(kLog);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(19), " [sensor assert] ");
    EXPECT_EQ(lines[1].substr(19), "  ");
}

TEST_F(PXLoggerTest, StampUsesTheDeviceClock) {
    makeDir("/mnt/mtd/log");
    platform::setClock(7, 5);
    PXLogger logger;
    logger.init(kLog, 10240, 3);
    // The entry carries the host's date, read before or after it (a run may
    // straddle midnight).
    auto today = [] {
        std::time_t now = std::time(nullptr);
        struct tm local {};
        localtime_r(&now, &local);
        char date[16];
        std::strftime(date, sizeof(date), "%Y-%m-%d", &local);
        return std::string(date);
    };
    const std::string before = today();
    logger.writeLog("[t]", "x");
    const std::string after = today();
    const std::string entry = errorLog();
    EXPECT_TRUE(entry == before + " 07:05:00 [t] x\n" || entry == after + " 07:05:00 [t] x\n") << entry;
}

TEST_F(PXLoggerTest, RotatesKeepingThreeFiles) {
    makeDir("/log");
    PXLogger logger;
    logger.init("/log/r.log", 100, 3);
    // Each entry: 19 stamp + 1 + 3 tag + 1 + 6 text + 1 newline = 31 bytes,
    // so three entries fit in 100 bytes and the fourth starts a new file.
    for (int i = 0; i < 20; ++i) {
        char text[16];
        std::snprintf(text, sizeof(text), "msg%03d", i);
        logger.writeLog("[t]", text);
    }
    EXPECT_TRUE(fileExists("/log/r.log"));
    EXPECT_TRUE(fileExists("/log/r.log.1"));
    EXPECT_TRUE(fileExists("/log/r.log.2"));
    EXPECT_FALSE(fileExists("/log/r.log.3"));
    EXPECT_FALSE(fileExists("/log/r.log.0"));

    auto numbers = [this](const std::string& path) {
        std::vector<int> out;
        for (const std::string& line : linesOf(path)) {
            EXPECT_EQ(line.size(), 30u) << line;
            out.push_back(std::atoi(line.substr(line.size() - 3).c_str()));
        }
        return out;
    };
    // 20 entries: files of 3 entries; the newest file holds 18, 19.
    EXPECT_EQ(numbers("/log/r.log"), (std::vector<int>{18, 19}));
    EXPECT_EQ(numbers("/log/r.log.1"), (std::vector<int>{15, 16, 17}));
    EXPECT_EQ(numbers("/log/r.log.2"), (std::vector<int>{12, 13, 14}));
    for (const char* path : {"/log/r.log", "/log/r.log.1", "/log/r.log.2"}) {
        EXPECT_LE(readFile(path).size(), 100u) << path;
    }
}

TEST_F(PXLoggerTest, RotationContinuesAcrossLoggerObjects) {
    makeDir("/log");
    for (int i = 0; i < 9; ++i) {
        PXLogger logger;
        logger.init("/log/r.log", 100, 3);
        logger.writeLog("[t]", ("msg00" + std::to_string(i)).c_str());
    }
    EXPECT_EQ(linesOf("/log/r.log").size(), 3u);
    EXPECT_EQ(linesOf("/log/r.log.1").size(), 3u);
    EXPECT_EQ(linesOf("/log/r.log.2").size(), 3u);
    EXPECT_NE(readFile("/log/r.log.2").find("msg000"), std::string::npos);
}

TEST_F(PXLoggerTest, SingleFileLimitStartsAfresh) {
    makeDir("/log");
    PXLogger logger;
    logger.init("/log/one.log", 40, 1);
    logger.writeLog("[t]", "first-");
    logger.writeLog("[t]", "second");
    EXPECT_FALSE(fileExists("/log/one.log.1"));
    std::vector<std::string> lines = linesOf("/log/one.log");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("second"), std::string::npos);
}

TEST_F(PXLoggerTest, OversizedEntryIsWrittenWhole) {
    makeDir("/log");
    PXLogger logger;
    logger.init("/log/big.log", 50, 3);
    std::string big(200, 'b');
    logger.writeLog("[t]", big.c_str());
    logger.writeLog("[t]", "small");
    EXPECT_NE(readFile("/log/big.log.1").find(big + "\n"), std::string::npos);
    EXPECT_NE(readFile("/log/big.log").find("small"), std::string::npos);
}

TEST_F(PXLoggerTest, MissingDirectoryFailsSilently) {
    tarnix_test::removeTree(hostPath("/mnt"));
    captureStdout();
    {
        PXLogger logger;
        logger.init(kLog, 10240, 3);
        EXPECT_NO_THROW(logger.writeLog("[sensor assert]", "lost"));
    }
    EXPECT_EQ(capturedStdout(), "");
    EXPECT_FALSE(fileExists("/mnt/mtd/log"));
    EXPECT_FALSE(fileExists("/mnt"));
}

TEST_F(PXLoggerTest, UnwritablePathFailsSilently) {
    // The log path is a directory: it cannot be opened as a file.
    makeDir("/mnt/mtd/log/SensorError.log");
    captureStdout();
    PXLogger logger;
    logger.init(kLog, 10, 3);
    EXPECT_NO_THROW(logger.writeLog("[sensor assert]", "lost"));
    EXPECT_NO_THROW(logger.writeLog("[sensor assert]", "lost again"));
    EXPECT_EQ(capturedStdout(), "");
    struct stat st;
    ASSERT_EQ(::stat(hostPath(kLog).c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_FALSE(fileExists("/mnt/mtd/log/SensorError.log.1"));
}

TEST_F(PXLoggerTest, UninitialisedLoggerWritesNothing) {
    makeDir("/mnt/mtd/log");
    PXLogger logger;
    logger.writeLog("[t]", "x");
    PXLogger empty;
    empty.init("", 100, 3);
    empty.writeLog("[t]", "x");
    PXLogger null;
    null.init(nullptr, 100, 3);
    null.writeLog("[t]", "x");
    EXPECT_EQ(errorLog(), "");
}

TEST_F(PXLoggerTest, ConcurrentLoggersOnOneFileKeepEntriesWhole) {
    makeDir("/log");
    const int kThreads = 4;
    const int kEntries = 60;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kEntries; ++i) {
                PXLogger logger;
                logger.init("/log/c.log", 1000, 100);
                std::string text = "thread" + std::to_string(t) + "-entry" + std::to_string(i) + "-padding";
                logger.writeLog("[sensor assert]", text.c_str());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::regex entry("\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2} \\[sensor assert\\] thread\\d-entry\\d+-padding");
    size_t total = 0;
    for (int k = 0; k < 100; ++k) {
        std::string path = k == 0 ? std::string("/log/c.log") : "/log/c.log." + std::to_string(k);
        if (!fileExists(path)) {
            continue;
        }
        EXPECT_LE(readFile(path).size(), 1000u);
        for (const std::string& line : linesOf(path)) {
            EXPECT_TRUE(std::regex_match(line, entry)) << line;
            ++total;
        }
    }
    EXPECT_EQ(total, static_cast<size_t>(kThreads * kEntries));
}

} // namespace
