// PXFile and pxfs: device paths resolve under the root of the test.
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/PXFile.h"
#include "platform/PXFileSystem.h"
#include "support/TestEnv.h"

namespace {

class PXFileTest : public tarnix_test::TarnixTest {};

std::string readAll(PXFile& file) {
    std::string text;
    char buffer[7];
    int n;
    while ((n = file.read(buffer, sizeof(buffer))) > 0) {
        text.append(buffer, n);
    }
    return text;
}

TEST_F(PXFileTest, UnopenedFileTransfersNothing) {
    PXFile file;
    char buffer[8] = "abcdefg";
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.read(buffer, sizeof(buffer)), 0);
    EXPECT_EQ(file.write(buffer, sizeof(buffer)), 0);
    EXPECT_EQ(file.getLength(), 0);
    EXPECT_EQ(file.getFileHandle(), nullptr);
    EXPECT_TRUE(file.ReadLines().empty());
    EXPECT_STREQ(buffer, "abcdefg");
}

TEST_F(PXFileTest, OpenMissingFileForReadingFails) {
    PXFile file;
    EXPECT_FALSE(file.open("/mnt/mtd/none.cfg", 1));
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.open(nullptr, 1));
    EXPECT_FALSE(file.open("", 1));
}

TEST_F(PXFileTest, WriteModeCreatesFileUnderTheRoot) {
    makeDir("/mnt/mtd/code/config_file");
    PXFile file;
    ASSERT_EQ(PXFile::modeWrite | PXFile::modeTruncate, 66);
    ASSERT_TRUE(file.open("/mnt/mtd/code/config_file/a.cfg", 66));
    char data[] = "hello world";
    EXPECT_EQ(file.write(data, 11), 11);
    EXPECT_EQ(file.getLength(), 11);
    file.close();
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(readFile("/mnt/mtd/code/config_file/a.cfg"), "hello world");
    struct stat st;
    EXPECT_NE(::stat("/mnt/mtd/code/config_file/a.cfg", &st), 0) << "the file must not appear outside the root";
}

TEST_F(PXFileTest, WriteModeTruncatesAnExistingFile) {
    writeFile("/data/x.bin", "a long old content");
    PXFile file;
    ASSERT_TRUE(file.open("/data/x.bin", PXFile::modeWrite | PXFile::modeTruncate));
    char data[] = "new";
    EXPECT_EQ(file.write(data, 3), 3);
    file.close();
    EXPECT_EQ(readFile("/data/x.bin"), "new");
}

TEST_F(PXFileTest, AppendModeAddsAtTheEnd) {
    writeFile("/data/x.log", "one\n");
    PXFile file;
    ASSERT_TRUE(file.open("/data/x.log", PXFile::modeWrite | PXFile::modeAppend));
    char data[] = "two\n";
    EXPECT_EQ(file.write(data, 4), 4);
    file.close();
    EXPECT_EQ(readFile("/data/x.log"), "one\ntwo\n");
    // Append also creates a missing file.
    ASSERT_TRUE(file.open("/data/new.log", PXFile::modeWrite | PXFile::modeAppend));
    EXPECT_EQ(file.write(data, 4), 4);
    file.close();
    EXPECT_EQ(readFile("/data/new.log"), "two\n");
}

TEST_F(PXFileTest, ReadModeReadsBytesAndLength) {
    writeFile("/data/r.bin", std::string("ab\0cd\nef", 8));
    PXFile file;
    ASSERT_TRUE(file.open("/data/r.bin", 1));
    EXPECT_EQ(file.getLength(), 8);
    EXPECT_EQ(readAll(file), std::string("ab\0cd\nef", 8));
    // Reading does not write.
    char data[] = "zz";
    EXPECT_EQ(file.write(data, 2), 0);
    EXPECT_EQ(readFile("/data/r.bin"), std::string("ab\0cd\nef", 8));
}

