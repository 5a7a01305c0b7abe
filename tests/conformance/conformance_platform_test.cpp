// The platform checks in-process: against the POSIX port every check
// passes; against a port with one seeded defect (a shim overriding one
// operation) exactly the matching check fails.
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "conformance/Check.h"
#include "conformance/PlatformChecks.h"
#include "conformance/PlatformPort.h"
#include "platform/posix/PlatformControl.h"
#include "support/TestEnv.h"

namespace {

using conformance::PlatformPort;
using conformance::Result;
using conformance::Status;

void setClock(int p_nHour, int p_nMinute) { platform::setClock(p_nHour, p_nMinute); }
void clearClock() { platform::clearClock(); }
void setTimeScale(double p_dScale) { platform::setTimeScale(p_dScale); }

conformance::PortControls posixControls() {
    conformance::PortControls controls;
    controls.available = true;
    controls.setClock = &setClock;
    controls.clearClock = &clearClock;
    controls.setTimeScale = &setTimeScale;
    return controls;
}

class PlatformChecksTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        // The checks measure real time on a clock that moves.
        platform::setTimeScale(1.0);
        platform::clearClock();
    }

    // Every platform check on the port, by id.
    std::map<std::string, Result> runAll(PlatformPort& p_objPort, const std::string& p_strPattern = "platform.*") {
        conformance::Context context{p_objPort, conformance::deviceIsp(), conformance::Options()};
        context.options.scratchDir = "/tmp/conformance-test";
        std::map<std::string, Result> results;
        for (auto& run : conformance::runChecks(context, p_strPattern, nullptr)) {
            results[run.def->id] = run.result;
        }
        return results;
    }

    // The shim's defect fails p_strCheck with a line containing p_strText;
    // every other check passes (the fixed clock is not offered to shims, so
    // its check is skipped).
    void expectOnlyFailure(PlatformPort& p_objShim, const std::string& p_strCheck, const std::string& p_strText) {
        std::map<std::string, Result> results = runAll(p_objShim);
        ASSERT_EQ(1u, results.count(p_strCheck));
        for (const auto& entry : results) {
            Status expected = Status::Ok;
            if (entry.first == p_strCheck) {
                expected = Status::Fail;
            } else if (entry.first == "platform.time.fakeclock") {
                expected = Status::Skip;
            }
            EXPECT_EQ(conformance::statusWord(expected), std::string(conformance::statusWord(entry.second.status)))
                << entry.first << ": " << entry.second.message;
        }
        const std::string& strMessage = results[p_strCheck].message;
        EXPECT_EQ(0u, strMessage.find("expected ")) << strMessage;
        EXPECT_NE(std::string::npos, strMessage.find("; affects ")) << strMessage;
        EXPECT_NE(std::string::npos, strMessage.find(p_strText)) << strMessage;
        // Nothing is left behind in the scratch directory.
        EXPECT_FALSE(fileExists("/tmp/conformance-test"));
    }
};

TEST_F(PlatformChecksTest, EveryCheckPassesOnThePosixPort) {
    PlatformPort port(posixControls());
    for (const auto& entry : runAll(port)) {
        EXPECT_EQ(Status::Ok, entry.second.status) << entry.first << ": " << entry.second.message;
    }
    EXPECT_FALSE(fileExists("/tmp/conformance-test"));
}

TEST_F(PlatformChecksTest, WithoutPortControlsTheFakeClockIsSkipped) {
    PlatformPort port;
    Result result = runAll(port, "platform.time.fakeclock")["platform.time.fakeclock"];
    EXPECT_EQ(Status::Skip, result.status);
    EXPECT_EQ("the port offers no fixed clock or time scale", result.message);
}

TEST_F(PlatformChecksTest, FakeClockFollowsThePortsControls) {
    PlatformPort port(posixControls());
    Result result = runAll(port, "platform.time.fakeclock")["platform.time.fakeclock"];
    EXPECT_EQ(Status::Ok, result.status) << result.message;
    // The check leaves the port on the real clock at time scale 1.
    EXPECT_EQ(1.0, platform::timeScale());
}

// A wait that a stop does not interrupt: the thread's stop waits for it.
class UninterruptedWait : public PlatformPort {
public:
    void wait(const QuorvelTime& p_objDuration) override {
        const double dMicros =
            (p_objDuration.seconds() * 1e6 + static_cast<double>(p_objDuration.microseconds())) * platform::timeScale();
        std::this_thread::sleep_for(std::chrono::microseconds(static_cast<long long>(dMicros)));
    }
};

TEST_F(PlatformChecksTest, AStopThatDoesNotInterruptTheWaitIsCaught) {
    UninterruptedWait shim;
    expectOnlyFailure(shim, "platform.thread.stop", "the stop does not interrupt the wait");
}

