/// \file
/// The driver set up as a host sets it up, with variables to poll.
#pragma once

#include "ozna_kelpo_port.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace bench {

constexpr int station = 1;

/// Register type codes used here: a bit area and a 16-bit area, both with decimal addresses.
constexpr int bits = 4;
constexpr int registers = 7;
constexpr int double_words = 13;

/// One station, 100 units a request, writes go to the controller; callbacks that do nothing. The same block each
/// time; what waits to be sent is dropped.
ComInfo &configure_driver();

/// A variable to be polled.
HOST_VAR host_variable(int reg_type, const QString &address, int count);

/// `blocks` variables of `count` units each, so far apart that each is polled by a request of its own.
QList<HOST_VAR> separate_variables(int reg_type, int count, int blocks);

/// `count` variables as a panel's screens have them: several areas, few units each, in no order of addresses, of which
/// the highest is below `addresses`. The same ones each time.
QList<HOST_VAR> mixed_variables(int count, int addresses = 60000);

/// The right reply to a read of `count` units, with data that differs from unit to unit.
QByteArray right_reply(int reg_type, int count, int station_no = station);

/// The right reply to the read `request`.
QByteArray reply_to(const QByteArray &request);

}  // namespace bench
