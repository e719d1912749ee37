#pragma once

#include "host/broker/broker_connection.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/list/poll_list.h"
#include "host/serve/service_log.h"

#include <functional>
#include <memory>
#include <string>

namespace kelpo {

class Driver;

/// How a connection to a broker is made: with these settings, for this login.
using ConnectBroker = std::function<std::unique_ptr<BrokerConnection>(
    const BrokerAddress &, const MqttSettings &, const BrokerLogin &, BrokerConnection::Listener &)>;

struct ServeOptions {
    PollList list;  ///< with site and mqtt
    std::string version;
    ConnectBroker connect;
};

/// Polls a list and keeps a broker informed until `stop` is raised. Throws LineError when the line cannot be opened,
/// and std::system_error.
ExitCode run_serve(Driver &driver, const ServeOptions &options, StopSignal &stop, ServiceLog &log);

}  // namespace kelpo
