// Power cuts while a scheme file or the version stamp is saved, leftover
// temporary files, and damaged scheme files at start-up.
//
// A cut is modelled by PowerCutFileOps: the save stops after step k, then the
// data and names that had not reached storage are lost (in every combination
// the model allows), and a fresh controller starts on the same device tree.
// The file must hold exactly the old or exactly the new content, and the
// controller must come up with every cached record equal to a value that was
// stored (under ASan fresh heap memory is filled with a pattern, so an
// uninitialised record cannot pass for a stored one).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "config/sensor.h"
#include "controller/ISensorController.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "storage/SensorFile.h"
#include "support/ControllerPeer.h"
#include "support/PowerCutFileOps.h"
#include "support/TestEnv.h"

namespace {

using Peer = ISensorControllerTestPeer;
using tarnix_test::FileOpsGuard;
using tarnix_test::PowerCut;
using tarnix_test::PowerCutFileOps;
using tarnix_test::UnsyncedData;
using tarnix_test::UnsyncedNames;

const char* const kConfigDir = "/mnt/mtd/code/config_file";
const char* const kStamp = "/mnt/mtd/code/config_file/snsversion.cfg";
const char* const kStampTmp = "/mnt/mtd/code/config_file/snsversion.cfg.tmp";
const u32 kSchemeSum = 4; // max_scheme of the box module
const u32 kLayoutVersion = 8;
// The steps of one save: open, write, sync, rename, directory sync.
const int kSaveSteps = 5;

std::string schemePath(u32 p_nScheme) {
    return std::string(kConfigDir) + "/sensor1_" + std::to_string(p_nScheme) + ".cfg";
}
std::string tmpOf(const std::string& p_strPath) {
    return p_strPath + ".tmp";
}

std::string stampBytes(u32 p_nVersion) {
    return std::string(reinterpret_cast<const char*>(&p_nVersion), 4);
}

std::string bytesOf(const KeyVal* p_pRecords, size_t p_nCount) {
    return std::string(reinterpret_cast<const char*>(p_pRecords), p_nCount * sizeof(KeyVal));
}

std::vector<KeyVal> recordsOf(const std::string& p_strBytes) {
    std::vector<KeyVal> vec(p_strBytes.size() / sizeof(KeyVal));
    if (!vec.empty()) {
        std::memcpy(vec.data(), p_strBytes.data(), vec.size() * sizeof(KeyVal));
    }
    return vec;
}

// Names the first differing record instead of printing kilobytes of bytes.
::testing::AssertionResult sameBytes(const std::string& p_strExpected, const std::string& p_strActual) {
    if (p_strExpected == p_strActual) {
        return ::testing::AssertionSuccess();
    }
    auto result = ::testing::AssertionFailure();
    result << "expected " << p_strExpected.size() << " bytes, got " << p_strActual.size();
    for (size_t i = 0; i < p_strExpected.size() && i < p_strActual.size(); ++i) {
        if (p_strExpected[i] != p_strActual[i]) {
            result << "; first difference at byte " << i << " (record " << i / sizeof(KeyVal) << ")";
            break;
        }
    }
    return result;
}

::testing::AssertionResult oneOf(const std::string& p_strActual, const std::string& p_strOld,
                                 const std::string& p_strNew) {
    if (p_strActual == p_strOld || p_strActual == p_strNew) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "neither the old (" << p_strOld.size() << " bytes) nor the new (" << p_strNew.size()
           << " bytes) content: " << p_strActual.size() << " bytes";
}

// Every record of the row is the old or the new record of its position.
::testing::AssertionResult recordsFrom(const std::vector<KeyVal>& p_vecRow, const std::string& p_strOld,
                                       const std::string& p_strNew) {
    std::vector<KeyVal> vecOld = recordsOf(p_strOld);
    std::vector<KeyVal> vecNew = recordsOf(p_strNew);
    if (p_vecRow.size() != vecOld.size() || p_vecRow.size() != vecNew.size()) {
        return ::testing::AssertionFailure() << "row of " << p_vecRow.size() << " records, files of "
                                             << vecOld.size() << " and " << vecNew.size();
    }
    for (size_t i = 0; i < p_vecRow.size(); ++i) {
        const KeyVal& r = p_vecRow[i];
        bool bOld = r.key == vecOld[i].key && r.value == vecOld[i].value;
        bool bNew = r.key == vecNew[i].key && r.value == vecNew[i].value;
        if (!bOld && !bNew) {
            return ::testing::AssertionFailure()
                   << "record " << i << " (" << r.key << "," << r.value << ") is neither (" << vecOld[i].key
                   << "," << vecOld[i].value << ") nor (" << vecNew[i].key << "," << vecNew[i].value << ")";
        }
    }
    return ::testing::AssertionSuccess();
}

struct Loss {
    UnsyncedData data;
    UnsyncedNames names;
};
const Loss kLosses[] = {
    {UnsyncedData::Lost, UnsyncedNames::Lost},    {UnsyncedData::Lost, UnsyncedNames::Kept},
    {UnsyncedData::Partial, UnsyncedNames::Lost}, {UnsyncedData::Partial, UnsyncedNames::Kept},
    {UnsyncedData::Kept, UnsyncedNames::Lost},    {UnsyncedData::Kept, UnsyncedNames::Kept},
};

std::string describe(int p_nCutAfter, const Loss& p_objLoss) {
    static const char* const kData[] = {"lost", "partly kept", "kept"};
    static const char* const kNames[] = {"lost", "kept"};
    return "power cut after step " + std::to_string(p_nCutAfter) + ", unsynced data " +
           kData[static_cast<int>(p_objLoss.data)] + ", unsynced names " +
           kNames[static_cast<int>(p_objLoss.names)];
}

class CrashSafetyTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        // Saves outside a test's own layer go through a layer that never
        // cuts, so that no test waits for the disk.
        tarnix::storage::setFileOps(&m_objQuietOps);
        installDeviceTree("box");
        MachineInfo objMachine;
        SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine);
        std::vector<ModuleConfigure> vecModules;
        ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                     objMachine.getHardwareCode(), vecModules);
        ASSERT_FALSE(vecModules.empty());
        m_objModule = vecModules.front();
    }

    // What a new process starts from: the ISP at power-on with the tree's
    // profile and the process-wide switches at their start values.
    void powerOn() {
        ispsim::reset();
        ispsim::loadProfile(hostPath("/isp/profile.conf"));
        setshowBeawayFalg(true);
        setshowFisheyeRotateFlag(true);
        ISensorController::m_nChanneldDosomething = -1;
        ISensorController::m_nPassKeycmd = -1;
    }

    std::unique_ptr<ISensorController> construct() {
        powerOn();
        std::unique_ptr<ISensorController> pCtl(new ISensorController());
        pCtl->setChannelID(1);
        return pCtl;
    }

    // A controller started on the device tree as it is.
    std::unique_ptr<ISensorController> start() {
        std::unique_ptr<ISensorController> pCtl = construct();
        EXPECT_TRUE(pCtl->init(m_objModule));
        EXPECT_EQ(kSchemeSum, Peer::sysConf(*pCtl).nSchemeSum);
        return pCtl;
    }

    // A controller whose init was cut short: the process is gone, so only
    // its memory is given back (marking it initialised lets the destructor
    // release what init had allocated).
    static void discard(std::unique_ptr<ISensorController>& p_pCtl) {
        Peer::setFlag(*p_pCtl, ISensorController::FLAG_INITED, true);
        p_pCtl.reset();
    }

    // Stops the sensor thread, so the cache can be read without racing it.
    static void quiesce(ISensorController& c) { Peer::thread(c)->stop(); }

    static std::vector<KeyVal> row(ISensorController& c, u32 p_nScheme) {
        KeyVal** pp = Peer::userKeyVal(c);
        if (pp == nullptr) {
            return {};
        }
        return std::vector<KeyVal>(pp[p_nScheme], pp[p_nScheme] + Peer::keyValSum(c));
    }
    static std::string rowBytes(ISensorController& c, u32 p_nScheme) {
        std::vector<KeyVal> vec = row(c, p_nScheme);
        return bytesOf(vec.data(), vec.size());
    }

    void clearConfigDir() {
        for (u32 s = 0; s < kSchemeSum; ++s) {
            removeFile(schemePath(s));
            removeFile(tmpOf(schemePath(s)));
        }
        removeFile(kStamp);
        removeFile(kStampTmp);
    }

    // Files of the current layout: the schemes as the first start creates
    // them; scheme 0 then holds p_strEdit, saved with flush. Returns the
    // factory content of scheme 0 (the file a start creates when it is
    // missing).
    std::string prepareUserFiles(const std::string& p_strEdit, std::string& p_strUser) {
        clearConfigDir();
        std::unique_ptr<ISensorController> c = start();
        std::string strFactory0 = readFile(schemePath(0));
        EXPECT_EQ(0, c->setParameters(p_strEdit, true));
        EXPECT_EQ(0, c->flush());
        c.reset();
        p_strUser = readFile(schemePath(0));
        EXPECT_EQ(strFactory0.size(), p_strUser.size());
        EXPECT_NE(strFactory0, p_strUser);
        return strFactory0;
    }

    void TearDown() override {
        tarnix::storage::setFileOps(nullptr);
        TarnixTest::TearDown();
    }

    PowerCutFileOps m_objQuietOps;
    ModuleConfigure m_objModule;
};

