// A virtual module on a clock that the test moves by hand.
#pragma once

#include "VirtualModule.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;
using std::chrono::milliseconds;

struct ModuleRig {
    explicit ModuleRig(sim::ModuleConfig config = sim::ModuleConfig{})
        : module(std::move(config)) {}

    // Writes a frame, lets `waitMs` pass and returns everything the module sent.
    Bytes Exchange(const Bytes& frame, int waitMs = 100) {
        module.Receive(frame.data(), frame.size(), now);
        return Wait(waitMs);
    }
    // Lets time pass in 1 ms steps, collecting what the module sends.
    Bytes Wait(int ms) {
        Bytes out;
        for (int i = 0; i < ms; ++i) {
            now += milliseconds(1);
            module.Advance(now);
            module.TakeOutput(now, &out);
        }
        return out;
    }

    sim::VirtualModule module;
    sim::TimePoint now = sim::TimePoint(std::chrono::hours(1));
};

inline sim::ModuleConfig ConfigFor(const std::string& profile) {
    sim::ModuleConfig config;
    sim::ParseProfile(profile, &config.profile);
    return config;
}

inline Bytes Text(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// a + b
inline Bytes Cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
