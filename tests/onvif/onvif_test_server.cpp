// A small camera host for the ONVIF end-to-end test: a live controller on a
// device root (a copy of a sample tree) with the simulated ISP, served by
// the ONVIF routes on an httplib server on the loopback interface.
//
//   onvif_test_server --root DIR [--user U --password P] [--port N]
//
// Prints "onvif_test_server: listening on 127.0.0.1:PORT" once it serves,
// then one line "isp set CH CMD VALUE" per ISP set call the requests cause,
// and stops when its standard input ends.
#include <httplib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "controller/ISensorController.h"
#include "ispsim/ispsim.h"
#include "onvif/OnvifService.h"
#include "onvif/http/OnvifHttp.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/posix/PlatformControl.h"

namespace {

int fail(const std::string& message) {
    std::fprintf(stderr, "onvif_test_server: error: %s\n", message.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    std::string root;
    std::string user;
    std::string password;
    int port = 0;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (i + 1 >= argc) {
            return fail("option " + arg + " needs a value");
        }
        std::string value = argv[++i];
        if (arg == "--root") {
            root = value;
        } else if (arg == "--user") {
            user = value;
        } else if (arg == "--password") {
            password = value;
        } else if (arg == "--port") {
            port = std::atoi(value.c_str());
        } else {
            return fail("unknown option " + arg);
        }
    }
    if (root.empty()) {
        return fail("usage: onvif_test_server --root DIR [--user U --password P] [--port N]");
    }

    platform::setRoot(root);
    // Real time: the sensor thread makes its pass once a second, as on a
    // camera, so a long session with a VMS keeps the ISP's call log small.
    platform::setTimeScale(1.0);
    ispsim::reset();
    if (!ispsim::loadProfile(root + "/isp/profile.conf")) {
        return fail("cannot load " + root + "/isp/profile.conf");
    }
    MachineInfo machine;
    if (!SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", machine)) {
        return fail("cannot read the machine description under " + root);
    }
    std::vector<ModuleConfigure> modules;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", machine.getHardwareModel(),
                                 machine.getHardwareCode(), modules);
    // The bi-spectrum model's one controller drives channel 2.
    int channelId = machine.getDeviceType() == 13 ? 2 : 1;
    ModuleConfigure module = modules.empty() ? ModuleConfigure() : modules.front();
    for (const ModuleConfigure& m : modules) {
        if (m.getModuleId() == channelId) {
            module = m;
        }
    }

    ISensorController controller;
    controller.setChannelID(1);
    if (!controller.init(module)) {
        return fail("init failed");
    }
    ispsim::clearCalls();

    tarnix::onvif::ServiceConfig config;
    config.user = user;
    config.password = password;
    config.device.model = machine.getHardwareModel();
    config.device.hardwareId = machine.getHardwareCode();
    config.device.firmwareVersion = "test";
    config.device.serialNumber = "0";
    tarnix::onvif::VideoChannel channel;
    channel.channel = channelId;
    channel.controller = &controller;
    channel.focusPositionMax = tarnix::onvif::focusStepsOf(module.getParameters());
    tarnix::onvif::OnvifService service(config, {channel});

    httplib::Server server;
    tarnix::onvif::addOnvifRoutes(server, service);
    // After each request: the ISP set calls it caused.
    std::mutex logMutex;
    size_t seen = 0;
    server.set_post_routing_handler([&](const httplib::Request&, httplib::Response&) {
        std::lock_guard<std::mutex> lock(logMutex);
        std::vector<ispsim::Call> calls = ispsim::calls();
        for (; seen < calls.size(); ++seen) {
            const ispsim::Call& call = calls[seen];
            if (call.opt == 0) {
                std::printf("isp set %d %u %d\n", call.channel, call.cmd,
                            call.data.empty() ? 0 : static_cast<int>(call.data[0]));
            }
        }
        std::fflush(stdout);
    });
    int bound = port > 0 ? (server.bind_to_port("127.0.0.1", port) ? port : -1) : server.bind_to_any_port("127.0.0.1");
    if (bound <= 0) {
        controller.uinit();
        return fail("cannot listen on 127.0.0.1");
    }
    std::thread serving([&] { server.listen_after_bind(); });
    std::printf("onvif_test_server: listening on 127.0.0.1:%d\n", bound);
    std::fflush(stdout);

    std::string line;
    while (std::getline(std::cin, line)) {
    }
    while (!server.is_running() && serving.joinable()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    server.stop();
    serving.join();
    controller.uinit();
    std::printf("onvif_test_server: stopped\n");
    return 0;
}