// One instance per step after which the power is cut.
class CutAtStep : public CrashSafetyTest, public ::testing::WithParamInterface<int> {};

// ---- the steps of a save ----

TEST_F(CrashSafetyTest, FlushIsOpenWriteSyncRenameAndDirectorySync) {
    std::string strUser;
    prepareUserFiles("(34,60)", strUser);
    std::unique_ptr<ISensorController> c = start();
    ASSERT_EQ(0, c->setParameters("(34,61)(2337,44)", true));
    PowerCutFileOps ops;
    {
        FileOpsGuard guard(&ops);
        EXPECT_EQ(0, c->flush());
    }
    const std::string strName = schemePath(0);
    const std::vector<std::string> vecExpected = {
        "open " + tmpOf(strName),
        "write " + tmpOf(strName) + " " + std::to_string(Peer::keyValSum(*c) * sizeof(KeyVal)),
        "sync " + tmpOf(strName),
        "rename " + tmpOf(strName) + " " + strName,
        "syncdir " + strName,
    };
    EXPECT_EQ(vecExpected, ops.steps());
    EXPECT_EQ(kSaveSteps, ops.stepsDone());
    EXPECT_FALSE(ops.powerIsOff());
    EXPECT_FALSE(fileExists(tmpOf(strName)));
    EXPECT_TRUE(sameBytes(rowBytes(*c, 0), readFile(strName)));
}

