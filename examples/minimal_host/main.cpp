// A minimal host: one controller on channel 1 of a simulated camera.
//   minimal_host DEVICE_ROOT
// DEVICE_ROOT is a copy of a sample device tree (it is written to).
#include <cstdio>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "ispsim/ispsim.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/posix/PlatformControl.h"

// The installed headers give a host the controller and its types, never the
// library's own report, trace or lock macros.
#if defined(SENSOR_ASSERT) || defined(SENSOR_ASSERT_T) || defined(SENSOR_TRACE) || defined(SENSOR_SITE) || \
    defined(SNS_SOURCE_FILE) || defined(SENSOR_PARAM_LOCK)
#error "an internal macro of the library reached the host through the installed headers"
#endif

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: minimal_host DEVICE_ROOT\n");
        return 2;
    }
    std::string root = argv[1];
    platform::setRoot(root);
    platform::setTimeScale(0.01);
    ispsim::loadProfile(root + "/isp/profile.conf");

    MachineInfo machine;
    SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", machine);
    std::vector<ModuleConfigure> modules;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", machine.getHardwareModel(),
                                 machine.getHardwareCode(), modules);
    ModuleConfigure module = modules.empty() ? ModuleConfigure() : modules.front();

    ISensorController controller;
    controller.setChannelID(1);
    controller.init(module);

    int ret = controller.setParameters(std::string("(34,60)(2337,45)"), true);
    std::string values;
    controller.getParameters("(34,2337)", values);
    int flushed = controller.flush();
    controller.uinit();

    std::printf("minimal_host: apply=%d flush=%d values=%s\n", ret, flushed, values.c_str());
    return (ret == 0 && flushed == 0 && values == "(34,60)(2337,45)") ? 0 : 1;
}
