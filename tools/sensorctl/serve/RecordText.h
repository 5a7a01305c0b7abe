#pragma once
// The strict check of the "(key,value)" text a client posts: records back to
// back, decimal numbers, keys 0 to 2147483647, values 32-bit signed (the
// library writes values with %d), no blanks inside. Blanks and line ends
// around the whole text are allowed.
#include <string>
#include <vector>

#include "controller/SensorTypes.h"

namespace sensorctl {
namespace serve {

struct RecordText {
    std::string text;              // the records without the surrounding blanks
    std::vector<KeyVal> records;
};

// True and the records, or false and a one-line message naming the first
// character that does not fit.
bool checkRecordText(const std::string& p_strBody, RecordText& p_stOut, std::string& p_strError);

} // namespace serve
} // namespace sensorctl