TEST_F(CrashSafetyTest, VersionStampIsOpenWriteSyncRenameAndDirectorySync) {
    PowerCutFileOps ops;
    {
        FileOpsGuard guard(&ops);
        EXPECT_EQ(0, setVersion(kLayoutVersion));
    }
    const std::vector<std::string> vecExpected = {
        std::string("open ") + kStampTmp, std::string("write ") + kStampTmp + " 4",
        std::string("sync ") + kStampTmp, std::string("rename ") + kStampTmp + " " + kStamp,
        std::string("syncdir ") + kStamp,
    };
    EXPECT_EQ(vecExpected, ops.steps());
    EXPECT_EQ(kSaveSteps, ops.stepsDone());
    EXPECT_EQ(stampBytes(kLayoutVersion), readFile(kStamp));
    EXPECT_FALSE(fileExists(kStampTmp));
}

// The model itself: what survives a cut after each step of a plain save.
TEST_F(CrashSafetyTest, CutModelKeepsOnlyWhatReachedStorage) {
    makeDir(kConfigDir);
    const std::string strName = schemePath(2);
    std::vector<KeyVal> vecNew = {{34, 1}, {2337, 2}, {49, 3}};
    const std::string strNew = bytesOf(vecNew.data(), vecNew.size());
    const std::string strOld = "old!old!";
    struct Expect {
        int cutAfter;
        Loss loss;
        bool tmpExists;
        size_t tmpSize;
        std::string file;
    };
    const Expect vecCases[] = {
        {0, {UnsyncedData::Kept, UnsyncedNames::Kept}, false, 0, strOld},
        {1, {UnsyncedData::Kept, UnsyncedNames::Kept}, true, 0, strOld},
        {1, {UnsyncedData::Kept, UnsyncedNames::Lost}, false, 0, strOld},
        {2, {UnsyncedData::Lost, UnsyncedNames::Kept}, true, 0, strOld},
        {2, {UnsyncedData::Partial, UnsyncedNames::Kept}, true, 13, strOld},
        {2, {UnsyncedData::Kept, UnsyncedNames::Kept}, true, 24, strOld},
        {3, {UnsyncedData::Lost, UnsyncedNames::Kept}, true, 24, strOld},
        {4, {UnsyncedData::Lost, UnsyncedNames::Lost}, false, 0, strOld},
        {4, {UnsyncedData::Lost, UnsyncedNames::Kept}, false, 0, strNew},
        {5, {UnsyncedData::Lost, UnsyncedNames::Lost}, false, 0, strNew},
    };
    for (const Expect& e : vecCases) {
        SCOPED_TRACE(describe(e.cutAfter, e.loss));
        writeFile(strName, strOld);
        removeFile(tmpOf(strName));
        PowerCutFileOps ops(e.cutAfter);
        bool bCut = false;
        {
            FileOpsGuard guard(&ops);
            std::string strTmp = strName;
            try {
                keyValToFile(&strTmp[0], vecNew.data(), 3);
            } catch (const PowerCut& cut) {
                bCut = true;
                EXPECT_EQ(e.cutAfter + 1, cut.step);
            }
        }
        EXPECT_EQ(e.cutAfter < 5, bCut);
        EXPECT_EQ(e.cutAfter < 5, ops.powerIsOff());
        ops.losePower(e.loss.data, e.loss.names);
        EXPECT_EQ(e.tmpExists, fileExists(tmpOf(strName)));
        if (e.tmpExists) {
            EXPECT_EQ(e.tmpSize, readFile(tmpOf(strName)).size());
        }
        EXPECT_EQ(e.file, readFile(strName));
    }
    // After the cut nothing runs: a second save fails at its first step.
    // (Other bytes than the file holds: a save of the same bytes writes
    // nothing at all.)
    std::vector<KeyVal> vecOther = {{34, 9}, {2337, 8}, {49, 7}};
    PowerCutFileOps ops(1);
    FileOpsGuard guard(&ops);
    std::string strTmp = strName;
    EXPECT_THROW(keyValToFile(&strTmp[0], vecOther.data(), 3), PowerCut);
    EXPECT_THROW(keyValToFile(&strTmp[0], vecOther.data(), 3), PowerCut);
    EXPECT_EQ(1, ops.stepsDone());
}

