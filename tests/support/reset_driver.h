/// \file
/// The driver as after loading.
#ifndef SUPPORT_RESET_DRIVER_H
#define SUPPORT_RESET_DRIVER_H

namespace support {

/// Puts PLC_driver and the three memories of the host back to the state that they have right after loading. Takes no
/// lock: nobody else may use the driver meanwhile.
void reset_driver();

}  // namespace support

#endif