TEST_F(PXFileTest, GetLengthKeepsThePosition) {
    writeFile("/data/p.txt", "0123456789");
    PXFile file;
    ASSERT_TRUE(file.open("/data/p.txt", 1));
    char buffer[4] = {0};
    ASSERT_EQ(file.read(buffer, 3), 3);
    EXPECT_EQ(file.getLength(), 10);
    ASSERT_EQ(file.read(buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), "345");
}

TEST_F(PXFileTest, ReadOneLineStripsLineEnds) {
    writeFile("/tmp/Debug.sign", "7\r\n\n1\nlast");
    PXFile file;
    ASSERT_TRUE(file.open("/tmp/Debug.sign", 1));
    FILE* stream = file.getFileHandle();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(PXFile::ReadOneLine(stream), "7");
    EXPECT_EQ(PXFile::ReadOneLine(stream), "");
    EXPECT_EQ(PXFile::ReadOneLine(stream), "1");
    EXPECT_EQ(PXFile::ReadOneLine(stream), "last");
    EXPECT_EQ(PXFile::ReadOneLine(stream), "");
    EXPECT_EQ(PXFile::ReadOneLine(stream), "");
    EXPECT_EQ(PXFile::ReadOneLine(nullptr), "");
}

TEST_F(PXFileTest, ReadOneLineKeepsALoneCarriageReturnInside) {
    writeFile("/data/cr.txt", "a\rb\n");
    PXFile file;
    ASSERT_TRUE(file.open("/data/cr.txt", 1));
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), "a\rb");
}

TEST_F(PXFileTest, ReadOneLineReturnsLongLinesWhole) {
    std::string longLine(100000, 'x');
    writeFile("/data/long.txt", longLine + "\nshort\n");
    PXFile file;
    ASSERT_TRUE(file.open("/data/long.txt", 1));
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), longLine);
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), "short");
}

TEST_F(PXFileTest, ReadLinesReturnsEveryLineFromTheStart) {
    writeFile("/data/lines.txt", "first\r\n\nthird\nfourth");
    PXFile file;
    ASSERT_TRUE(file.open("/data/lines.txt", 1));
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), "first");
    std::vector<std::string> expected = {"first", "", "third", "fourth"};
    EXPECT_EQ(file.ReadLines(), expected);
    // The stream goes on where it was.
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), "");
    EXPECT_EQ(PXFile::ReadOneLine(file.getFileHandle()), "third");
}

TEST_F(PXFileTest, ReadLinesOfEmptyFileAndTrailingNewline) {
    writeFile("/data/empty.txt", "");
    writeFile("/data/two.txt", "a\nb\n");
    PXFile empty;
    ASSERT_TRUE(empty.open("/data/empty.txt", 1));
    EXPECT_TRUE(empty.ReadLines().empty());
    PXFile two;
    ASSERT_TRUE(two.open("/data/two.txt", 1));
    std::vector<std::string> expected = {"a", "b"};
    EXPECT_EQ(two.ReadLines(), expected);
}

TEST_F(PXFileTest, ReopeningClosesThePreviousFile) {
    writeFile("/data/a.txt", "A");
    writeFile("/data/b.txt", "B");
    PXFile file;
    ASSERT_TRUE(file.open("/data/a.txt", 1));
    ASSERT_TRUE(file.open("/data/b.txt", 1));
    EXPECT_EQ(readAll(file), "B");
    EXPECT_FALSE(file.open("/data/none.txt", 1));
    EXPECT_FALSE(file.isOpen());
}

TEST_F(PXFileTest, DestructorFlushesAndCloses) {
    {
        PXFile file;
        ASSERT_TRUE(file.open("/out.txt", 66));
        char data[] = "kept";
        file.write(data, 4);
    }
    EXPECT_EQ(readFile("/out.txt"), "kept");
}

TEST_F(PXFileTest, ModeWithoutAccessBitsFails) {
    writeFile("/data/a.txt", "A");
    PXFile file;
    EXPECT_FALSE(file.open("/data/a.txt", 0));
    EXPECT_FALSE(file.open("/data/a.txt", PXFile::modeTruncate));
}

class FileSystemTest : public tarnix_test::TarnixTest {};

