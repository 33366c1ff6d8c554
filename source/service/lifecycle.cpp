/* SPDX-License-Identifier: MIT */
#include "base/flags.h"
#include "base/identity.h"
#include "base/log.h"
#include "discovery/discovery.h"
#include "link/registry.h"
#include "link/tcp_server.h"
#include "net/stop_signal.h"
#include "tvlink.h"
#include "tvlink/workers.h"

namespace
{

struct StartStep {
    int (*start)(void);
    const char *error;
    int32_t fixed_result; /* returned when the step fails; 0: the result of the step */
};

const StartStep START_STEPS[] = {
    {startDevCallBackThread, "err: startDevCallBackThread() fail\n", -1},
    {startHeartBeatFeedbackThread, "err: startHeartBeatFeedbackThread() fail\n", -1},
    {start_tcp_thread, "err: start_tcp_rcv_thread() fail\n", 0},
    {start_udp_serv_thread, "err: start_udp_thread() fail\n", 0},
};

} // namespace

static int32_t start_everything()
{
    for (const StartStep &step : START_STEPS) {
        const int32_t result = step.start();
        if (result != 0) {
            log_out("%s", step.error);
            return step.fixed_result != 0 ? step.fixed_result : result;
        }
    }
    return 0;
}

int32_t ipp_init(uint32_t device_type, const char *name, const char *serial)
{
    identity_set_serial(serial);
    identity_set_name(name);
    if (flags_inited()) {
        return 0;
    }
    flags_set_device_type(static_cast<uint16_t>(device_type));
    flags_start_run();
    stop_signal_open();
    registry_open();
    const int32_t result = start_everything();
    if (result != 0) {
        ipp_finish();
        return result;
    }
    flags_set_inited(true);
    return 0;
}

int32_t ipp_finish()
{
    flags_set_inited(false);
    flags_stop_running();
    stop_signal_raise();
    discovery_join();
    tcp_server_join();
    stop_signal_close();
    registry_close();
    return 0;
}

const char *ipp_version()
{
    return TVLINK_VERSION;
}
