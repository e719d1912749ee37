#pragma once

#include "host/broker/broker_connection.h"

#include <memory>

namespace kelpo {

/// Begins to connect to a broker with the library libmosquitto. Files that the settings name are read anew each time.
/// Throws std::runtime_error when one cannot be read or used.
std::unique_ptr<BrokerConnection> connect_with_mosquitto(const BrokerAddress &broker, const MqttSettings &settings,
                                                         const BrokerLogin &login,
                                                         BrokerConnection::Listener &listener);

}  // namespace kelpo
