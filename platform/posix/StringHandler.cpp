// Text splitting.
#include "platform/StringHandler.h"

void StringHandler::split(const std::string& text, std::vector<std::string>& out, const std::string& separators) {
    if (text.empty()) {
        return;
    }
    size_t nStart = 0;
    while (true) {
        size_t nPos = separators.empty() ? std::string::npos : text.find_first_of(separators, nStart);
        if (nPos == std::string::npos) {
            // The last piece; empty only when the text ends in a separator,
            // and then it is left out.
            if (nStart < text.size()) {
                out.push_back(text.substr(nStart));
            }
            return;
        }
        out.push_back(text.substr(nStart, nPos - nStart));
        nStart = nPos + 1;
    }
}