// A thread object that starts once only.
class StartsOnce : public PlatformPort {
public:
    std::unique_ptr<GThread> makeThread(const function<int>& p_fnBody, const std::string& p_strName) override {
        m_pStarted = nullptr;   // a new object (perhaps at a freed one's address)
        return PlatformPort::makeThread(p_fnBody, p_strName);
    }
    bool threadStart(GThread& p_objThread) override {
        if (m_pStarted == &p_objThread) {
            return false;
        }
        m_pStarted = &p_objThread;
        return PlatformPort::threadStart(p_objThread);
    }

private:
    GThread* m_pStarted = nullptr;
};

TEST_F(PlatformChecksTest, AThreadThatCannotStartAgainIsCaught) {
    StartsOnce shim;
    expectOnlyFailure(shim, "platform.thread.stop", "to succeed again after stop()");
}

// A directory sync that reports success without syncing anything.
class UnsyncedRename : public PlatformPort {
public:
    bool syncDir(const std::string& p_strDir) override {
        (void)p_strDir;
        return true;
    }
};

TEST_F(PlatformChecksTest, ARenameThatIsNotSyncedIsCaught) {
    UnsyncedRename shim;
    expectOnlyFailure(shim, "platform.file.replace", "pxfs::syncDir() of a missing directory to fail");
}

// A "rename" that copies and leaves the old name behind.
class CopyingRename : public PlatformPort {
public:
    bool rename(const std::string& p_strFrom, const std::string& p_strTo) override {
        std::string strData;
        {
            PXFile from;
            if (!fileOpen(from, p_strFrom.c_str(), PXFile::modeRead)) {
                return false;
            }
            strData.resize(static_cast<size_t>(fileLength(from)));
            fileRead(from, &strData[0], static_cast<unsigned int>(strData.size()));
        }
        PXFile to;
        if (!fileOpen(to, p_strTo.c_str(), PXFile::modeWrite | PXFile::modeTruncate)) {
            return false;
        }
        return fileWrite(to, &strData[0], static_cast<unsigned int>(strData.size())) ==
               static_cast<int>(strData.size());
    }
};

TEST_F(PlatformChecksTest, ARenameThatCopiesIsCaught) {
    CopyingRename shim;
    expectOnlyFailure(shim, "platform.file.replace", "the temporary file gone after the rename");
}

// A mutex that lets everybody in.
class OpenMutex : public PlatformPort {
public:
    void lock(PXMutex&, const char*, int) override {}
    void unlock(PXMutex&, const char*, int) override {}
};

TEST_F(PlatformChecksTest, AMutexThatDoesNotExcludeIsCaught) {
    OpenMutex shim;
    expectOnlyFailure(shim, "platform.mutex", "rounds with both threads inside");
}

// A log writer set up without a size limit.
class UnlimitedLogger : public PlatformPort {
public:
    void loggerInit(PXLogger& p_objLogger, const char* p_szPath, unsigned int, unsigned int p_nMaxFiles) override {
        PlatformPort::loggerInit(p_objLogger, p_szPath, 0, p_nMaxFiles);
    }
};

TEST_F(PlatformChecksTest, ALoggerWithoutItsSizeLimitIsCaught) {
    UnlimitedLogger shim;
    expectOnlyFailure(shim, "platform.logger", "each log file at most about 1024 bytes");
}

// A device clock that stands still.
class FrozenClock : public PlatformPort {
public:
    PXDateTime now() override { return PXDateTime{2024, 5, 17, 8, 30, 0}; }
};

TEST_F(PlatformChecksTest, AClockThatStandsStillIsCaught) {
    FrozenClock shim;
    expectOnlyFailure(shim, "platform.time.clock", "2024-05-17 08:30:00 then 2024-05-17 08:30:00");
}

// A wait that drops the microseconds.
class WholeSecondWait : public PlatformPort {
public:
    void wait(const QuorvelTime& p_objDuration) override {
        PlatformPort::wait(QuorvelTime(p_objDuration.seconds(), 0));
    }
};

TEST_F(PlatformChecksTest, AWaitThatDropsTheMicrosecondsIsCaught) {
    WholeSecondWait shim;
    expectOnlyFailure(shim, "platform.time.wait", "QuorvelTime(0, 50000).wait to take about 50 ms");
}

// Shell commands without the time limit.
class UnlimitedShell : public PlatformPort {
public:
    int system(const char* p_szCommand, int) override { return PlatformPort::system(p_szCommand, 0); }
};

