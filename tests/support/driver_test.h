/// \file
/// What every test of the driver starts from: the driver as newly loaded, a new host block, recording callbacks.
#ifndef SUPPORT_DRIVER_TEST_H
#define SUPPORT_DRIVER_TEST_H

#include "int_limits.h"
#include "ozna_kelpo_port.h"
#include "reset_driver.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace support {

/// The host's block as the driver gets it: the named words are 0; the words without a name, and those around the block,
/// hold a pattern that must not change.
class HostBlock {
public:
    HostBlock();

    /// True while every word that is not the driver's still holds its pattern.
    bool other_words_unchanged() const;

    /// Word `index` of the block, as a host that knows it as an array of int sees it.
    int word(int index) const;

private:
    static const int guard_words = 16;

    int before[guard_words];

public:
    ComInfo info;

private:
    int after[guard_words];
};

/// One call of the host's write-result callback.
struct WriteResult {
    int channel_id;
    int var_group;
    int var_id;
    int status;
};

/// One call of the host's communication-error callback.
struct CommError {
    bool empty_list;        ///< the list argument pointed to an empty list
    int var_group;          ///< second argument
    int flag;               ///< third argument
    bool list_mutex_held;   ///< the driver's `list_mutex` was held during the call
    bool cache_mutex_held;  ///< the driver's `cache_mutex` was held during the call
};

/// True when nobody holds `mutex`.
bool is_free(QMutex &mutex);

/// True when `action`, run in a thread of its own, does not end while `mutex` is held, and ends once it is released. On
/// a machine that is slow to start the thread, a missing lock may not be noticed, but a lock that is there always is.
bool waits_for(QMutex &mutex, const std::function<void()> &action);

/// True when `action`, run in a thread of its own, ends although `mutex` is held.
bool does_not_wait_for(QMutex &mutex, const std::function<void()> &action);

/// Success when `action` takes exactly `mutexes` of the driver's three: run with one held at a time, it waits for these
/// and not for the others.
testing::AssertionResult takes_only(std::initializer_list<QMutex *> mutexes, const std::function<void()> &action);

/// A driver as newly loaded, with a HostBlock and the recording callbacks. At the end of each test the words of the
/// host's block that are not the driver's must be unchanged, and the three mutexes free.
class DriverTest : public ::testing::Test {
protected:
    DriverTest();
    ~DriverTest() override;
    void TearDown() override;

    HostBlock block;
    ComInfo &info;
    const std::vector<WriteResult> &write_results;
    const std::vector<CommError> &comm_errors;
};

/// \name Records
/// @{

/// A read entry: the given four fields, everything else 0 or empty.
RW_VAR make_var(int reg_type, int reg_addr, int reg_count, int station_no = 1);

/// A record whose fifteen fields all differ from 0, from empty and from each other.
RW_VAR full_var();

/// The first fourteen fields of `var` and its bytes, each on a line of its own.
std::string describe(const RW_VAR &var);

/// A polled variable of the host.
HOST_VAR host_var(int reg_type, int station_no, const char *addr_text, int reg_count, const char *aux_text = "");

/// The request of one read that waits for its reply, as the read builders fill it.
Protocol make_frame(const RW_VAR &var, const QByteArray &frame, int data_len);

/// The entries as "(address,count)", with one blank between them.
std::string spans(const QList<RW_VAR> &list);

/// The entries as "station/class(address,count)", with one blank between them.
std::string blocks(const QList<RW_VAR> &list);

/// @}

}  // namespace support

#endif
