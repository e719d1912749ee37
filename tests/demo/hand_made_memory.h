#pragma once

#include "demo/controller_memory.h"

#include <map>
#include <optional>
#include <tuple>
#include <vector>

/// A controller's memory that the test fills itself. What it does not set is not recorded.
class HandMadeMemory : public kelpo::ControllerMemory {
public:
    using Moment = kelpo::Moment;

    Moment now = 0;
    std::map<std::tuple<int, int, Moment>, bool> coils;
    std::map<std::tuple<int, int, Moment>, std::uint16_t> registers;

    Moment moment() const override {
        return now;
    }
    std::optional<bool> coil(int station, int address, Moment moment) const override {
        return found(coils, {station, address, moment});
    }
    std::optional<std::uint16_t> holding_register(int station, int address, Moment moment) const override {
        return found(registers, {station, address, moment});
    }
    std::optional<std::uint64_t> requests_to(int) const override {
        return std::nullopt;
    }
    std::uint64_t writes_logged() const override {
        return 0;
    }
    std::optional<std::vector<kelpo::LoggedWrite>> writes_from(std::uint64_t) const override {
        return std::nullopt;
    }

private:
    template <typename Map>
    static std::optional<typename Map::mapped_type> found(const Map &map, const typename Map::key_type &key) {
        const auto place = map.find(key);
        return place == map.end() ? std::nullopt : std::optional(place->second);
    }
};