TEST_F(PlatformChecksTest, AShellWithoutTimeLimitIsCaught) {
    UnlimitedShell shim;
    expectOnlyFailure(shim, "platform.system", "to stop the command at its time limit of 1 s");
}

// Reference counts that do not count up.
class StuckRefCount : public PlatformPort {
public:
    bool refInc(const ref_count&) override { return true; }
};

TEST_F(PlatformChecksTest, ARefCountThatDoesNotCountIsCaught) {
    StuckRefCount shim;
    expectOnlyFailure(shim, "platform.refcount", "dec_reference() after one copy to leave 1");
}

// Lines read with their line end.
class LinesWithEnds : public PlatformPort {
public:
    std::string readOneLine(FILE* p_pStream) override {
        std::string strLine = PlatformPort::readOneLine(p_pStream);
        return strLine.empty() ? strLine : strLine + "\n";
    }
};

TEST_F(PlatformChecksTest, ALineReadWithItsLineEndIsCaught) {
    LinesWithEnds shim;
    expectOnlyFailure(shim, "platform.file.lines", "ReadOneLine() to give \"6\"");
}

// A length for a file that is not open.
class LengthWithoutFile : public PlatformPort {
public:
    INT64 fileLength(const PXFile& p_objFile) override {
        return p_objFile.isOpen() ? PlatformPort::fileLength(p_objFile) : 1;
    }
};

TEST_F(PlatformChecksTest, ALengthOfAFileThatIsNotOpenIsCaught) {
    LengthWithoutFile shim;
    expectOnlyFailure(shim, "platform.file.length", "length 1, read 0, written 0");
}

// A split that loses the last piece.
class ShortSplit : public PlatformPort {
public:
    void split(const std::string& p_strText, std::vector<std::string>& p_vecOut,
               const std::string& p_strSeparators) override {
        PlatformPort::split(p_strText, p_vecOut, p_strSeparators);
        if (p_vecOut.size() > 1) {
            p_vecOut.pop_back();
        }
    }
};

TEST_F(PlatformChecksTest, ASplitThatLosesAPieceIsCaught) {
    ShortSplit shim;
    expectOnlyFailure(shim, "platform.string", "split(\"34,2,0\", \",\") to give [34][2][0]");
}

// A machine-information reader that loses the hardware code.
class NoHardwareCode : public PlatformPort {
public:
    bool parseMachineInfo(const std::string& p_strPath, MachineInfo& p_objInfo) override {
        bool bOk = PlatformPort::parseMachineInfo(p_strPath, p_objInfo);
        p_objInfo.setHardwareCode("");
        return bOk;
    }
};

TEST_F(PlatformChecksTest, AMachineInfoReaderThatLosesAFieldIsCaught) {
    NoHardwareCode shim;
    expectOnlyFailure(shim, "platform.machineinfo", "got 13, \"Hi3516AV200\", \"\"");
}

// A module-configuration reader that ignores the hardware code.
class AnyHardwareCode : public PlatformPort {
public:
    bool parseModuleConfig(const std::string& p_strFile, const std::string& p_strModel, const std::string&,
                           std::vector<ModuleConfigure>& p_vecOut) override {
        return PlatformPort::parseModuleConfig(p_strFile, p_strModel, "*", p_vecOut);
    }
};

TEST_F(PlatformChecksTest, AModuleConfigReaderThatIgnoresTheHardwareCodeIsCaught) {
    AnyHardwareCode shim;
    expectOnlyFailure(shim, "platform.moduleconfig", "the entries for hardware Hi3516AV200/HC-7");
}

// The device's own files, where the device root has them.
TEST_F(PlatformChecksTest, TheDevicesOwnInformationFilesAreReadToo) {
    installDeviceTree("box");
    PlatformPort port(posixControls());
    std::map<std::string, Result> results = runAll(port, "platform.machineinfo,platform.moduleconfig");
    EXPECT_EQ(Status::Ok, results["platform.machineinfo"].status);
    EXPECT_EQ("device type 1, hardware \"Hi3516DV300\"", results["platform.machineinfo"].message);
    EXPECT_EQ(Status::Ok, results["platform.moduleconfig"].status);
    EXPECT_EQ("1 entry for hardware \"Hi3516DV300\"", results["platform.moduleconfig"].message);
    // A machine file without a device type fails.
    writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini", "HardwareModel=X\n");
    results = runAll(port, "platform.machineinfo");
    EXPECT_EQ(Status::Fail, results["platform.machineinfo"].status);
    EXPECT_NE(std::string::npos,
              results["platform.machineinfo"].message.find(
                  "expected a device type above 0 from /mnt/mtd/code/factory_setting/machineinfo.ini, got 0"))
        << results["platform.machineinfo"].message;
}

} // namespace
