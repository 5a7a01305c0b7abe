#pragma once
// Narrowing of the style to the ranges and defaults the ISP reports.
#include <string>

#include <tinyxml.h>

#include "platform/ia_ioctrl.h"

int getDnaStyle(int p_channelID, const char* szStyle, std::string& out, bool p_bShowWDRFalg, bool p_bShowLDCFlag);
int doDnaStyle(TiXmlElement* start, int cmd, const ia_dynamic_params_attr_st* attr);
int doCustomizeStyle(TiXmlElement* start, int cmd, ia_dynamic_params_attr_st* attr);
