// Device root, simulated ISP state, module configuration and the live
// controller of a sensorctl run.
#include "tools/sensorctl/Device.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <tinyxml.h>

#include "config/StyleXml.h"
#include "config/sensor.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"
#include "storage/SensorFile.h"
#include "tools/sensorctl/KeyNames.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// ISP channels and commands whose values are kept between runs. Commands
// above 16383 are not used by the library.
constexpr int kKeptChannels = 8;
constexpr unsigned int kKeptCommands = 16384;

// Commands whose stored value is a record (or has none): the profile format
// keeps one word per command, so they are not carried over.
bool isRecordCommand(unsigned int p_nCmd) {
    return p_nCmd == IA_CMD_EXPOSURE_INFO || p_nCmd == IA_CMD_IR_LED_INFO || p_nCmd == IA_CMD_CAMERA_VERSION ||
           p_nCmd == IA_CMD_SYNC_CHECK || p_nCmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET;
}

// Words of an ISP buffer: one value, or the first eight in brackets.
std::string describeWords(const std::vector<uint32_t>& p_vecWords) {
    if (p_vecWords.size() == 1) {
        return format("%d", static_cast<int32_t>(p_vecWords[0]));
    }
    std::string text = "[";
    for (size_t i = 0; i < p_vecWords.size() && i < 8; ++i) {
        text += format(i == 0 ? "%d" : " %d", static_cast<int32_t>(p_vecWords[i]));
    }
    return text + (p_vecWords.size() > 8 ? " ...]" : "]");
}

// One log line of an ISP call. A set shows the value sent and the result
// ("-> 0"); a read shows the value the ISP answered and the result
// ("= 1 (ok)"), or only the result when it answered nothing.
std::string describeCall(const ispsim::Call& p_stCall) {
    std::string text = format("isp ch%d %s %u %s", p_stCall.channel, ispOptionName(p_stCall.opt), p_stCall.cmd,
                              nameOrDash(ispCommandName(p_stCall.cmd)));
    if (p_stCall.opt == IA_CMD_OPT_SET) {
        if (!p_stCall.data.empty()) {
            text += " " + describeWords(p_stCall.data);
        }
        return text + format(" -> %d", p_stCall.result);
    }
    if (!p_stCall.answer.empty()) {
        text += " = " + describeWords(p_stCall.answer);
    }
    return text + (p_stCall.result == 0 ? std::string(" (ok)") : format(" (failed %d)", p_stCall.result));
}

// Two calls that read the same in the log.
bool sameCall(const ispsim::Call& p_stA, const ispsim::Call& p_stB) {
    return p_stA.channel == p_stB.channel && p_stA.cmd == p_stB.cmd && p_stA.opt == p_stB.opt &&
           p_stA.data == p_stB.data && p_stA.result == p_stB.result && p_stA.answer == p_stB.answer;
}

// The limits of every item with an "id" below p_pElement: its "min"/"max"
// and the "index" of its choices. The first item of a key counts.
template <typename Limits>
void collectLimits(const TiXmlElement* p_pElement, std::map<u32, Limits>& p_mapLimits, int p_nDepth) {
    if (p_pElement == nullptr || p_nDepth > STYLE_MAX_DEPTH) {
        return;
    }
    int nId = 0;
    if (p_pElement->QueryIntAttribute("id", &nId) == TIXML_SUCCESS && p_mapLimits.count(static_cast<u32>(nId)) == 0) {
        Limits stLimits;
        stLimits.bRange = p_pElement->QueryIntAttribute("min", &stLimits.nMin) == TIXML_SUCCESS &&
                          p_pElement->QueryIntAttribute("max", &stLimits.nMax) == TIXML_SUCCESS;
        for (const TiXmlElement* pChild = p_pElement->FirstChildElement(); pChild != nullptr;
             pChild = pChild->NextSiblingElement()) {
            int nIndex = 0;
            if (pChild->QueryIntAttribute("index", &nIndex) == TIXML_SUCCESS) {
                stLimits.vecChoices.push_back(nIndex);
            }
        }
        p_mapLimits[static_cast<u32>(nId)] = stLimits;
    }
    for (const TiXmlElement* pChild = p_pElement->FirstChildElement(); pChild != nullptr;
         pChild = pChild->NextSiblingElement()) {
        collectLimits(pChild, p_mapLimits, p_nDepth + 1);
    }
}

} // namespace

const char* nameOrDash(const char* p_szName) { return p_szName != nullptr ? p_szName : "-"; }

// ---------------------------------------------------------------- Device

