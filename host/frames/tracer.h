#pragma once

#include "host/frames/trace_record.h"
#include "host/link/link_watcher.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace kelpo {

/// Gets records on the link thread: must be quick.
class TraceSink {
public:
    virtual ~TraceSink() = default;
    virtual void take(const TraceRecord &record) = 0;
};

/// Makes records of what happens on a link and passes each to all sinks, on the link thread.
class Tracer : public LinkWatcher {
public:
    /// The sinks must outlive the tracer.
    explicit Tracer(std::vector<TraceSink *> sinks);

    void exchanged(const Exchange &exchange) override;
    void line_probed(const Exchange &exchange, ProbePurpose purpose) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;
    void rest_ended(int station, bool has_answered) override;
    void reply_late(int station, std::chrono::milliseconds time) override;
    void line_echoes(bool is_taken_off) override;
    void wait_refused(int station) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    void hand_on(const TraceRecord &record);
    void note(TraceTime time, const std::string &text);

    std::vector<TraceSink *> sinks_;
};

/// Carries records to the thread that writes them, which may be held up by a slow terminal or disk: what then exceeds
/// the capacity is left out, and a note says how much.
class TraceQueue : public TraceSink {
public:
    explicit TraceQueue(std::size_t capacity = 20000);

    void take(const TraceRecord &record) override;

    /// All that came since the last call, oldest first. From any thread.
    std::vector<TraceRecord> taken();

private:
    const std::size_t capacity_;
    std::mutex mutex_;  // guards all below
    std::vector<TraceRecord> records_;
    std::uint64_t left_out_ = 0;
    TraceTime left_out_since_;
};

/// Keeps the last records, for a screen.
class TraceRing : public TraceSink {
public:
    explicit TraceRing(std::size_t capacity);

    void take(const TraceRecord &record) override;

    /// A copy of the records kept, oldest first. From any thread.
    std::vector<TraceRecord> last() const;

    /// How many records there were in all. From any thread.
    std::uint64_t count() const;

private:
    const std::size_t capacity_;
    mutable std::mutex mutex_;  // guards all below
    std::deque<TraceRecord> records_;
    std::uint64_t count_ = 0;
};

}  // namespace kelpo