// ---- power cuts during a flush ----

class FlushCut : public CutAtStep {};

TEST_P(FlushCut, LeavesTheOldOrTheNewFileAndStartsWithItsValues) {
    const int k = GetParam();
    std::string strOld;
    prepareUserFiles("(34,60)", strOld);
    const std::string strName = schemePath(0);
    const std::string strEdit = "(34,61)(2337,44)";
    std::vector<std::string> vecOthers;
    for (u32 s = 1; s < kSchemeSum; ++s) {
        vecOthers.push_back(readFile(schemePath(s)));
    }

    // The new content: a whole flush.
    std::string strNew;
    {
        std::unique_ptr<ISensorController> c = start();
        ASSERT_EQ(0, c->setParameters(strEdit, true));
        ASSERT_EQ(0, c->flush());
        strNew = readFile(strName);
    }
    ASSERT_EQ(strOld.size(), strNew.size());
    ASSERT_NE(strOld, strNew);

    for (const Loss& loss : kLosses) {
        SCOPED_TRACE(describe(k, loss));
        writeFile(strName, strOld);
        removeFile(tmpOf(strName));
        {
            std::unique_ptr<ISensorController> c = start();
            ASSERT_EQ(0, c->setParameters(strEdit, true));
            PowerCutFileOps ops(k);
            bool bCut = false;
            {
                FileOpsGuard guard(&ops);
                try {
                    c->flush();
                } catch (const PowerCut& cut) {
                    bCut = true;
                    EXPECT_EQ(k + 1, cut.step);
                }
            }
            EXPECT_EQ(k < kSaveSteps, bCut);
            c.reset();
            ops.losePower(loss.data, loss.names);
        }
        const std::string strDisk = readFile(strName);
        ASSERT_TRUE(oneOf(strDisk, strOld, strNew));
        // The rename is the moment the new content counts, once its
        // directory is flushed.
        bool bRenamed = k > 3 && (k == kSaveSteps || loss.names == UnsyncedNames::Kept);
        EXPECT_EQ(bRenamed ? strNew : strOld, strDisk);

        // Restart on what survived.
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        EXPECT_TRUE(recordsFrom(row(*c, 0), strOld, strNew));
        EXPECT_TRUE(sameBytes(strDisk, rowBytes(*c, 0)));
        for (u32 s = 1; s < kSchemeSum; ++s) {
            EXPECT_TRUE(sameBytes(vecOthers[s - 1], rowBytes(*c, s))) << "scheme " << s;
        }
        // The start read the file and left it alone.
        EXPECT_EQ(strDisk, readFile(strName));
        EXPECT_EQ(stampBytes(kLayoutVersion), readFile(kStamp));
    }
}

