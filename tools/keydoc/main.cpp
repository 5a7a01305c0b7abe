// tarnix-keydoc: prints docs/keys.md, the reference of the image keys, from
// the key catalogue and the sample styles (usage: tarnix-keydoc DEVICES_DIR).
#include <cstdio>
#include <exception>
#include <string>

#include "tools/keydoc/KeyDoc.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: tarnix-keydoc DEVICES_DIR > docs/keys.md\n");
        return 2;
    }
    try {
        const std::string strDoc = keydoc::keyDocument(argv[1]);
        std::fwrite(strDoc.data(), 1, strDoc.size(), stdout);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tarnix-keydoc: error: %s\n", e.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
