// The storage work of the operations that write scheme files, counted step by
// step through the file layer on the sample box camera: a file that already
// holds the bytes of a save is never written again, and every file that must
// change is written exactly once.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <map>
#include <string>
#include <vector>

#include "integration/integration_fixture.h"
#include "platform/posix/HostTree.h"
#include "support/CountingFileOps.h"
#include "support/PowerCutFileOps.h"

namespace integration_test {
namespace {

using lifecycle_test::schemePath;
using tarnix_test::CountingFileOps;
using tarnix_test::FileOpsGuard;
using tarnix_test::StorageWork;

const char* const kStamp = "/mnt/mtd/code/config_file/snsversion.cfg";

// Identity of a file on the host: a rewrite changes its modification time,
// a replace by rename its inode.
struct FileMark {
    ino_t inode;
    long long mtimeNs;
    long long size;
    bool operator==(const FileMark& o) const { return inode == o.inode && mtimeNs == o.mtimeNs && size == o.size; }
};

void markTree(const std::string& p_strHostDir, std::map<std::string, FileMark>& p_mapMarks) {
    for (const std::string& strName : platform::listHostDir(p_strHostDir)) {
        const std::string strPath = p_strHostDir + "/" + strName;
        struct stat st;
        if (::lstat(strPath.c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            markTree(strPath, p_mapMarks);
        } else {
            p_mapMarks[strPath] = {st.st_ino, static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL +
                                                  st.st_mtim.tv_nsec,
                                   static_cast<long long>(st.st_size)};
        }
    }
}

class StorageWorkTest : public IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        installDeviceTree("box");
        m_pGuard.reset(new FileOpsGuard(&m_ops));
    }
    void TearDown() override {
        m_pGuard.reset();
        IntegrationTest::TearDown();
    }

    // Every file of the flash partition with its identity.
    std::map<std::string, FileMark> flashMarks() const {
        std::map<std::string, FileMark> mapMarks;
        markTree(hostPath("/mnt/mtd"), mapMarks);
        return mapMarks;
    }

    // Channel 1 initialised; without automatic scheme switching when asked.
    void start(ISensorController& c, bool p_bManual) {
        c.setChannelID(1);
        ASSERT_TRUE(c.init(firstModule()));
        if (p_bManual) {
            ASSERT_TRUE(c.setParamMode(0));
        }
    }

    // A first start of the camera: creates the scheme files and the stamp.
    void firstStart() {
        ISensorController c;
        ASSERT_NO_FATAL_FAILURE(start(c, false));
        c.uinit();
        m_ops.take();
    }

    // An up-to-date device and channel 1 on it, storage counts from zero.
    void startUpToDate(ISensorController& c) {
        ASSERT_NO_FATAL_FAILURE(firstStart());
        ASSERT_NO_FATAL_FAILURE(start(c, true));
        m_ops.take();
    }

    static long rowBytes(ISensorController& c) { return static_cast<long>(Peer::keyValSum(c) * sizeof(KeyVal)); }

    // One scheme file put in place, with the steps of one atomic replace.
    static void expectOneFile(const StorageWork& p_stWork, const std::string& p_strPath, long p_nBytes) {
        EXPECT_EQ(1, p_stWork.opens) << p_stWork.summary();
        EXPECT_EQ(p_nBytes, p_stWork.bytes) << p_stWork.summary();
        EXPECT_EQ(1, p_stWork.syncs) << p_stWork.summary();
        EXPECT_EQ(1, p_stWork.renames) << p_stWork.summary();
        EXPECT_EQ(1, p_stWork.dirSyncs) << p_stWork.summary();
        EXPECT_EQ(0, p_stWork.removes) << p_stWork.summary();
        EXPECT_EQ(std::vector<std::string>{p_strPath}, p_stWork.placed);
    }