// Step 5 is the last: a cut after it is a cut after the complete save.
INSTANTIATE_TEST_SUITE_P(EveryStep, FlushCut, ::testing::Range(0, kSaveSteps + 1));

// ---- power cuts during the version stamp write ----

class VersionStampCut : public CutAtStep {};

TEST_P(VersionStampCut, LeavesTheOldOrTheNewStampAndStartsConsistently) {
    const int k = GetParam();
    std::string strUser;
    const std::string strFactory0 = prepareUserFiles("(34,61)(2337,44)", strUser);
    const std::string strOldStamp = stampBytes(kLayoutVersion - 1);
    const std::string strNewStamp = stampBytes(kLayoutVersion);

    for (const Loss& loss : kLosses) {
        SCOPED_TRACE(describe(k, loss));
        writeFile(kStamp, strOldStamp);
        removeFile(kStampTmp);
        writeFile(schemePath(0), strUser);
        PowerCutFileOps ops(k);
        bool bCut = false;
        {
            FileOpsGuard guard(&ops);
            try {
                setVersion(kLayoutVersion);
            } catch (const PowerCut& cut) {
                bCut = true;
                EXPECT_EQ(k + 1, cut.step);
            }
        }
        EXPECT_EQ(k < kSaveSteps, bCut);
        ops.losePower(loss.data, loss.names);
        const std::string strDisk = readFile(kStamp);
        ASSERT_TRUE(oneOf(strDisk, strOldStamp, strNewStamp));
        bool bRenamed = k > 3 && (k == kSaveSteps || loss.names == UnsyncedNames::Kept);
        EXPECT_EQ(bRenamed ? strNewStamp : strOldStamp, strDisk);

        // An old stamp makes the start drop the files of the old layout; a
        // new one keeps the user's values.
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        const std::string& strExpected = bRenamed ? strUser : strFactory0;
        EXPECT_TRUE(sameBytes(strExpected, rowBytes(*c, 0)));
        EXPECT_TRUE(sameBytes(strExpected, readFile(schemePath(0))));
        EXPECT_EQ(strNewStamp, readFile(kStamp));
        EXPECT_FALSE(fileExists(kStampTmp));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryStep, VersionStampCut, ::testing::Range(0, kSaveSteps + 1));

// ---- power cuts during a first start, which creates every file ----

// A first start saves every scheme file and then the stamp.
const int kFirstStartSteps = kSaveSteps * static_cast<int>(kSchemeSum + 1);

TEST_F(CrashSafetyTest, FirstStartSavesEverySchemeFileThenTheStamp) {
    clearConfigDir();
    PowerCutFileOps ops;
    {
        FileOpsGuard guard(&ops);
        start();
    }
    ASSERT_EQ(kFirstStartSteps, ops.stepsDone());
    for (u32 s = 0; s < kSchemeSum; ++s) {
        EXPECT_EQ("open " + tmpOf(schemePath(s)), ops.steps()[kSaveSteps * s]);
        EXPECT_EQ("syncdir " + schemePath(s), ops.steps()[kSaveSteps * s + 4]);
    }
    EXPECT_EQ(std::string("open ") + kStampTmp, ops.steps()[kSaveSteps * kSchemeSum]);
}

class FirstStartCut : public CutAtStep {};

TEST_P(FirstStartCut, LeavesWholeFilesAndTheNextStartCompletesThem) {
    const int k = GetParam();
    // The files and the cache of a complete first start.
    clearConfigDir();
    std::vector<std::string> vecFiles;
    std::vector<std::string> vecRows;
    {
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        for (u32 s = 0; s < kSchemeSum; ++s) {
            vecFiles.push_back(readFile(schemePath(s)));
            vecRows.push_back(rowBytes(*c, s));
        }
    }

    for (const Loss& loss : kLosses) {
        SCOPED_TRACE(describe(k, loss));
        clearConfigDir();
        {
            PowerCutFileOps ops(k);
            std::unique_ptr<ISensorController> c = construct();
            bool bCut = false;
            {
                FileOpsGuard guard(&ops);
                try {
                    c->init(m_objModule);
                } catch (const PowerCut& cut) {
                    bCut = true;
                    EXPECT_EQ(k + 1, cut.step);
                }
            }
            EXPECT_TRUE(bCut);
            discard(c);
            ops.losePower(loss.data, loss.names);
        }
        // Every file is absent or whole; the stamp is absent or new.
        for (u32 s = 0; s < kSchemeSum; ++s) {
            if (fileExists(schemePath(s))) {
                EXPECT_TRUE(sameBytes(vecFiles[s], readFile(schemePath(s)))) << "scheme " << s;
            }
        }
        if (fileExists(kStamp)) {
            EXPECT_EQ(stampBytes(kLayoutVersion), readFile(kStamp));
        }

        // The next start completes what is missing.
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        for (u32 s = 0; s < kSchemeSum; ++s) {
            EXPECT_TRUE(sameBytes(vecRows[s], rowBytes(*c, s))) << "scheme " << s;
            EXPECT_TRUE(sameBytes(vecFiles[s], readFile(schemePath(s)))) << "scheme " << s;
        }
        EXPECT_EQ(stampBytes(kLayoutVersion), readFile(kStamp));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryStep, FirstStartCut, ::testing::Range(0, kFirstStartSteps));

// ---- leftovers of a cut ----

TEST_F(CrashSafetyTest, LeftoverTempFileIsNotTakenForAMissingSchemeFile) {
    std::string strUser;
    const std::string strFactory0 = prepareUserFiles("(34,61)(2337,44)", strUser);
    // A temporary file with complete user values left by a cut before its
    // rename, and no scheme file beside it.
    removeFile(schemePath(0));
    writeFile(tmpOf(schemePath(0)), strUser);

    std::unique_ptr<ISensorController> c = start();
    quiesce(*c);
    // The start creates the file from the factory values; its save replaces
    // the leftover.
    EXPECT_TRUE(sameBytes(strFactory0, rowBytes(*c, 0)));
    EXPECT_TRUE(sameBytes(strFactory0, readFile(schemePath(0))));
    EXPECT_FALSE(fileExists(tmpOf(schemePath(0))));
}

TEST_F(CrashSafetyTest, LeftoverTempFileIsIgnoredAndTheNextFlushReplacesIt) {
    std::string strUser;
    prepareUserFiles("(34,61)", strUser);
    // A longer leftover of other records than the scheme file has.
    std::vector<KeyVal> vecJunk(3 * strUser.size() / sizeof(KeyVal), KeyVal{34, 99});
    const std::string strJunk = bytesOf(vecJunk.data(), vecJunk.size());
    writeFile(tmpOf(schemePath(0)), strJunk);

    std::unique_ptr<ISensorController> c = start();
    // The scheme file is loaded, the leftover left as it is until a save.
    int nValue = 0;
    EXPECT_TRUE(c->getParameter(34, nValue));
    EXPECT_EQ(61, nValue);
    EXPECT_EQ(strJunk, readFile(tmpOf(schemePath(0))));

    ASSERT_EQ(0, c->setParameters("(34,62)", true));
    ASSERT_EQ(0, c->flush());
    quiesce(*c);
    EXPECT_FALSE(fileExists(tmpOf(schemePath(0))));
    EXPECT_TRUE(sameBytes(rowBytes(*c, 0), readFile(schemePath(0))));
    EXPECT_EQ(strUser.size(), readFile(schemePath(0)).size());
}

TEST_F(CrashSafetyTest, LeftoverStampTempFileDoesNotCountAsTheStamp) {
    std::string strUser;
    const std::string strFactory0 = prepareUserFiles("(34,61)", strUser);
    // An older layout's stamp, and a current one that never got its name.
    writeFile(kStamp, stampBytes(kLayoutVersion - 1));
    writeFile(kStampTmp, stampBytes(kLayoutVersion));

    std::unique_ptr<ISensorController> c = start();
    quiesce(*c);
    EXPECT_TRUE(sameBytes(strFactory0, rowBytes(*c, 0)));
    EXPECT_EQ(stampBytes(kLayoutVersion), readFile(kStamp));
    EXPECT_FALSE(fileExists(kStampTmp));
}

// ---- damaged scheme files at start-up ----

// Scheme 0 holds user values that differ from the factory values in every
// record, so that each record of the cache shows where it came from.
class DamagedSchemeFile : public CrashSafetyTest {
protected:
    void SetUp() override {
        CrashSafetyTest::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        m_strFactory = rowBytes(*c, kSchemeSum);
        std::vector<KeyVal> vecUser = row(*c, 0);
        c.reset();
        ASSERT_EQ(696u, m_strFactory.size()); // 87 records
        for (KeyVal& kv : vecUser) {
            kv.value += 1;
        }
        m_strUser = bytesOf(vecUser.data(), vecUser.size());
        for (size_t i = 0; i < m_strUser.size(); i += sizeof(KeyVal)) {
            ASSERT_NE(m_strFactory.substr(i, 8), m_strUser.substr(i, 8)) << "record " << i / 8;
        }
    }

    // Starts on a scheme 0 file of the given bytes; the cache row must hold
    // p_strExpected.
    void startOn(const std::string& p_strFile, const std::string& p_strExpected) {
        writeFile(schemePath(0), p_strFile);
        std::unique_ptr<ISensorController> c = start();
        quiesce(*c);
        EXPECT_TRUE(sameBytes(p_strExpected, rowBytes(*c, 0)));
        // The factory row and the other schemes are untouched.
        EXPECT_TRUE(sameBytes(m_strFactory, rowBytes(*c, kSchemeSum)));
        for (u32 s = 1; s < kSchemeSum; ++s) {
            EXPECT_TRUE(sameBytes(readFile(schemePath(s)), rowBytes(*c, s))) << "scheme " << s;
        }
        // Loading never writes the file.
        EXPECT_EQ(p_strFile, readFile(schemePath(0)));
    }

    std::string m_strFactory;
    std::string m_strUser;
};

// A file cut short at byte L loads its first L bytes; the rest of the row
// keeps the factory values it started from.
const size_t kTruncationChunk = 24;

class TruncatedSchemeFile : public DamagedSchemeFile, public ::testing::WithParamInterface<size_t> {};

TEST_P(TruncatedSchemeFile, LoadsThePrefixOverTheFactoryValues) {
    const size_t nFirst = GetParam() * kTruncationChunk;
    for (size_t n = nFirst; n < nFirst + kTruncationChunk && n <= m_strUser.size(); ++n) {
        SCOPED_TRACE("scheme file cut to " + std::to_string(n) + " bytes");
        startOn(m_strUser.substr(0, n), m_strUser.substr(0, n) + m_strFactory.substr(n));
    }
}

// Offsets 0 to 696: every length of the 87-record file, the whole one included.
INSTANTIATE_TEST_SUITE_P(EveryLength, TruncatedSchemeFile,
                         ::testing::Range<size_t>(0, 696 / kTruncationChunk + 1));

// One flipped bit: the file loads as it is (the key or value holds the flip).
// Every bit of the first, the scheme-mode and the last record, and every
// 13th bit of the whole file, so every record has some flipped bits.
std::vector<size_t> flippedBits() {
    const size_t nBits = 696 * 8;
    std::set<size_t> setBits;
    for (size_t b = 0; b < 64; ++b) {
        setBits.insert(b);
        setBits.insert(nBits - 64 + b);
    }
    for (size_t b = 0; b < nBits; b += 13) {
        setBits.insert(b);
    }
    return std::vector<size_t>(setBits.begin(), setBits.end());
}
const size_t kFlipChunk = 24;

class FlippedBitSchemeFile : public DamagedSchemeFile, public ::testing::WithParamInterface<size_t> {};

TEST_P(FlippedBitSchemeFile, LoadsAsItIs) {
    const std::vector<size_t> vecBits = flippedBits();
    const size_t nFirst = GetParam() * kFlipChunk;
    for (size_t i = nFirst; i < nFirst + kFlipChunk && i < vecBits.size(); ++i) {
        SCOPED_TRACE("bit " + std::to_string(vecBits[i]) + " flipped");
        std::string strFile = m_strUser;
        strFile[vecBits[i] / 8] = static_cast<char>(strFile[vecBits[i] / 8] ^ (1 << (vecBits[i] % 8)));
        startOn(strFile, strFile);
    }
}

INSTANTIATE_TEST_SUITE_P(SampledBits, FlippedBitSchemeFile,
                         ::testing::Range<size_t>(0, (flippedBits().size() + kFlipChunk - 1) / kFlipChunk));

// A file longer than the records: the surplus is ignored.
TEST_F(DamagedSchemeFile, SurplusBytesAreIgnored) {
    startOn(m_strUser + "surplus bytes", m_strUser);
}

} // namespace
