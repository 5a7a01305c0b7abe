#pragma once
// The controller operations whose instruction counts CI keeps under a
// budget. Each has an unmeasured preparation, which leaves channel 1 of the
// box camera in the state the operation starts from and runs the operation
// once already (so first-use work of the process is not counted), and the
// measured call itself, which runs on the calling thread only: the
// controller's own thread is either stopped or waiting out a long sleep.
#include <memory>
#include <string>
#include <vector>

#include "bench/support/BoxCamera.h"

namespace tarnix_bench {

// What an operation works on.
struct OpSession {
    explicit OpSession(const BoxCamera& p_camera) : camera(p_camera) {}
    const BoxCamera& camera;
    std::unique_ptr<ISensorController> controller;
    std::string text; // a parameter text the operation applies
};

struct Operation {
    const char* name;
    const char* what;
    void (*prepare)(OpSession&);
    void (*measure)(OpSession&);
    void (*finish)(OpSession&); // after the measurement, unmeasured
};

// Every operation, in the order of the reports.
const std::vector<Operation>& operations();
// The operation of that name, or null.
const Operation* findOperation(const std::string& p_strName);

} // namespace tarnix_bench
