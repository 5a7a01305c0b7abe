// Scheme files, the version stamp and whole-file access.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "controller/SensorDebug.h"
#include "storage/FileOps.h"
#include "storage/SensorFile.h"
#include "support/TestEnv.h"

using tarnix_test::countOccurrences;

namespace {

class SensorFileTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        makeDir("/mnt/mtd/code/config_file");
    }
    static std::string bytesOf(const std::vector<KeyVal>& records) {
        return std::string(reinterpret_cast<const char*>(records.data()), records.size() * sizeof(KeyVal));
    }
};

std::vector<KeyVal> sample() { return {{34, 50}, {2337, 45}, {49, 0xFFFFFFFFu}}; }

// Counts the file steps and can fail a write short.
class CountingOps : public tarnix::storage::FileOps {
public:
    int shortBy = 0;
    int opens = 0, writes = 0, syncs = 0, renames = 0, dirSyncs = 0;
    bool open(PXFile& f, const char* path, unsigned char mode) override {
        ++opens;
        return FileOps::open(f, path, mode);
    }
    int write(PXFile& f, char* data, unsigned int size) override {
        ++writes;
        return FileOps::write(f, data, size > static_cast<unsigned int>(shortBy) ? size - shortBy : 0);
    }
    bool sync(PXFile& f) override {
        ++syncs;
        return FileOps::sync(f);
    }
    bool rename(const char* from, const char* to) override {
        ++renames;
        return FileOps::rename(from, to);
    }
    bool syncDir(const char* path) override {
        ++dirSyncs;
        return FileOps::syncDir(path);
    }
};

struct OpsGuard {
    explicit OpsGuard(tarnix::storage::FileOps* ops) { tarnix::storage::setFileOps(ops); }
    ~OpsGuard() { tarnix::storage::setFileOps(nullptr); }
};

} // namespace

TEST_F(SensorFileTest, SchemeFileRoundTripIsRecordsBackToBack) {
    auto records = sample();
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    EXPECT_EQ(0, keyValToFile(name, records.data(), 3));
    EXPECT_EQ(bytesOf(records), readFile(name));
    std::vector<KeyVal> loaded(3, KeyVal{0, 0});
    EXPECT_EQ(0, keyValFromFile(name, loaded.data(), 3));
    EXPECT_EQ(0, std::memcmp(records.data(), loaded.data(), 24));
    EXPECT_FALSE(fileExists(std::string(name) + ".tmp"));
}

TEST_F(SensorFileTest, ReplacingAFileGoesThroughATemporaryFileAndARename) {
    CountingOps ops;
    OpsGuard guard(&ops);
    auto records = sample();
    char name[] = "/mnt/mtd/code/config_file/sensor1_1.cfg";
    writeFile(name, "old content");
    EXPECT_EQ(0, keyValToFile(name, records.data(), 3));
    EXPECT_EQ(1, ops.opens);
    EXPECT_EQ(1, ops.writes);
    EXPECT_EQ(1, ops.syncs);
    EXPECT_EQ(1, ops.renames);
    EXPECT_EQ(1, ops.dirSyncs);
    EXPECT_EQ(bytesOf(records), readFile(name));
}

