#pragma once
// The text form of parameter lists: "(key,value)" records back to back.
#include <string>
#include <vector>

#include "controller/SensorTypes.h"

// Number of records keyval_str2st produces for the text.
u32 keyval_count(const std::string& text);
// Parses the records into the array, which must hold keyval_count(text).
void keyval_str2st(const std::string& text, KeyVal* records, u32* count);
// Same, writing at most capacity records (the rest of the text is ignored).
void keyval_str2st(const std::string& text, KeyVal* records, u32* count, u32 capacity);
// Appends the text of the records to the string.
void keyval_st2str(std::string& text, KeyVal* records, u32 count);
// Splits a key list "(k1,k2,...)" into its items.
bool parseSensorParameter(const std::string& text, std::vector<std::string>& items);
