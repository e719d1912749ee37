#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// Remembers what each station was asked and has not answered yet, and says which request a reply is for.
///
/// A reply names its station and its function, but not the address that was read. So it is taken for the answer to the
/// awaited request only when there is no other request that it could answer: all requests without a reply that it could
/// belong to must equal the awaited one byte for byte. Then, in whatever order and however late the replies come, a
/// value is never that of another register, and an acknowledgement never that of another write.
///
/// A request is forgotten when it has had its reply, or when for `patience`, the longest time that a reply can be late,
/// neither was it sent nor did its station answer. Has no clock of its own.
class ReplyLedger {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;

    enum class Whose {
        awaited,  ///< for the awaited request
        late,     ///< for another request, or it is not known for which one
        nobody    ///< for no request that is without a reply
    };

    /// A station that answers later than the reply time-out, and the longest time that it certainly took.
    struct Lateness {
        int station;
        Duration time;
    };

    /// `patience` is how late a reply may be; if not given, 4.5 times the reply time-out. `own_replies` are the reply
    /// time-outs of stations that have their own.
    explicit ReplyLedger(Duration reply_timeout, std::optional<Duration> patience = std::nullopt,
                         const std::map<int, std::chrono::milliseconds> &own_replies = {});

    /// A request was sent, completely at `end`. `reply_size` is the number of bytes of a good reply, -1 for any number;
    /// a request with 0 expects none and is not kept.
    void sent(int station, std::string_view request, int reply_size, Time end);

    /// How many bytes the reply that begins with `bytes` has, by its header and the requests without a reply. 0 when it
    /// cannot belong to any of them, or not enough of it is there.
    std::size_t reply_size(std::string_view bytes) const;

    /// The size of the reply at the beginning of `bytes`, if reply_size() knows it, all of it is there and its check is
    /// right; otherwise 0.
    std::size_t whole_reply_size(std::string_view bytes) const;

    /// When something came in. A host that does not get the processor reads it long after it came: so it is only known
    /// that it came between two moments.
    struct Arrival {
        Time after;   ///< until then it had not come
        Time before;  ///< it was read then
    };

    /// A whole reply with a right check has come. `awaited` is the request whose reply is expected, empty for none.
    Whose heard(std::string_view reply, std::string_view awaited, Arrival arrival);

    /// What came while the host waited for the reply to `awaited` is not a reply to any request, or is damaged. It
    /// counts as the reply to the awaited request if it looks like one, and no other request is without a reply.
    void heard_damaged(int number, std::string_view bytes, std::string_view awaited, Arrival arrival);

    /// The driver has accepted a reply to `awaited` that is not known here.
    void answered(int station, std::string_view awaited);

    /// Until when the host must listen before station `number` is asked again: it has requests without a reply, and it
    /// does answer. Nothing when it may be asked at once. There is no wait for a station that is silent.
    std::optional<Time> listen_until(int number, Time now);

    /// When the last whole reply of the station was read that something it was asked could have.
    Time replied_at(int station) const;

    /// When anything was read last while the station was awaited, or a reply of it at another time.
    Time heard_at(int station) const;

    /// Until when replies can come; nothing when all have come. A station that has several left may handle them one by
    /// one, each `patience` after the one before.
    std::optional<Time> last_reply_until(Time now);

    /// The same for station `number` if it is asked once more at `time`.
    Time last_reply_until(int number, Time time) const;

    /// How long after a request or the last reply of its station a reply can come, of all stations the longest time.
    Duration patience() const;

    /// A station whose longest time has grown beyond the reply time-out since the last call.
    std::optional<Lateness> take_lateness();

private:
    struct Entry {
        std::string request;
        int reply_size = 0;
        Time sent_at;
    };
    struct Times {
        Duration reply{0}, patience{0};
    };
    struct Station {
        Times times{};
        std::vector<Entry> entries;  // oldest first
        // Replies that could belong to several requests that differ, by the function of these. When there were as many
        // as there are requests, all have had theirs.
        std::array<std::size_t, 256> unclear{};
        Time heard_at{};
        std::string reply;  // the last one, and when it came: a copy right after it answers no other request
        Time replied_at{};
        Duration perhaps_late{0};  // of a reply that may have been for the first request, or for a later equal one
        Duration latest{0};
    };

    Times times_of(int number) const;
    Station &station_of(int number);
    static void forget_expired(Station &station, Time now, std::string_view awaited = {});
    void settle_unclear(int number, Station &station);
    void note_time(int number, Station &station, Duration time);
    void note_all_answered(int number, Station &station);

    Times usual_{};
    std::map<int, Times> own_times_;
    std::map<int, Station> stations_;
    std::optional<Lateness> lateness_;
};

}  // namespace kelpo
