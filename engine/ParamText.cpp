// Parameter lists as text: "(key,value)" records to set, "(k1,k2,...)" key
// lists to read, and the whole current scheme as text.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/ParamLock.h"
#include "controller/SensorDebug.h"
#include "controller/WorkArray.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Records one text call applies at most. Texts come from web pages; the work
// array is sized from the text, up to this many records (4 MiB of text at
// the shortest record form); the rest of a longer text is ignored.
const u32 kMaxTextRecords = 65536;

// Source line that the key-list failure message names.
const int kGetParametersFailLine = 1947;

// The maximum shutter's style value decides how getAllParameters reads the
// scheme: from here up the stored file is read as it is.
const int kMaxShutterPreset = 200;

} // namespace

int ISensorController::setParameters(const std::string& p_strParameters, bool p_bCache) {
    tarnix::ParamLock objLock(*this, __LINE__);
    SENSOR_TRACE(TRACE_DBG, "p_Parameters1111111111(%s)\n", p_strParameters.c_str());

    u32 nRecords = keyval_count(p_strParameters);
    if (nRecords > kMaxTextRecords) {
        SENSOR_TRACE(TRACE_WARN, "parameter text holds %u records, only the first %u are applied\n", nRecords,
                     kMaxTextRecords);
        nRecords = kMaxTextRecords;
    }

    // The work array grows to the text; a controller without one (not
    // initialised), or a call nested inside another that is still walking
    // it, parses into an array of its own instead.
    tarnix::WorkArray objWork(m_pstKeyValTmp, m_nKeyValTmpCap, m_nKeyValTmpUsers, nRecords, true);
    KeyVal* pWork = objWork.data();

    u32 nCount = 0;
    keyval_str2st(p_strParameters, pWork, &nCount, nRecords);
    return setParameters(pWork, nCount, p_bCache);
}

bool ISensorController::getParameters(const std::string& p_strIds, std::string& p_strOut) {
    std::vector<std::string> vecItems;
    if (!parseSensorParameter(p_strIds, vecItems)) {
        std::printf("%s%d getParameters fail p_strIds = %s \n", "ISensorController.cpp",
                    kGetParametersFailLine, p_strIds.c_str());
        return false;
    }

    p_strOut = "";
    char szRecord[32];
    for (const std::string& strItem : vecItems) {
        int nKey = std::atoi(strItem.c_str());
        int nValue = 0;
        if (getParameter(nKey, nValue)) {
            std::snprintf(szRecord, sizeof(szRecord), "(%d,%d)", nKey, nValue);
            p_strOut.append(szRecord);
        }
    }
    std::printf("@@ out_Parameters = %s @@\n", p_strOut.c_str());
    return true;
}

bool ISensorController::getAllParameters(std::string& p_strOut) {
    tarnix::ParamLock objLock(*this, __LINE__);

    char szFileName[64];
    std::snprintf(szFileName, sizeof(szFileName), SENSOR_MERGE_STYLE_FMT, m_nCameraID);
    TiXmlDocument objStyleXmlDoc;
    bool bLoaded = loadXmlFile(objStyleXmlDoc, szFileName);
    SENSOR_ASSERT_T(bLoaded, "objStyleXmlDoc.LoadFile(filename, TIXML_ENCODING_UTF8)", "");
    if (!bLoaded) {
        objStyleXmlDoc.Clear();
    }

    int nMaxShutter = kMaxShutterPreset;
    int nRet = getDnaValbyCmdId(objStyleXmlDoc.FirstChildElement(), tarnix::keys::KEY_MAX_SHUTTER, nMaxShutter);
    const u32 nCurScheme = static_cast<u32>(m_nCurScheme.load());

    if (nRet == SNS_SUCCESS && nMaxShutter >= kMaxShutterPreset) {
        // The scheme as saved in its file.
        if (nCurScheme >= m_stSysConf.nSchemeSum) {
            return true;
        }
        tarnix::WorkArray objWork(m_pstKeyValTmp, m_nKeyValTmpCap, m_nKeyValTmpUsers, m_nKeyValSum, true);
        KeyVal* pWork = objWork.data();
        readSchemeFile(SENSOR_SITE(), nCurScheme, pWork);
        keyval_st2str(p_strOut, pWork, m_nKeyValSum);
        return true;
    }

    // The cached scheme, corrected to what the ISP accepts.
    KeyVal* pRow = schemeRow(nCurScheme);
    if (pRow == nullptr) {
        return true;
    }
    nRet = keyval_correct(m_nCameraID - 1, pRow, m_nKeyValSum);
    SENSOR_ASSERT_T(
        SNS_SUCCESS == nRet,
        "SNS_SUCCESS == keyval_correct(m_nCameraID - 1, m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum)",
        "m_nCurScheme(%d) m_nKeyValSum(%d)\n", static_cast<int>(nCurScheme), static_cast<int>(m_nKeyValSum));
    keyval_st2str(p_strOut, pRow, m_nKeyValSum);
    return true;
}
