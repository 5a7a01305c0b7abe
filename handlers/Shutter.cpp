// Maximum shutter as a position in the list of shutter values the ISP
// currently offers. The list is asked for afresh on every call.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <string>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/SensorDebug.h"
#include "handlers/ShutterList.h"
#include "platform/StringHandler.h"

namespace tarnix {

void parseShutterList(const std::string& p_strRange, ShutterList& p_stList) {
    p_stList.count = 0;
    std::string strRest = p_strRange;
    while (p_stList.count < kShutterListMax) {
        size_t nBlank = strRest.find(' ');
        int nValue = 0;
        if (nBlank != std::string::npos) {
            StringHandler::str2type<int>(strRest.substr(0, nBlank), nValue);
            p_stList.values[p_stList.count++] = nValue;
            strRest.erase(0, nBlank + 1);
        } else {
            if (!strRest.empty()) {
                StringHandler::str2type<int>(strRest, nValue);
                p_stList.values[p_stList.count++] = nValue;
            }
            break;
        }
    }
}

} // namespace tarnix

namespace {

using tarnix::parseShutterList;
using tarnix::ShutterList;
using tarnix::keys::KEY_MAX_SHUTTER;

// Position of the first entry equal to p_nValue, -1 when there is none.
int findShutter(const ShutterList& p_stList, int p_nValue) {
    for (int i = 0; i < p_stList.count; ++i) {
        if (p_stList.values[i] == p_nValue) {
            return i;
        }
    }
    return -1;
}

// The ISP's present shutter list, asked for afresh.
ShutterList fetchShutterList(ISensorController& p_objController) {
    int nDefault = 0;
    std::string strRange;
    p_objController.getSensorParamRange(KEY_MAX_SHUTTER, nDefault, strRange);
    ShutterList stList;
    parseShutterList(strRange, stList);
    return stList;
}

// Reads the ISP's current maximum shutter and finds it in the list; false
// when the read fails or the value is not listed.
bool findCurrentShutter(ISensorController& p_objController, const ShutterList& p_stList, int& p_nCur,
                        int& p_nPos) {
    p_nCur = 0;
    if (p_objController.doIaCmd(KEY_MAX_SHUTTER, IA_CMD_OPT_GET, &p_nCur) != SNS_SUCCESS) {
        return false;
    }
    p_nPos = findShutter(p_stList, p_nCur);
    return p_nPos >= 0;
}

// One step (+1 up, -1 down) through the list from the ISP's current maximum
// shutter. At either end the step hands the unchanged value on; setParameter
// skips it, so a step past the end succeeds and changes nothing.
bool stepShutter(ISensorController& p_objController, int p_nStep) {
    ShutterList stList = fetchShutterList(p_objController);
    int nCur = 0;
    int nPos = -1;
    if (!findCurrentShutter(p_objController, stList, nCur, nPos)) {
        return false;
    }
    const int nNext = nPos + p_nStep;
    if (nNext >= 0 && nNext < stList.count) {
        nCur = stList.values[nNext];
    }
    return p_objController.setParameter(KEY_MAX_SHUTTER, nCur, true) == SNS_SUCCESS;
}

} // namespace

bool ISensorController::getShutterValue(int& index) {
    ShutterList stList = fetchShutterList(*this);
    int nCur = 0;
    int nPos = -1;
    if (!findCurrentShutter(*this, stList, nCur, nPos)) {
        return false;
    }
    index = nPos;
    return true;
}

bool ISensorController::setShutterValue(int index) {
    ShutterList stList = fetchShutterList(*this);
    if (stList.count == 0 || index >= stList.count || index < 0) {
        return false;
    }
    return setParameter(KEY_MAX_SHUTTER, stList.values[index], true) == SNS_SUCCESS;
}

bool ISensorController::shutterUp() {
    return stepShutter(*this, 1);
}

bool ISensorController::shutterDown() {
    return stepShutter(*this, -1);
}
