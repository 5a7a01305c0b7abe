#pragma once
// Factory values read out of the narrowed style.
#include <vector>

#include <tinyxml.h>

#include "controller/SensorTypes.h"

// Writes as many records as the narrowed style has items with "id" and
// "value": the caller's array must hold them all (the caller's contract).
int getFctData(int p_channelID, char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag);
// Same, writing at most capacity records; surplus items are dropped and reported.
int getFctData(int p_channelID, const char* p_szStyle, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity,
               bool p_bShowWDRFalg, bool p_bShowLDCFlag);
// Same, into a vector that grows to the style's items (the library's own form).
int getFctData(int p_channelID, const char* p_szStyle, std::vector<KeyVal>& out, bool p_bShowWDRFalg,
               bool p_bShowLDCFlag);
// Appends the items of node's subtree that carry "id" and "value" at index
// *p_pnKeyValNum onwards; the caller's array must hold them all. 0, or -1
// when the count is null or an item meets a null array.
int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum);
// Same, writing and counting at most capacity records in all; -1 when an item
// found no room (the walk ends there).
int style2KeyVal(TiXmlElement* node, KeyVal* p_pKeyVal, u32* p_pnKeyValNum, u32 capacity);
