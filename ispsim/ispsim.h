#pragma once
// Simulated ISP: implements ia_ioctrl_v2 for development hosts and tests.
// Per-channel values (set stores, get returns), the dynamic parameter list
// (command 4112) and range records (option 2), correction (option 3: the
// nearest allowed value), command status (option 4) and the multi-word
// records the library sends. Command ids are 16-bit: a larger id fails.
// Profiles may seed defects for the porting kit's checker to catch.
// Thread-safe. Profile format: docs/simulator.md.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ispsim {
// One call: data = the buffer's 32-bit words as passed in; answer = the words
// the ISP wrote back (empty when it wrote nothing).
struct Call { int channel; unsigned int cmd; unsigned int opt; std::vector<uint32_t> data; int result;
              std::vector<uint32_t> answer; };
void reset();                                            // power-on state, empty call log
void setValue(int channel, unsigned int cmd, uint32_t value);
bool getValue(int channel, unsigned int cmd, uint32_t& value);
void setDynamicParam(int channel, unsigned int cmd, int32_t defaultValue,
                     const std::vector<int32_t>& items, int32_t type = 0);
void setFailure(int channel, unsigned int cmd, int opt, int result);   // -1 for channel or opt = any
void clearFailures();
std::vector<Call> calls();                               // data = the buffer's 32-bit words as passed in
void clearCalls();
// Sees every call as it is logged, on the caller's thread, together with the
// buffer as the ISP left it (what a read answered). It runs under the
// simulator's lock and must not call back into ispsim. Not touched by reset();
// an empty function removes it.
using CallObserver = std::function<void(const Call& call, const std::vector<uint32_t>& buffer)>;
void setCallObserver(CallObserver observer);
bool loadProfile(const std::string& path);               // values and dynamic params from a file (format in docs/)
}
