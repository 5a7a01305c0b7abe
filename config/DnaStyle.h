#pragma once
// Narrowing of the style to the ranges and defaults the ISP reports.
#include <string>

#include <tinyxml.h>

#include "platform/ia_ioctrl.h"

// Asks the ISP for its list of commands with dynamic ranges (zeroed first, and
// again when the call fails; the count is kept within the list). The call's result.
int readDynamicCommandList(int p_nIspChannel, ia_dynamic_cmd_list_st& p_stList);
int getDnaStyle(int p_channelID, const char* szStyle, std::string& out, bool p_bShowWDRFalg, bool p_bShowLDCFlag);
int doDnaStyle(TiXmlElement* start, int cmd, const ia_dynamic_params_attr_st* attr);
int doCustomizeStyle(TiXmlElement* start, int cmd, ia_dynamic_params_attr_st* attr);
