/// \file
/// Words that one thread changes while others read them without a lock. Each is loaded and stored at once; the value
/// may be a moment old.
#ifndef SHARED_WORDS_H
#define SHARED_WORDS_H

#include "Communication_Protocol.h"

/// PLC_driver.comm_failed: true from a give-up to the next good reply. From any thread.
inline bool link_has_failed() {
    return __atomic_load_n(&PLC_driver.comm_failed, __ATOMIC_RELAXED);
}

/// Sets PLC_driver.comm_failed. For the link thread.
inline void set_link_failed(bool failed) {
    __atomic_store_n(&PLC_driver.comm_failed, failed, __ATOMIC_RELAXED);
}

/// Notes and returns the size of PLC_driver.write_list; called wherever that has changed. The caller holds
/// `list_mutex`.
int note_write_list_size();

/// The size of PLC_driver.write_list: the present one if `list_mutex` is free, otherwise the one noted last. Never
/// waits. From any thread, including one that holds `list_mutex`.
int write_list_size_without_waiting();

#endif
