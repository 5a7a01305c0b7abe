#pragma once
// A small device tree written by the test itself (machine information, base
// and diversity styles for every device kind), so that init can be driven
// with an exactly known factory list.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "controller/ISensorController.h"
#include "platform/ModuleConfigure.h"
#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

namespace lifecycle_test {

using Peer = ISensorControllerTestPeer;

// The factory list of the mini style, in document order.
inline std::vector<KeyVal> miniFactory() {
    return {
        {8000, 0}, {8001, 0},  {8002, 0},  {8003, 24}, {8004, 0}, // scheme mode and window
        {34, 50},  {2337, 50}, {2353, 50}, {2321, 50},            // image
        {16, 0},   {49, 40},   {51, 10},   {96, 0},               // exposure and metering
        {144, 0},  {147, 5},                                      // day/night mode and delay
        {160, 0},  {161, 0},   {163, 50},  {167, 30},             // infrared
        {224, 0},  {1536, 0},  {2384, 0},  {2417, 50},            // light type, focus, mirror
    };
}

// Style text of a factory list: tab "scheme" with the first five records,
// tab "image" with the rest.
inline std::string styleOf(const std::vector<KeyVal>& p_vec) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Style>\n  <tab key=\"scheme\">\n";
    for (size_t i = 0; i < p_vec.size(); ++i) {
        if (i == 5) {
            text += "  </tab>\n  <tab key=\"image\">\n";
        }
        text += "    <item id=\"" + std::to_string(p_vec[i].key) + "\" value=\"" +
                std::to_string(static_cast<int>(p_vec[i].value)) + "\"/>\n";
    }
    text += "  </tab>\n</Style>\n";
    return text;
}

inline std::string bytesOf(const std::vector<KeyVal>& p_vec) {
    return std::string(reinterpret_cast<const char*>(p_vec.data()), p_vec.size() * sizeof(KeyVal));
}

inline std::vector<KeyVal> recordsOf(const std::string& p_strBytes) {
    std::vector<KeyVal> vec(p_strBytes.size() / sizeof(KeyVal));
    if (!vec.empty()) {
        std::memcpy(vec.data(), p_strBytes.data(), vec.size() * sizeof(KeyVal));
    }
    return vec;
}

// Compares two scheme files' bytes record by record; a failure names the
// sizes and the first differing record instead of dumping the bytes.
inline ::testing::AssertionResult sameBytes(const std::string& p_strExpected,
                                            const std::string& p_strActual) {
    if (p_strExpected == p_strActual) {
        return ::testing::AssertionSuccess();
    }
    std::vector<KeyVal> a = recordsOf(p_strExpected);
    std::vector<KeyVal> b = recordsOf(p_strActual);
    auto result = ::testing::AssertionFailure();
    result << "expected " << p_strExpected.size() << " bytes, actual " << p_strActual.size() << " bytes";
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (a[i].key != b[i].key || a[i].value != b[i].value) {
            result << "; record " << i << " expected (" << a[i].key << "," << static_cast<int>(a[i].value)
                   << ") actual (" << b[i].key << "," << static_cast<int>(b[i].value) << ")";
            break;
        }
    }
    return result;
}

inline std::string schemePath(int p_nChannel, int p_nScheme) {
    return "/mnt/mtd/code/config_file/sensor" + std::to_string(p_nChannel) + "_" + std::to_string(p_nScheme) +
           ".cfg";
}

inline std::string thermalPath(int p_nScheme) {
    return "/mnt/mtd/code/config_file/sensor-thermal" + std::to_string(p_nScheme) + ".cfg";
}

inline ModuleConfigure module(const std::string& p_strDetail,
                              const std::string& p_strParameters = "(lensId=1)", int p_nId = 7) {
    ModuleConfigure obj;
    obj.setModuleId(p_nId);
    obj.setDetail(p_strDetail);
    obj.setParameters(p_strParameters);
    return obj;
}

inline bool sameRecords(const std::vector<KeyVal>& a, const std::vector<KeyVal>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(KeyVal)) == 0);
}

class LifecycleTest : public tarnix_test::TarnixTest {
protected:
    // Machine information and styles; every style file holds p_vecFactory.
    void writeMiniTree(int p_nDeviceType, const std::vector<KeyVal>& p_vecFactory = miniFactory(),
                       const std::string& p_strModel = "Hi3516EV300") {
        // The directories a device always has.
        makeDir("/mnt/mtd/code/config_file");
        makeDir("/mnt/mtd/log");
        makeDir("/tmp");
        writeFile("/mnt/mtd/code/factory_setting/machineinfo.ini",
                  "DeviceType=" + std::to_string(p_nDeviceType) + "\nHardwareModel=" + p_strModel +
                      "\nHardwareCode=T1\n");
        const std::string strStyle = styleOf(p_vecFactory);
        // A diversity file whose only selector names a field the modules of
        // these tests do not have: no edit applies.
        const std::string strDiversity =
            "<StyleDiversity>\n  <Select nosuchfield=\"abc\">\n    <Delete tab_key=\"image\"/>\n  "
            "</Select>\n</StyleDiversity>\n";
        for (const char* szSuffix : {"", "_dome", "_Thermal"}) {
            writeFile(std::string("/hd1/moduleConfig/sensorConfig/style/Style") + szSuffix + ".xml",
                      strStyle);
            writeFile(std::string("/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity") + szSuffix +
                          ".xml",
                      strDiversity);
        }
    }

    void writeStamp(u32 p_nVersion) {
        writeFile("/mnt/mtd/code/config_file/snsversion.cfg",
                  std::string(reinterpret_cast<const char*>(&p_nVersion), sizeof(p_nVersion)));
    }

    void writeScheme(const std::string& p_strPath, const std::vector<KeyVal>& p_vec) {
        writeFile(p_strPath, bytesOf(p_vec));
    }

    std::vector<KeyVal> readScheme(const std::string& p_strPath) { return recordsOf(readFile(p_strPath)); }

    static std::vector<KeyVal> row(ISensorController& c, u32 p_nScheme) {
        KeyVal** pp = Peer::userKeyVal(c);
        if (pp == nullptr) {
            return {};
        }
        return std::vector<KeyVal>(pp[p_nScheme], pp[p_nScheme] + Peer::keyValSum(c));
    }

    static u32 valueOf(const std::vector<KeyVal>& p_vec, u32 p_nKey) {
        for (const KeyVal& kv : p_vec) {
            if (kv.key == p_nKey) {
                return kv.value;
            }
        }
        ADD_FAILURE() << "key " << p_nKey << " missing";
        return 0xDEADBEEF;
    }

    // Polls p_fnCond every millisecond for up to p_nMs milliseconds.
    static bool waitFor(const std::function<bool()>& p_fnCond, int p_nMs = 5000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(p_nMs);
        while (std::chrono::steady_clock::now() < deadline) {
            if (p_fnCond()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return p_fnCond();
    }
};

} // namespace lifecycle_test