    CountingFileOps m_ops;
    std::unique_ptr<FileOpsGuard> m_pGuard;
};

TEST_F(StorageWorkTest, FirstStartWritesEachSchemeFileAndTheStampOnce) {
    ISensorController c;
    ASSERT_NO_FATAL_FAILURE(start(c, false));
    const StorageWork stWork = m_ops.take();
    const u32 nSchemes = Peer::sysConf(c).nSchemeSum;
    ASSERT_EQ(4u, nSchemes);

    std::map<std::string, int> mapExpected = {{kStamp, 1}};
    for (u32 s = 0; s < nSchemes; ++s) {
        mapExpected[schemePath(1, static_cast<int>(s))] = 1;
    }
    EXPECT_EQ(mapExpected, stWork.placedCount());
    EXPECT_EQ(static_cast<long>(nSchemes) * rowBytes(c) + 4, stWork.bytes);
    EXPECT_EQ(static_cast<long>(nSchemes) + 1, stWork.opens);
    EXPECT_EQ(static_cast<long>(nSchemes) + 1, stWork.syncs);
    EXPECT_EQ(static_cast<long>(nSchemes) + 1, stWork.renames);
    EXPECT_EQ(static_cast<long>(nSchemes) + 1, stWork.dirSyncs);
    EXPECT_EQ(0, stWork.removes);
    c.uinit();
    EXPECT_TRUE(m_ops.take().none());
}

TEST_F(StorageWorkTest, InitAndUinitOnAnUpToDateDeviceWriteNothing) {
    ASSERT_NO_FATAL_FAILURE(firstStart());
    const std::map<std::string, FileMark> mapBefore = flashMarks();
    ASSERT_EQ(1u, mapBefore.count(hostPath(kStamp)));
    ASSERT_EQ(1u, mapBefore.count(hostPath(schemePath(1, 3))));

    ISensorController c;
    ASSERT_NO_FATAL_FAILURE(start(c, false));
    StorageWork stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();
    c.uinit();
    stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();
    // Nothing on the flash partition was touched, through the layer or not.
    EXPECT_TRUE(mapBefore == flashMarks());
}

TEST_F(StorageWorkTest, FlushWritesOnlyWhatChangedAndNothingTheSecondTime) {
    ISensorController c;
    ASSERT_NO_FATAL_FAILURE(startUpToDate(c));

    // Straight after init every row equals its file.
    EXPECT_EQ(0, c.flush());
    StorageWork stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();

    // One changed key: one file, written once.
    ASSERT_EQ(0, c.setParameters(std::string("(34,61)"), true));
    EXPECT_EQ(0, c.flush());
    expectOneFile(m_ops.take(), schemePath(1, 0), rowBytes(c));

    // The same store again, and a set of the value already held.
    EXPECT_EQ(0, c.flush());
    ASSERT_EQ(0, c.setParameters(std::string("(34,61)"), true));
    EXPECT_EQ(0, c.flush());
    stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();

    // A change in another scheme: only that scheme's file.
    ASSERT_TRUE(c.setParamScheme(2));
    ASSERT_EQ(0, c.setParameters(std::string("(2337,45)"), true));
    EXPECT_EQ(0, c.flush());
    expectOneFile(m_ops.take(), schemePath(1, 2), rowBytes(c));
    EXPECT_EQ(0, c.flush());
    stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();
    c.uinit();
}

TEST_F(StorageWorkTest, MirrorModeStoresOnlyWhenTheMirrorChanged) {
    ISensorController c;
    ASSERT_NO_FATAL_FAILURE(startUpToDate(c));
    int nMirror = -1;
    ASSERT_TRUE(c.getMirrorValue(nMirror));

    EXPECT_TRUE(c.setMirrorMode(nMirror));
    StorageWork stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();

    EXPECT_TRUE(c.setMirrorMode(nMirror == 0 ? 1 : 0));
    expectOneFile(m_ops.take(), schemePath(1, 0), rowBytes(c));
    c.uinit();
}

TEST_F(StorageWorkTest, ResetWritesEachDeletedFileOnceAndLeavesTheStamp) {
    ISensorController c;
    ASSERT_NO_FATAL_FAILURE(startUpToDate(c));
    ASSERT_EQ(0, c.setParameters(std::string("(34,61)"), true));
    ASSERT_EQ(0, c.flush());
    m_ops.take();
    const std::map<std::string, FileMark> mapBefore = flashMarks();

    for (int nRound = 0; nRound < 2; ++nRound) {
        SCOPED_TRACE(nRound);
        ASSERT_TRUE(c.resetParameters());
        const StorageWork stWork = m_ops.take();
        const u32 nSchemes = Peer::sysConf(c).nSchemeSum;
        // The reset deletes the four scheme files; init writes each of them
        // back once from the factory values. The stamp already holds this
        // version and stays as it is.
        std::map<std::string, int> mapExpected;
        for (u32 s = 0; s < nSchemes; ++s) {
            mapExpected[schemePath(1, static_cast<int>(s))] = 1;
        }
        EXPECT_EQ(mapExpected, stWork.placedCount());
        EXPECT_EQ(static_cast<long>(nSchemes) * rowBytes(c), stWork.bytes);
        EXPECT_EQ(static_cast<long>(nSchemes), stWork.syncs);
        EXPECT_EQ(static_cast<long>(nSchemes), stWork.dirSyncs);
        const std::map<std::string, FileMark> mapAfter = flashMarks();
        ASSERT_EQ(1u, mapAfter.count(hostPath(kStamp)));
        EXPECT_TRUE(mapBefore.at(hostPath(kStamp)) == mapAfter.at(hostPath(kStamp)));
    }

    // After the reset the rows equal the files again.
    EXPECT_EQ(0, c.flush());
    const StorageWork stWork = m_ops.take();
    EXPECT_TRUE(stWork.none()) << stWork.summary();
    c.uinit();
}

} // namespace
} // namespace integration_test
