#pragma once
// Factory values read out of the narrowed style.
#include <vector>

#include <tinyxml.h>

#include "controller/SensorTypes.h"

// Writes at most KEYCMD_CAPACITY records (the size of the array init allocates).
int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag);
// Same, with the capacity of the caller's array.
int getFctData(int p_channelID, const char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity,
               bool p_bShowWDRFalg, bool p_bShowLDCFlag);
// Same, into a vector sized from the style.
int getFctData(int p_channelID, const char* p_szStyle, std::vector<KeyVal>& out, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag);
// Appends the items of node's subtree that carry "id" and "value". At most
// capacity records are written and counted; surplus items are dropped.
int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity = KEYCMD_CAPACITY);
