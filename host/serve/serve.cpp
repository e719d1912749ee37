#include "host/serve/serve.h"

#include "host/broker/carrier.h"
#include "host/driver/driver.h"
#include "host/engine/poll_engine.h"
#include "host/link/mailbox.h"
#include "host/serve/bell.h"
#include "host/serve/link_pulse.h"
#include "host/serve/service.h"
#include "host/serve/service_manager.h"
#include "host/text/quantities.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>
#include <thread>

#include <poll.h>

namespace kelpo {
namespace {

using std::chrono::steady_clock;

constexpr auto look_interval = std::chrono::milliseconds(100);
constexpr auto longest_reply_wait = std::chrono::milliseconds(700);  // at the end
constexpr auto longest_farewell = std::chrono::milliseconds(800);

std::string new_instance() {
    std::random_device random;
    const std::uint64_t number = std::uint64_t{random()} << 32U | random();
    return fingerprint_of(std::to_string(number));
}

ServiceName name_of(const ServeOptions &options) {
    const SiteSettings &site = *options.list.site;
    return {options.list.mqtt->root + "/" + site.site + "/" + site.line + "/", options.version, new_instance()};
}

std::string client_id_of(const ServeOptions &options) {
    const MqttSettings &mqtt = *options.list.mqtt;
    return mqtt.client_id.empty() ? "kelpo-" + options.list.site->site + "-" + options.list.site->line : mqtt.client_id;
}

// What everyone may want to know at once, in the log. What is in the topics of values and stations alone is left out.
std::optional<ServiceLog::Level> level_of(PollEvent::Kind kind) {
    using Kind = PollEvent::Kind;
    switch (kind) {
    case Kind::line_lost:
        return ServiceLog::Level::error;
    case Kind::station_down:
    case Kind::write_failed:
    case Kind::write_expired:
        return ServiceLog::Level::warning;
    case Kind::line_back:
    case Kind::station_back:
    case Kind::remark:
        return ServiceLog::Level::notice;
    case Kind::write_done:
        return ServiceLog::Level::info;
    case Kind::given_up:
    case Kind::station_rests:
        break;
    }
    return std::nullopt;
}

/// Ends the wait for a reply that is on its way, if it lasts too long.
class Impatience {
public:
    explicit Impatience(StopSignal &stop)
        : thread_([this, &stop] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (!changed_.wait_for(lock, longest_reply_wait, [this] { return is_over_; }))
                  stop.hurry();
          }) {}
    ~Impatience() {
        {
            const std::lock_guard<std::mutex> locked(mutex_);
            is_over_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    Impatience(const Impatience &) = delete;
    Impatience &operator=(const Impatience &) = delete;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool is_over_ = false;
    std::thread thread_;
};

class ServeRun {
public:
    ServeRun(Driver &driver, const ServeOptions &options, StopSignal &stop, ServiceLog &log)
        : options_(options), stop_(stop), log_(log), link_bell_(bell_), watchers_(),
          engine_(driver, options.list, stop, {}, {default_write_deadline, IfAway::wait}, &watchers_),
          service_(engine_, board_, name_of(options)) {
        watchers_.add(link_bell_);
        watchers_.add(pulse_);
    }

    ExitCode run() {
        service_.begin();
        engine_.start();
        Carrier carrier(board_, carrier_settings(), connection(), receiver(),
                        [this](const std::string &text) { log_.say(ServiceLog::Level::notice, text); });
        manager_.notify("READY=1");
        steady_clock::time_point next_sign = steady_clock::now();
        while (!stop_.raised()) {
            stop_.wait_for_descriptor(bell_.descriptor(), POLLIN, steady_clock::now() + look_interval);
            bell_.quiet();
            take_in();
            if (manager_.watchdog() && steady_clock::now() >= next_sign)
                next_sign = show_signs_of_life(carrier);
        }
        manager_.notify("STOPPING=1");
        {
            const Impatience impatience(stop_);
            engine_.finish();
        }
        take_in();
        service_.end();
        if (!carrier.finish(longest_farewell))
            log_.say(ServiceLog::Level::warning, "ended before the broker had everything");
        return ExitCode::all_well;
    }

private:
    void take_in() {
        for (const ServiceOrder &order : orders_.take())
            service_.carry_out(order);
        for (const PollEvent &event : service_.refresh())
            if (const auto level = level_of(event.kind))
                log_.say(*level, words_of(event, engine_.list().variables));
    }

    steady_clock::time_point show_signs_of_life(const Carrier &carrier) {
        const std::uint64_t beats = carrier.pulse();
        const bool carrier_moves = std::exchange(carrier_beats_, beats) != beats;
        const CarrierState state = carrier.state();
        const std::string broker = state.is_connected ? "broker " + state.broker : "no broker: " + state.why;
        const bool link_moves = pulse_.has_moved(steady_clock::now());
        manager_.notify((carrier_moves && link_moves ? "WATCHDOG=1\nSTATUS=" : "STATUS=") + service_.line_words() +
                        ", " + broker);
        return steady_clock::now() + *manager_.watchdog() / 3;
    }

    CarrierSettings carrier_settings() const {
        const MqttSettings &mqtt = *options_.list.mqtt;
        CarrierSettings settings;
        settings.brokers = mqtt.brokers;
        settings.window = mqtt.window;
        settings.status_topic = service_.status_topic();
        settings.patience = mqtt.keep_alive;
        return settings;
    }

    ConnectToBroker connection() const {
        BrokerLogin login;
        login.client_id = client_id_of(options_);
        login.will_topic = service_.status_topic();
        login.will_payload = service_.lost_payload();
        login.topics = {service_.prefix() + "set/+", service_.prefix() + "control/station/+"};
        login.own_topics = {service_.prefix() + "value/+", service_.prefix() + "station/+"};
        return [this, login](const BrokerAddress &broker, BrokerConnection::Listener &listener) {
            return options_.connect(broker, *options_.list.mqtt, login, listener);
        };
    }

    Carrier::Receive receiver() {
        return [this](ReceivedMessage message) {
            orders_.put({message.topic.substr(service_.prefix().size()), std::move(message.payload), message.size,
                         message.is_retained, steady_clock::now()});
            bell_.ring();
        };
    }

    const ServeOptions &options_;
    StopSignal &stop_;
    ServiceLog &log_;
    const ServiceManager manager_;
    const Bell bell_;
    LinkBell link_bell_;
    LinkPulse pulse_;
    WatcherList watchers_;
    Mailbox<ServiceOrder> orders_;
    Board board_;
    PollEngine engine_;
    Service service_;
    std::uint64_t carrier_beats_ = 0;
};

}  // namespace

ExitCode run_serve(Driver &driver, const ServeOptions &options, StopSignal &stop, ServiceLog &log) {
    return ServeRun(driver, options, stop, log).run();
}

}  // namespace kelpo