Device::Device(const Options& p_stOptions) : m_nChannel(p_stOptions.channel) {
    m_strRoot = resolveRoot(p_stOptions);
    platform::setRoot(m_strRoot);
    if (p_stOptions.has("time-scale") || std::getenv("TARNIX_TIME_SCALE") == nullptr) {
        platform::setTimeScale(p_stOptions.timeScale);
    }
    if (p_stOptions.has("clock")) {
        platform::setClock(p_stOptions.clockHour, p_stOptions.clockMinute);
    }
    loadIsp();
    readModule();
}

// The device root: --root or $TARNIX_ROOT, an existing directory other than
// "/" that holds a machine description; its real path.
std::string Device::resolveRoot(const Options& p_stOptions) const {
    std::string strRoot = p_stOptions.root;
    if (strRoot.empty()) {
        const char* szEnv = std::getenv("TARNIX_ROOT");
        strRoot = szEnv != nullptr ? szEnv : "";
    }
    if (strRoot.empty()) {
        usageError("no device root given: use --root DIR (or set TARNIX_ROOT)");
    }
    if (!platform::isHostDir(strRoot)) {
        runtimeError("device root '" + strRoot + "' does not exist or is not a directory");
    }
    char szReal[PATH_MAX];
    if (::realpath(strRoot.c_str(), szReal) == nullptr) {
        runtimeError("cannot resolve device root '" + strRoot + "': " + std::strerror(errno));
    }
    const std::string strReal = szReal;
    if (strReal == "/") {
        runtimeError("refusing to use '/' as device root: sensorctl works on a copy of a device tree");
    }
    if (!platform::isHostFile(strReal + SENSOR_MACHINEINFO_FILE)) {
        runtimeError("'" + strRoot + "' is not a device root: it has no " SENSOR_MACHINEINFO_FILE
                     " (lay one down with: sensorctl init-root DIR --model box)");
    }
    return strReal;
}

// The simulated ISP: its profile first, then what earlier runs left in it.
void Device::loadIsp() {
    ispsim::reset();
    std::string strProfile = hostPath(SENSORCTL_PROFILE_FILE);
    if (platform::isHostFile(strProfile) && !ispsim::loadProfile(strProfile)) {
        runtimeError("cannot load the ISP profile " + strProfile);
    }
    m_mapProfileValues = snapshot();
    std::string strState = hostPath(SENSORCTL_STATE_FILE);
    if (platform::isHostFile(strState) && !ispsim::loadProfile(strState)) {
        runtimeError("cannot load the kept ISP state " + strState + " (remove it to start from the profile)");
    }
    ispsim::clearCalls();
}

void Device::readModuleConfiguration() {
    // A file that cannot be read leaves the configuration as it was.
    const MachineInfo objMachine = m_objMachine;
    const ModuleConfigure objModule = m_objModule;
    try {
        m_objMachine = MachineInfo();
        m_objModule = ModuleConfigure();
        readModule();
    } catch (const ToolError&) {
        m_objMachine = objMachine;
        m_objModule = objModule;
        throw;
    }
}

// The machine description and the module configuration of the controller's
// channel (an empty one, with a warning, when the root has none that applies).
void Device::readModule() {
    if (!SystemInfoParser::parseMachineInfo(SENSOR_MACHINEINFO_FILE, m_objMachine)) {
        runtimeError("cannot read the machine description " + hostPath(SENSOR_MACHINEINFO_FILE) +
                     " (it needs a DeviceType= line)");
    }
    std::vector<ModuleConfigure> vecModules;
    if (!platform::isHostFile(hostPath(SENSOR_MODULECONFIG_FILE))) {
        printWarning("the root has no " SENSOR_MODULECONFIG_FILE "; using an empty module configuration");
    } else if (!ModuleConfigureParser::parse(SENSOR_MODULECONFIG_FILE, m_objMachine.getHardwareModel(),
                                             m_objMachine.getHardwareCode(), vecModules)) {
        runtimeError("cannot read the module configuration " + hostPath(SENSOR_MODULECONFIG_FILE));
    } else if (vecModules.empty()) {
        printWarning("no entry of " SENSOR_MODULECONFIG_FILE " applies to hardware '" +
                     m_objMachine.getHardwareModel() + "' / '" + m_objMachine.getHardwareCode() +
                     "'; using an empty module configuration");
    } else {
        // A device with several channels lists one module per channel: take
        // the one whose id is the channel the controller drives, else the first.
        m_objModule = vecModules.front();
        for (const ModuleConfigure& module : vecModules) {
            if (module.getModuleId() == cameraId()) {
                m_objModule = module;
                break;
            }
        }
    }
    if (m_objModule.getDetail().size() >= MODULE_DETAIL_LEN) {
        runtimeError(format("the module detail text has %zu characters; at most %d fit", m_objModule.getDetail().size(),
                            MODULE_DETAIL_LEN - 1));
    }
    if (m_objModule.getParameters().size() >= MODULE_PARAMETERS_LEN) {
        runtimeError(format("the module parameter text has %zu characters; at most %d fit",
                            m_objModule.getParameters().size(), MODULE_PARAMETERS_LEN - 1));
    }
}

