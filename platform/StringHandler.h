#pragma once
#include <sstream>
#include <string>
#include <vector>

class StringHandler {
public:
    // Splits text at any of the separator characters; empty pieces between
    // two separators are kept, a trailing empty piece is not.
    static void split(const std::string& text, std::vector<std::string>& out, const std::string& separators);

    // Decimal conversion through a string stream; false when nothing converts.
    template <typename T>
    static bool str2type(const std::string& text, T& value) {
        std::istringstream stream(text);
        stream >> value;
        return !stream.fail();
    }
};