TEST_F(SensorFileTest, ShortWriteReportsAndKeepsTheOldFile) {
    CountingOps ops;
    ops.shortBy = 3;
    OpsGuard guard(&ops);
    auto records = sample();
    char name[] = "/mnt/mtd/code/config_file/sensor1_2.cfg";
    writeFile(name, "previous");
    captureStdout();
    EXPECT_EQ(0, keyValToFile(name, records.data(), 3));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor assert] file:SensorFile.cpp fun:keyValToFile line:73\n"));
    EXPECT_NE(std::string::npos, out.find("nSize == sizeof(KeyVal)*p_nKeyValSum   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("nSize(21) sizeof(KeyVal) = 8, p_nKeyValNum(3)\n"));
    EXPECT_EQ("previous", readFile(name));
    EXPECT_FALSE(fileExists(std::string(name) + ".tmp"));
}

TEST_F(SensorFileTest, EmptySchemeFileLoadsNothingWithOneReport) {
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    writeFile(name, "");
    std::vector<KeyVal> records = sample();
    captureStdout();
    EXPECT_EQ(0, keyValFromFile(name, records.data(), 3));
    std::string out = capturedStdout();
    EXPECT_EQ(1u, countOccurrences(out, "~~~Assertion failed."));
    EXPECT_NE(std::string::npos, out.find("[sensor assert] file:SensorFile.cpp fun:keyValFromFile line:59\n"));
    EXPECT_NE(std::string::npos, out.find("nSize == sizeof(KeyVal)*p_nKeyValNum   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos,
              out.find("file_name(/mnt/mtd/code/config_file/sensor1_0.cfg) nSize(0) sizeof(KeyVal) = 8, "
                       "p_nKeyValNum(3)\n"));
    EXPECT_EQ(0, std::memcmp(sample().data(), records.data(), 24));
}

TEST_F(SensorFileTest, MissingSchemeFileGivesTwoReports) {
    char name[] = "/mnt/mtd/code/config_file/sensor1_3.cfg";
    std::vector<KeyVal> records = sample();
    captureStdout();
    EXPECT_EQ(0, keyValFromFile(name, records.data(), 3));
    std::string out = capturedStdout();
    EXPECT_EQ(2u, countOccurrences(out, "~~~Assertion failed."));
    EXPECT_NE(std::string::npos, out.find("line:56\nfile.open(file_name)   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("file_name(/mnt/mtd/code/config_file/sensor1_3.cfg)\n"));
    EXPECT_EQ(0, std::memcmp(sample().data(), records.data(), 24));
}

TEST_F(SensorFileTest, ShortFileFillsOnlyWhatItsBytesReach) {
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    std::vector<KeyVal> stored = {{1, 2}};
    writeFile(name, bytesOf(stored));
    std::vector<KeyVal> records = sample();
    captureStdout();
    EXPECT_EQ(0, keyValFromFile(name, records.data(), 3));
    EXPECT_EQ(1u, countOccurrences(capturedStdout(), "~~~Assertion failed."));
    EXPECT_EQ(1u, records[0].key);
    EXPECT_EQ(2u, records[0].value);
    EXPECT_EQ(2337u, records[1].key);
    EXPECT_EQ(49u, records[2].key);
}

TEST_F(SensorFileTest, ExtraRecordIsIgnoredSilently) {
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    std::vector<KeyVal> stored = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    writeFile(name, bytesOf(stored));
    std::vector<KeyVal> records(3, KeyVal{0, 0});
    captureStdout();
    EXPECT_EQ(0, keyValFromFile(name, records.data(), 3));
    EXPECT_EQ("", capturedStdout());
    EXPECT_EQ(5u, records[2].key);
    EXPECT_EQ(6u, records[2].value);
}

TEST_F(SensorFileTest, VersionStampIsFourNativeBytes) {
    EXPECT_EQ(0, setVersion(8));
    std::string bytes = readFile("/mnt/mtd/code/config_file/snsversion.cfg");
    ASSERT_EQ(4u, bytes.size());
    u32 stored = 0;
    std::memcpy(&stored, bytes.data(), 4);
    EXPECT_EQ(8u, stored);
    u32 version = 0;
    EXPECT_EQ(0, getVersion(&version));
    EXPECT_EQ(8u, version);
}

TEST_F(SensorFileTest, TextStampIsTooShort) {
    writeFile("/mnt/mtd/code/config_file/snsversion.cfg", "5");
    u32 version = 77;
    EXPECT_EQ(-1, getVersion(&version));
    EXPECT_EQ(77u, version);
}

TEST_F(SensorFileTest, MissingStampGivesMinusOneSilently) {
    u32 version = 77;
    captureStdout();
    EXPECT_EQ(-1, getVersion(&version));
    EXPECT_EQ("", capturedStdout());
    EXPECT_EQ(77u, version);
}

TEST_F(SensorFileTest, SaveIntoMissingDirectoryReportsOpenAndWrite) {
    char name[] = "/no/such/dir/file.bin";
    char data[] = "abcd";
    captureStdout();
    EXPECT_EQ(0, saveToFile(name, data, 4));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:saveToFile line:46\n"
                                          "file.open(file_name, PXFile::modeWrite | PXFile::modeTruncate)   "
                                          "~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("file_name(/no/such/dir/file.bin)\n"));
    EXPECT_NE(std::string::npos, out.find("fun:saveToFile line:47\n"
                                          "file_len == (nSize=file.write(data, file_len))   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("file_len(4)\n"));
}

TEST_F(SensorFileTest, SetVersionFailsWithoutItsDirectory) {
    tarnix_test::removeTree(hostPath("/mnt/mtd/code/config_file"));
    captureStdout();
    EXPECT_EQ(-1, setVersion(8));
    capturedStdout();
}

TEST_F(SensorFileTest, FileLengthAndWholeFileLoad) {
    writeFile("/hd1/a.xml", "<style/>");
    EXPECT_EQ(8, getFileLen("/hd1/a.xml"));
    char buffer[16] = {0};
    EXPECT_EQ(8, loadFromFile("/hd1/a.xml", buffer, 8));
    EXPECT_STREQ("<style/>", buffer);
    EXPECT_EQ(-1, loadFromFile("/hd1/a.xml", buffer, 9));
}

TEST_F(SensorFileTest, MissingFileLengthReportsWithoutLineEnd) {
    captureStdout();
    EXPECT_EQ(0, getFileLen("/hd1/missing.xml"));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:getFileLen line:25\nfile.open(file_name)   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("\033[0m\033[31mfile_name(/hd1/missing.xml)\033[0m"));
}

TEST_F(SensorFileTest, LoadOfMissingFileIsSilent) {
    char buffer[4];
    captureStdout();
    EXPECT_EQ(-1, loadFromFile("/hd1/missing.xml", buffer, 4));
    EXPECT_EQ("", capturedStdout());
}

TEST_F(SensorFileTest, LoadTraceIsADebugTraceInColour37) {
    writeFile("/hd1/a.xml", "x");
    setDebugMarker("6");
    char buffer[1];
    captureStdout();
    loadFromFile("/hd1/a.xml", buffer, 1);
    EXPECT_EQ("\033[0m\033[37m[sensor dbg] file:SensorFile.cpp fun:loadFromFile line:33\nopen file:/hd1/a.xml\n\033[0m",
              capturedStdout());
}

TEST_F(SensorFileTest, SchemeSaveIntoMissingDirectoryReportsOpenAndSizeAndReturnsZero) {
    char name[] = "/no/such/dir/sensor1_0.cfg";
    auto records = sample();
    captureStdout();
    EXPECT_EQ(0, keyValToFile(name, records.data(), 3));
    std::string out = capturedStdout();
    EXPECT_EQ(2u, countOccurrences(out, "~~~Assertion failed."));
    EXPECT_NE(std::string::npos, out.find("fun:keyValToFile line:70\n"
                                          "file.open(file_name, PXFile::modeWrite | PXFile::modeTruncate)   "
                                          "~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("file_name(/no/such/dir/sensor1_0.cfg)\n"));
    EXPECT_NE(std::string::npos, out.find("fun:keyValToFile line:73\n"
                                          "nSize == sizeof(KeyVal)*p_nKeyValSum   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("nSize(0) sizeof(KeyVal) = 8, p_nKeyValNum(3)\n"));
    EXPECT_FALSE(fileExists(name));
}

TEST_F(SensorFileTest, ShortSaveReportsAndReturnsTheCountWritten) {
    CountingOps ops;
    ops.shortBy = 3;
    OpsGuard guard(&ops);
    char name[] = "/mnt/mtd/code/config_file/short.bin";
    char data[] = "abcd";
    captureStdout();
    EXPECT_EQ(1, saveToFile(name, data, 4));
    std::string out = capturedStdout();
    EXPECT_EQ(1u, countOccurrences(out, "~~~Assertion failed."));
    EXPECT_NE(std::string::npos, out.find("fun:saveToFile line:47\n"
                                          "file_len == (nSize=file.write(data, file_len))   ~~~Assertion failed.\n"));
    EXPECT_NE(std::string::npos, out.find("file_len(4)\n"));
}

TEST_F(SensorFileTest, StampWriteCountsAsDoneWhenAnyByteWasWritten) {
    // The result is -1 only below one byte written; a short stamp write is
    // reported by the save but setVersion still answers 0.
    CountingOps ops;
    ops.shortBy = 3;
    OpsGuard guard(&ops);
    captureStdout();
    EXPECT_EQ(0, setVersion(8));
    EXPECT_EQ(1u, countOccurrences(capturedStdout(), "~~~Assertion failed."));
    ops.shortBy = 4;
    captureStdout();
    EXPECT_EQ(-1, setVersion(8));
    capturedStdout();
}

TEST_F(SensorFileTest, NegativeLengthsTransferNothing) {
    writeFile("/hd1/a.xml", "0123456789");
    char buffer[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(-1, loadFromFile("/hd1/a.xml", buffer, -1));
    EXPECT_EQ(0, std::memcmp(buffer, "abcd", 4));
    writeFile("/hd1/b.bin", "keep");
    char name[] = "/hd1/b.bin";
    captureStdout();
    EXPECT_EQ(0, saveToFile(name, buffer, -1));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("fun:saveToFile line:47\n"));
    EXPECT_NE(std::string::npos, out.find("file_len(-1)\n"));
}

namespace {
// A file layer whose sync always fails.
class FailingSyncOps : public tarnix::storage::FileOps {
public:
    bool sync(PXFile&) override { return false; }
};
} // namespace

TEST_F(SensorFileTest, FailedSyncKeepsTheOldFileAndWarns) {
    FailingSyncOps ops;
    OpsGuard guard(&ops);
    char name[] = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    writeFile(name, "previous");
    auto records = sample();
    setDebugMarker("4");
    captureStdout();
    EXPECT_EQ(0, keyValToFile(name, records.data(), 3));
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor warn] file:SensorFile.cpp fun:commitTemp"));
    EXPECT_NE(std::string::npos,
              out.find("file_name(/mnt/mtd/code/config_file/sensor1_0.cfg) not replaced, sync failed, the previous "
                       "file is kept\n"));
    EXPECT_EQ("previous", readFile(name));
    EXPECT_FALSE(fileExists(std::string(name) + ".tmp"));
    EXPECT_NE(std::string::npos, errorLog().find("not replaced, sync failed"));
}