int Device::cameraId() const { return m_objMachine.getDeviceType() == 13 ? 2 : m_nChannel; }

bool Device::thermal() const {
    int nType = m_objMachine.getDeviceType();
    return cameraId() == 2 && (nType == 13 || nType == 14 || nType == 17 || nType == 19 || nType == 23);
}

u32 Device::schemeCount() const {
    u32 nCount = 4;
    std::string strDetail = m_objModule.getDetail();
    if (getDetailFieldTou32(strDetail.c_str(), "max_scheme", &nCount) != 0) {
        nCount = 4;
    }
    return nCount;
}

std::string Device::schemeFile(int p_nScheme) const {
    char szName[128];
    if (thermal()) {
        std::snprintf(szName, sizeof(szName), SENSOR_THERMAL_FILE_FMT, p_nScheme);
    } else {
        std::snprintf(szName, sizeof(szName), SENSOR_SCHEME_FILE_FMT, cameraId(), p_nScheme);
    }
    return szName;
}

Device::Snapshot Device::snapshot() {
    Snapshot values;
    for (int channel = 0; channel < kKeptChannels; ++channel) {
        for (unsigned int cmd = 0; cmd < kKeptCommands; ++cmd) {
            uint32_t value = 0;
            if (!isRecordCommand(cmd) && ispsim::getValue(channel, cmd, value)) {
                values[std::make_pair(channel, cmd)] = value;
            }
        }
    }
    return values;
}

void Device::saveIspState() {
    Snapshot now = snapshot();
    std::string text;
    int nLastChannel = -1;
    size_t nCount = 0;
    for (const auto& entry : now) {
        auto it = m_mapProfileValues.find(entry.first);
        if (it != m_mapProfileValues.end() && it->second == entry.second) {
            continue;
        }
        if (entry.first.first != nLastChannel) {
            nLastChannel = entry.first.first;
            text += format("channel %d\n", nLastChannel);
        }
        text += format("value %u %u", entry.first.second, entry.second);
        const char* szName = ispCommandName(entry.first.second);
        text += szName != nullptr ? format("   # %s\n", szName) : "\n";
        ++nCount;
    }
    std::string strState = hostPath(SENSORCTL_STATE_FILE);
    if (nCount == 0) {
        ::unlink(strState.c_str());
        return;
    }
    platform::makeHostDirs(hostPath("/isp"));
    std::string strTmp = strState + ".tmp";
    {
        std::ofstream out(strTmp, std::ios::binary | std::ios::trunc);
        out << "# ISP values kept by sensorctl between runs: the simulated ISP's values that differ\n"
               "# from isp/profile.conf, loaded after it. Same format as the profile.\n"
            << text;
        out.flush();
        if (!out) {
            ::unlink(strTmp.c_str());
            runtimeError("cannot write " + strState);
        }
    }
    if (::rename(strTmp.c_str(), strState.c_str()) != 0) {
        ::unlink(strTmp.c_str());
        runtimeError("cannot write " + strState + ": " + std::strerror(errno));
    }
}

// ---------------------------------------------------------------- RecordingVideo

int RecordingVideo::notifySensorParam(int channel, int key, int value) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    // Kept bounded: a shell left running without "log" must not grow without end.
    if (m_vecNotifications.size() < 100000) {
        m_vecNotifications.push_back({channel, key, value});
    }
    return 0;
}

int RecordingVideo::getVideoStreamParams(int, std::vector<AVStreamParam>& streams) const {
    streams.clear();
    return 0;
}

int RecordingVideo::getLimitedFramesWDRModeParam(int, LimitedFramesWDRModeParam& param) const {
    // No frame-rate limit on WDR; lens-distortion correction supported and
    // on. A controller shows the LDC items until its first init asks this
    // module; answering "on" keeps them after that too, so the parameter
    // files written by a reset's init have the layout of a first init.
    param = LimitedFramesWDRModeParam();
    param.setLDCSupport(true);
    param.setLDCSwitch(true);
    return 0;
}

int RecordingVideo::getFisheyeRotate(int, int* value) const {
    if (value != nullptr) {
        *value = 0;
    }
    return 0;
}

