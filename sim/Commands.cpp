// SPDX-License-Identifier: Apache-2.0
// The virtual module's answers to the commands: identity, which commands the
// simulated module knows, and the settings they read and write.
#include "ModuleInternal.h"

#include <algorithm>
#include <cstdio>

namespace sim {

using namespace detail;

std::array<uint8_t, 12> VirtualModule::Identity() const {
    const Profile& p = config.profile;
    std::array<uint8_t, 12> id{};
    id[0] = 0x00;
    id[1] = Bcd(p.productCode);
    id[2] = 0x20; // hardware 2005.01.1N-01 (first generation) or 2007.01.1N-01
    id[3] = p.SecondGeneration() ? 0x07 : 0x05;
    id[4] = 0x01;
    id[5] = Bcd(10 + p.productCode);
    id[6] = 0x00;
    id[7] = 0x01;
    id[8] = static_cast<uint8_t>(p.swMajor);
    id[9] = static_cast<uint8_t>(p.swMinor);
    id[10] = 0x00;
    id[11] = 0x00;
    return id;
}

std::string VirtualModule::ArticleNumber() const {
    const Profile& p = config.profile;
    std::string id = ProductId(p.productCode);
    id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
    if (p.productCode == 5) id += "E";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%s-%d%02d-A1", id.c_str(), p.swMajor, p.swMinor);
    return buf;
}

int VirtualModule::Unsupported(uint8_t op) const {
    const Profile& p = config.profile;
    switch (op) {
    case 0x01:
    case 0x12:
    case 0x13:
    case 0x14:
    case 0x15:
    case 0x16:
    case 0x17:
    case 0x18:
    case 0x19:
    case 0x1c:
    case 0x1d:
    case 0x1e:
    case 0x1f:
    case 0x40:
    case 0x42:
    case 0x50:
    case 0x60:
    case 0x62:
    case 0x63:
    case 0x64:
    case 0x66:
    case 0x67:
    case 0x68:
    case 0x69:
    case 0x80:
        return 0;
    case 0x41:
    case 0xc0:
    case 0xc1:
    case 0xc2:
    case 0xc3:
    case 0xc4:
    case 0xc5:
    case 0xc6:
    case 0xc7:
    case 0xc8:
    case 0xc9:
    case 0xca:
    case 0xcb:
    case 0xcc:
    case 0xcd:
    case 0xd2:
    case 0xd3:
    case 0xd4:
    case 0xd5:
    case 0xd8:
    case 0xd9:
        // Software 2.x does not know these commands.
        return p.Firmware3() ? 0 : kError;
    case 0xd6:
    case 0xd7:
        // Known from software 3.00; the first generation's UART has no handshake lines.
        if (!p.Firmware3()) return kError;
        return p.SecondGeneration() ? 0 : kFailed;
    case 0xda:
    case 0xdb:
        return p.Firmware3Minor2() ? 0 : kError;
    case 0xf0:
    case 0xf1:
    case 0xf2:
    case 0xf3:
    case 0xf4:
    case 0xf5:
    case 0xf6:
    case 0xf7:
        // Known from software 3.02; only the second generation has the audio codec.
        if (!p.Firmware3Minor2()) return kError;
        return p.SecondGeneration() ? 0 : kFailed;
    default:
        return kError;
    }
}

std::vector<uint8_t> VirtualModule::Answer(const std::vector<uint8_t>& f, TimePoint at) {
    const uint8_t op = f[0];
    const size_t n = f.size() - 2; // payload length
    Settings& s = settings;
    auto status = [op](uint8_t st) { return std::vector<uint8_t>{op, 1, st}; };
    auto ok = [op](const std::vector<uint8_t>& data) {
        std::vector<uint8_t> out(data.size() + 3);
        out[0] = op;
        out[1] = static_cast<uint8_t>(data.size() + 1);
        out[2] = kOk;
        std::copy(data.begin(), data.end(), out.begin() + 3);
        return out;
    };
    auto word = [](uint16_t v) {
        return std::vector<uint8_t>{static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
    };
    auto text = [](const std::string& t) { return std::vector<uint8_t>(t.begin(), t.end()); };
    auto addr = [](const Address& a) { return std::vector<uint8_t>(a.begin(), a.end()); };
    auto done = [&]() {
        Changed();
        return status(kOk);
    };
    auto scanOk = [](uint16_t interval, uint16_t window) {
        if (interval == 0 && window == 0) return true;
        return interval >= 18 && interval <= 4096 && window >= 18 && window <= 4096 &&
               window <= interval;
    };
    auto takePower = [&](int16_t* target) {
        const int requested = static_cast<int16_t>(Word(f, 2));
        if (requested < -90 || requested > 20) return status(kInvalidParameter);
        const int highest = config.profile.SecondGeneration() ? 20 : 4;
        *target = static_cast<int16_t>(std::clamp(requested, kTxPowerLowest, highest));
        Changed();
        std::vector<uint8_t> out = status(kOk);
        out[1] = 3;
        PutWord(&out, static_cast<uint16_t>(*target));
        return out;
    };

    if (const int refuse = Unsupported(op)) return status(static_cast<uint8_t>(refuse));

    switch (op) {
    case 0x01: // probe
        if (n == 4 && f[2] == 0xff && f[3] == 0x00 && f[4] == 0x55 && f[5] == 0xaa)
            return status(kOk);
        return status(kInvalidParameter);
    case 0x12:
        return ok({s.deviceMode});
    case 0x13:
        if (n != 1 || (f[2] != 1 && f[2] != 2)) return status(kInvalidParameter);
        s.deviceMode = f[2];
        return done();
    case 0x14:
        return ok(std::vector<uint8_t>(s.serial.begin(), s.serial.end()));
    case 0x15:
        if (n != 5 || f[2] < 1 || f[2] > config.profile.HighestRateCode() || f[3] > 1 || f[4] > 2 ||
            f[5] < 5 || f[5] > 8 || f[6] < 1 || f[6] > 2)
            return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 7, s.serial.begin());
        return done();
    case 0x16:
        return ok(addr(s.connectAddress));
    case 0x17:
    case 0x19:
        if (n != 6) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 8,
                  (op == 0x17 ? s.connectAddress : s.acceptedAddress).begin());
        return done();
    case 0x18:
        return ok(addr(s.acceptedAddress));
    case 0x1c:
        return ok(text(s.deviceName));
    case 0x1e:
        return ok(text(s.serviceName));
    case 0x1d:
    case 0x1f: {
        // The host sends the text with its terminating zero.
        const size_t limit = op == 0x1d ? 32 : 18;
        const std::string name = TextUpToZero(f, 2, n);
        if (n < 1 || n > limit || name.empty()) return status(kInvalidParameter);
        (op == 0x1d ? s.deviceName : s.serviceName) = name;
        return done();
    }
    case 0x40: {
        const std::array<uint8_t, 12> id = Identity();
        return ok(std::vector<uint8_t>(id.begin(), id.end()));
    }
    case 0x41:
        return ok(text(ArticleNumber()));
    case 0x42:
        return ok(addr(s.localAddress));
    case 0x50:
        // The module acknowledges the close notification with opcode 0x42.
        return {0x42, 1, kOk};
    case 0x60:
        if (pairing.active) return status(kFailed);
        if (n != 6 || f[2] < 1 || f[2] > 48) return status(kInvalidParameter);
        StartSearch(std::vector<uint8_t>(f.begin() + 2, f.end()), at);
        return {}; // the answers are the inquiry events
    case 0x62:
        if (s.pairedAddress == Address{}) return status(kFailed); // not paired
        return ok(addr(s.pairedAddress));
    case 0x63:
    case 0x64: {
        if (pairing.active || search.active) return status(kFailed);
        const size_t skip = op == 0x64 ? 6 : 0;
        if (n <= skip) return status(kInvalidParameter);
        const std::string key(f.begin() + 2 + skip, f.end());
        if (!GoodPasskey(key)) return status(kInvalidParameter);
        pairing.active = true;
        pairing.due = at + std::chrono::milliseconds(config.answerDelayMs + config.pairingDelayMs);
        if (op == 0x64) {
            std::copy(f.begin() + 2, f.begin() + 8, pairing.address.begin());
        } else {
            // The remote side that pairs with a waiting module: the first known device.
            pairing.address = config.devices.empty() ? Address{{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}}
                                                     : config.devices.front().address;
        }
        return status(kOk);
    }
    case 0x66:
        return ok(std::vector<uint8_t>(s.security.begin(), s.security.end()));
    case 0x67:
        if (n != 3 || f[2] > 1 || f[3] > 1 || f[4] > 1) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 5, s.security.begin());
        return done();
    case 0x68:
        return ok(text(s.passkey));
    case 0x69: {
        const std::string key(f.begin() + 2, f.end());
        if (!GoodPasskey(key)) return status(kInvalidParameter);
        s.passkey = key;
        return done();
    }
    case 0x80:
        return status(kOk);
    case 0xc0:
        return ok({s.performance});
    case 0xc1:
        if (n != 1 || (f[2] != 1 && f[2] != 2)) return status(kInvalidParameter);
        s.performance = f[2];
        return done();
    case 0xc2:
        return ok(word(s.linkTimeout));
    case 0xc3:
        if (n != 2) return status(kInvalidParameter);
        s.linkTimeout = Word(f, 2);
        return done();
    case 0xc4:
    case 0xc6: {
        const auto& scan = op == 0xc4 ? s.inquiryScan : s.pageScan;
        std::vector<uint8_t> data = word(scan[0]);
        PutWord(&data, scan[1]);
        return ok(data);
    }
    case 0xc5:
    case 0xc7: {
        if (n != 4 || !scanOk(Word(f, 2), Word(f, 4))) return status(kInvalidParameter);
        (op == 0xc5 ? s.inquiryScan : s.pageScan) = {{Word(f, 2), Word(f, 4)}};
        return done();
    }
    case 0xc8: {
        std::vector<uint8_t> data;
        for (uint16_t v : s.sniff)
            PutWord(&data, v);
        return ok(data);
    }
    case 0xc9: {
        if (n != 8) return status(kInvalidParameter);
        const uint16_t mx = Word(f, 2), mn = Word(f, 4), at2 = Word(f, 6), to = Word(f, 8);
        if (mx == 0 && at2 == 0 && to == 0) {
            s.sniff = {{0, 0, 0, 0}}; // sniff off
            return done();
        }
        if (mx < 1 || mn < 1 || mn > mx || at2 < 1 || at2 > 32767 || to > 32767)
            return status(kInvalidParameter);
        s.sniff = {{mx, mn, at2, to}};
        return done();
    }
    case 0xca: {
        std::vector<uint8_t> data = word(s.park[0]);
        PutWord(&data, s.park[1]);
        return ok(data);
    }
    case 0xcb: {
        if (n != 4) return status(kInvalidParameter);
        const uint16_t mx = Word(f, 2), mn = Word(f, 4);
        if (!(mx == 0 && mn == 0) && (mx < 1 || mn < 1 || mn > mx))
            return status(kInvalidParameter);
        s.park = {{mx, mn}};
        return done();
    }
    case 0xcc:
        return ok(std::vector<uint8_t>(s.classOfDevice.begin(), s.classOfDevice.end()));
    case 0xcd:
        if (n != 4 || f[2] != 0) return status(kInvalidParameter);
        std::copy(f.begin() + 2, f.begin() + 6, s.classOfDevice.begin());
        return done();
    case 0xd2:
        return ok(word(static_cast<uint16_t>(s.txPowerD2)));
    case 0xd4:
        return ok(word(static_cast<uint16_t>(s.txPowerD4)));
    case 0xd3:
    case 0xd5:
        if (n != 2) return status(kInvalidParameter);
        return takePower(op == 0xd3 ? &s.txPowerD2 : &s.txPowerD4);
    case 0xd6:
        return ok({s.emulation});
    case 0xd7:
        if (n != 1 || f[2] > 2) return status(kInvalidParameter);
        s.emulation = f[2];
        return done();
    case 0xd8: {
        std::vector<uint8_t> data{s.userBaudEnabled};
        PutWord(&data, s.userBaudValue);
        return ok(data);
    }
    case 0xd9: {
        if (n != 3) return status(kInvalidParameter);
        const uint16_t value = Word(f, 3);
        if (!(f[2] == 0 && value == 0) && (f[2] > 1 || value < 1 || value > 6144))
            return status(kInvalidParameter);
        s.userBaudEnabled = f[2];
        s.userBaudValue = value;
        return done();
    }
    case 0xda: {
        std::vector<uint8_t> data{s.qosMode};
        data.insert(data.end(), s.qosLatency.begin(), s.qosLatency.end());
        return ok(data);
    }
    case 0xdb: {
        if (n != 5 || f[2] > 2) return status(kInvalidParameter);
        const uint32_t latency =
            uint32_t(f[3]) << 24 | uint32_t(f[4]) << 16 | uint32_t(f[5]) << 8 | uint32_t(f[6]);
        if (f[2] != 0 && (latency < 1 || latency > 1000000)) return status(kInvalidParameter);
        s.qosMode = f[2];
        std::copy(f.begin() + 3, f.begin() + 7, s.qosLatency.begin());
        return done();
    }
    case 0xf0: {
        std::vector<uint8_t> data{s.scoEnabled};
        PutWord(&data, s.scoPacketType);
        return ok(data);
    }
    case 0xf1: {
        if (n != 3 || f[2] > 1) return status(kInvalidParameter);
        const uint16_t type = Word(f, 3);
        const bool known = type == 0 || type == 32 || type == 64 || type == 128 || type == 256;
        if (!known || (f[2] == 1 && type == 0)) return status(kInvalidParameter);
        s.scoEnabled = f[2];
        s.scoPacketType = type;
        return done();
    }
    case 0xf2:
        return ok(word(kOutputGainMax));
    case 0xf3:
        return ok(word(s.outputGain));
    case 0xf5:
        return ok(word(kInputGainMax));
    case 0xf6:
        return ok(word(s.inputGain));
    case 0xf4:
    case 0xf7: {
        const uint16_t highest = op == 0xf4 ? kOutputGainMax : kInputGainMax;
        if (n != 2 || Word(f, 2) > highest) return status(kInvalidParameter);
        (op == 0xf4 ? s.outputGain : s.inputGain) = Word(f, 2);
        return done();
    }
    default:
        return status(kError);
    }
}
} // namespace sim
