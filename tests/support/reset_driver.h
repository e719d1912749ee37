/// \file
/// The driver as newly loaded.
#ifndef SUPPORT_RESET_DRIVER_H
#define SUPPORT_RESET_DRIVER_H

namespace support {

/// Puts PLC_driver and the three pointers to the host's memories back into the state that they have after loading.
/// Takes no lock: nobody else may use the driver meanwhile.
void reset_driver();

}  // namespace support

#endif