int RecordingVideo::isBusy() const { return 0; }

std::vector<RecordingVideo::Notification> RecordingVideo::drain() {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Notification> out;
    out.swap(m_vecNotifications);
    return out;
}

// ---------------------------------------------------------------- Session

Session::Session(Device& p_objDevice) : m_objDevice(p_objDevice) {
    m_objController.setChannelID(p_objDevice.channel());
    m_objController.setVideoStreamModule(&m_objVideo);
    m_objController.init(p_objDevice.module());
}

Session::~Session() { m_objController.uinit(); }

std::vector<ispsim::Call> Session::newCalls() {
    std::vector<ispsim::Call> all = ispsim::calls();
    std::vector<ispsim::Call> out;
    out.swap(m_vecPendingCalls);
    if (all.size() < m_nCallsSeen) {
        m_nCallsSeen = 0;   // cleared elsewhere
    }
    out.insert(out.end(), all.begin() + static_cast<std::ptrdiff_t>(m_nCallsSeen), all.end());
    m_nCallsSeen = all.size();
    if (m_nCallsSeen > 50000) {
        ispsim::clearCalls();
        m_nCallsSeen = 0;
    }
    return out;
}

const std::map<u32, Session::ValueLimits>& Session::valueLimits() {
    if (!m_bLimitsRead) {
        m_bLimitsRead = true;
        // The calls so far stay for the log; the narrowing's own are dropped.
        m_vecPendingCalls = newCalls();
        const std::string strStyle = m_objController.getUIStyleFile();
        std::vector<ispsim::Call> vecPending;
        vecPending.swap(m_vecPendingCalls);
        newCalls();
        m_vecPendingCalls.swap(vecPending);
        TiXmlDocument objDoc;
        if (LoadMem(objDoc, strStyle.c_str(), TIXML_ENCODING_UTF8)) {
            collectLimits(objDoc.RootElement(), m_mapLimits, 1);
        }
    }
    return m_mapLimits;
}

bool Session::valueAllowed(u32 p_nKey, int p_nValue, std::string& p_strAllowed) {
    const std::map<u32, ValueLimits>& mapLimits = valueLimits();
    auto it = mapLimits.find(p_nKey);
    if (it == mapLimits.end()) {
        return true;
    }
    const ValueLimits& stLimits = it->second;
    if (!stLimits.vecChoices.empty()) {
        p_strAllowed = "not one of the choices";
        for (size_t i = 0; i < stLimits.vecChoices.size(); ++i) {
            p_strAllowed += format(i == 0 ? " %d" : ", %d", stLimits.vecChoices[i]);
        }
        return std::find(stLimits.vecChoices.begin(), stLimits.vecChoices.end(), p_nValue) !=
               stLimits.vecChoices.end();
    }
    if (stLimits.bRange) {
        p_strAllowed = format("outside the range %d to %d", stLimits.nMin, stLimits.nMax);
        return p_nValue >= stLimits.nMin && p_nValue <= stLimits.nMax;
    }
    return true;
}

size_t Session::printLog() {
    std::vector<ispsim::Call> calls = newCalls();
    std::vector<RecordingVideo::Notification> notes = m_objVideo.drain();
    size_t nLines = 0;
    // Runs of identical calls (the sensor thread's once-a-second reads)
    // are shown once with their count.
    for (size_t i = 0; i < calls.size();) {
        size_t j = i + 1;
        while (j < calls.size() && sameCall(calls[j], calls[i])) {
            ++j;
        }
        std::string line = describeCall(calls[i]);
        if (j - i > 1) {
            line += format("   (x%zu)", j - i);
        }
        say("%s", line.c_str());
        ++nLines;
        i = j;
    }
    for (const auto& note : notes) {
        say("video ch%d notify %d %s %d", note.channel, note.key, nameOrDash(keyName(static_cast<uint32_t>(note.key))),
            note.value);
        ++nLines;
    }
    size_t nSets = 0;
    for (const auto& call : calls) {
        nSets += call.opt == IA_CMD_OPT_SET ? 1 : 0;
    }
    say("log: %zu ISP calls (%zu set), %zu video notifications", calls.size(), nSets, notes.size());
    return nLines;
}

void Session::skipLog(size_t& p_nCalls, size_t& p_nSets, size_t& p_nNotifications) {
    std::vector<ispsim::Call> calls = newCalls();
    p_nCalls = calls.size();
    p_nSets = 0;
    for (const auto& call : calls) {
        p_nSets += call.opt == IA_CMD_OPT_SET ? 1 : 0;
    }
    p_nNotifications = m_objVideo.drain().size();
}

} // namespace sensorctl