TEST_F(FileSystemTest, ResolvePutsDevicePathsUnderTheRoot) {
    EXPECT_EQ(pxfs::resolve("/mnt/mtd/log/SensorError.log"), root() + "/mnt/mtd/log/SensorError.log");
    EXPECT_EQ(pxfs::resolve("relative/name"), "relative/name");
    EXPECT_EQ(pxfs::resolve(""), "");
    // Resolving twice does not stack the root.
    std::string once = pxfs::resolve("/tmp/x");
    EXPECT_EQ(pxfs::resolve(once), once);
    EXPECT_EQ(pxfs::resolve(root()), root());
}

TEST_F(FileSystemTest, EmptyRootIsTheRealFileSystem) {
    platform::setRoot("");
    EXPECT_EQ(platform::root(), "");
    EXPECT_EQ(pxfs::resolve("/mnt/mtd/x"), "/mnt/mtd/x");
}

TEST_F(FileSystemTest, RootLosesTrailingSlashes) {
    platform::setRoot(root() + "//");
    EXPECT_EQ(platform::root(), root());
    EXPECT_EQ(pxfs::resolve("/a"), root() + "/a");
    platform::setRoot("/");
    EXPECT_EQ(platform::root(), "");
}

TEST_F(FileSystemTest, ExistsRemoveRename) {
    EXPECT_FALSE(pxfs::exists("/tmp/Debug.sign"));
    writeFile("/tmp/Debug.sign", "1\n");
    EXPECT_TRUE(pxfs::exists("/tmp/Debug.sign"));
    EXPECT_TRUE(pxfs::exists("/tmp"));
    EXPECT_FALSE(pxfs::exists(""));

    EXPECT_TRUE(pxfs::rename("/tmp/Debug.sign", "/tmp/moved"));
    EXPECT_FALSE(fileExists("/tmp/Debug.sign"));
    EXPECT_EQ(readFile("/tmp/moved"), "1\n");
    EXPECT_FALSE(pxfs::rename("/tmp/none", "/tmp/other"));

    EXPECT_TRUE(pxfs::remove("/tmp/moved"));
    EXPECT_FALSE(fileExists("/tmp/moved"));
    EXPECT_FALSE(pxfs::remove("/tmp/moved"));
}

TEST_F(FileSystemTest, SyncFileAndDir) {
    makeDir("/mnt/mtd/code/config_file");
    PXFile file;
    ASSERT_TRUE(file.open("/mnt/mtd/code/config_file/s.tmp", 66));
    char data[] = "1234";
    file.write(data, 4);
    EXPECT_TRUE(pxfs::syncFile(file.getFileHandle()));
    // The data reached the file before it is closed.
    EXPECT_EQ(readFile("/mnt/mtd/code/config_file/s.tmp"), "1234");
    file.close();
    EXPECT_FALSE(pxfs::syncFile(nullptr));
    EXPECT_TRUE(pxfs::syncDir("/mnt/mtd/code/config_file"));
    EXPECT_FALSE(pxfs::syncDir("/mnt/mtd/none"));
    EXPECT_FALSE(pxfs::syncDir("/mnt/mtd/code/config_file/s.tmp"));
}

TEST_F(FileSystemTest, MakeDirsCreatesMissingParentsUnderTheRoot) {
    EXPECT_TRUE(pxfs::makeDirs("/mnt/mtd/code/config_file"));
    struct stat st;
    ASSERT_EQ(::stat(hostPath("/mnt/mtd/code/config_file").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    // Existing directories are fine, also with a trailing slash.
    EXPECT_TRUE(pxfs::makeDirs("/mnt/mtd/code/config_file/"));
    EXPECT_TRUE(pxfs::makeDirs("/mnt"));
    // A file in the way.
    writeFile("/data/file", "x");
    EXPECT_FALSE(pxfs::makeDirs("/data/file"));
    EXPECT_FALSE(pxfs::makeDirs("/data/file/sub"));
    EXPECT_FALSE(pxfs::makeDirs(""));
}

} // namespace
