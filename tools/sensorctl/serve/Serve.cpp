// sensorctl serve: one live controller on the device root (as the shell
// runs it) and the settings page on an HTTP server, until SIGINT or SIGTERM.
#include "tools/sensorctl/serve/Serve.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cstdio>
#include <memory>

#include "tools/sensorctl/Device.h"
#include "tools/sensorctl/LibraryConsole.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/serve/ActivityLog.h"
#include "tools/sensorctl/serve/LiveChannel.h"
#include "tools/sensorctl/serve/SettingsServer.h"
#ifdef SENSORCTL_WITH_ONVIF
#include "onvif/OnvifService.h"
#include "tools/sensorctl/serve/OnvifModule.h"
#endif

namespace sensorctl {

namespace {

// Restores the signal mask of the thread on the way out.
class BlockedSignals {
public:
    BlockedSignals() {
        sigemptyset(&m_stSet);
        sigaddset(&m_stSet, SIGINT);
        sigaddset(&m_stSet, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_stSet, &m_stOld);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &m_stOld, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    int wait() const {
        int nSignal = 0;
        while (sigwait(&m_stSet, &nSignal) != 0) {
        }
        return nSignal;
    }

private:
    sigset_t m_stSet;
    sigset_t m_stOld;
};

} // namespace

int runServe(const Options& p_stOptions) {
#ifndef SENSORCTL_WITH_ONVIF
    if (p_stOptions.onvif) {
        runtimeError("this sensorctl was built without the ONVIF services (configure with -DTARNIX_WITH_ONVIF=ON; "
                     "they need libssl-dev)");
    }
#endif
    // Every thread started from here on (sensor thread, watch, HTTP workers)
    // inherits the blocked mask; this thread takes the signals with sigwait.
    BlockedSignals signals;
    Device device(p_stOptions);
    // The library's console output goes to sensorctl.log (and with
    // --verbose to stdout too); the URL line stays easy to find.
    LibraryConsole console(device.hostPath(SENSORCTL_LOG_FILE), p_stOptions.verbose);
    serve::ServeConfig config;
    config.bind = p_stOptions.bind;
    config.port = p_stOptions.port;
    std::atomic<bool> bFailed{false};
    int nSignal = 0;
    try {
        serve::ActivityLog log;
        log.attach();
        serve::LiveChannel live(device, log);
        if (p_stOptions.has("clock")) {
            live.act("clock", format("%02d:%02d", p_stOptions.clockHour, p_stOptions.clockMinute),
                     [&](ISensorController&) {
                         live.fixClock(p_stOptions.clockHour, p_stOptions.clockMinute);
                         return nlohmann::json{{"result", true}};
                     });
        }
#ifdef SENSORCTL_WITH_ONVIF
        // Declared before the server: it must outlive the routes that use it.
        std::unique_ptr<tarnix::onvif::OnvifService> onvif;
        if (p_stOptions.onvif) {
            onvif = serve::makeOnvifService(live, {p_stOptions.onvifUser, p_stOptions.onvifPassword});
        }
#endif
        serve::SettingsServer server(live, config);
#ifdef SENSORCTL_WITH_ONVIF
        if (onvif) {
            server.addRoutes(serve::onvifRoutes(*onvif));
        }
#endif
        int nPort = server.bind();
        int nScheme = live.state().value("scheme", -1);
        if (p_stOptions.onvif) {
            say("serve: ONVIF services on port %d at /onvif/device_service (%s)", nPort,
                p_stOptions.onvifUser.empty() ? "no user: operations are not authenticated"
                                              : ("user " + p_stOptions.onvifUser).c_str());
        }
        say("serve: channel %d of %s, scheme %d; settings page on %s port %d (Ctrl-C stops):", device.cameraId(),
            device.root().c_str(), nScheme, config.bind.c_str(), nPort);
        std::fprintf(ownStream(), "%s\n", server.url().c_str());
        std::fflush(ownStream());
        pthread_t mainThread = pthread_self();
        server.start([&bFailed, mainThread] {
            bFailed = true;
            pthread_kill(mainThread, SIGTERM);
        });
        nSignal = signals.wait();
        server.stop();
    } catch (const ToolError&) {
        device.saveIspState();
        throw;
    }
    device.saveIspState();
    console.finish();
    if (bFailed.load()) {
        runtimeError("the HTTP server stopped serving unexpectedly; the channel was shut down");
    }
    say("serve: %s: stopped serving, channel shut down, the simulated ISP's state kept",
        nSignal == SIGINT ? "SIGINT" : "SIGTERM");
    return kExitOk;
}

} // namespace sensorctl
