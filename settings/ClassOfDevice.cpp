// SPDX-License-Identifier: Apache-2.0
#include "ClassOfDevice.h"

namespace ClassOfDevice {

const char* const kUnknown = "Unknown";

namespace {

// The major device class numbers of the major list's items, in its order.
constexpr uint32_t kMajorNumbers[] = {0, 1, 2, 3, 4, 5, 6, 31};

// A minor list: the field of the class it reads (bits shift and up, mask wide)
// and the field's value for each item. Writing an item puts its value back at
// the same place, the other minor bits cleared.
struct MinorList {
    uint32_t shift;
    uint32_t mask;
    std::vector<uint32_t> values;
    std::vector<std::string> items;
};

// Miscellaneous and Uncategorized have no minor classes: the one item "-" is
// the minor value 0.
const MinorList kNone = {2, 0x3F, {0}, {"-"}};
const MinorList kComputer = {2,
                             0x3F,
                             {0, 1, 2, 3, 4, 5, 6},
                             {"Uncategorized", "Desktop workstation", "Server-class computer",
                              "Laptop", "Handheld PC/PDA (clam shell)", "Palm sized PC/PDA",
                              "Wearable computer (Watch sized)"}};
const MinorList kPhone = {2,
                          0x3F,
                          {0, 1, 2, 3, 4, 5},
                          {"Uncategorized", "Cellular", "Cordless", "Smart phone",
                           "Wired modem or voice gateway", "Common ISDN Access"}};
// The access point's load is in the top three minor bits.
const MinorList kNetwork = {5,
                            0x7,
                            {0, 1, 2, 3, 4, 5, 6, 7},
                            {"Fully available", "1 - 17% utilized", "17 - 33% utilized",
                             "33 - 50% utilized", "50 - 67% utilized", "67 - 83% utilized",
                             "83 - 99% utilized", "No service available"}};
// The codes 3 and 17 are reserved: the list skips them.
const MinorList kAudioVideo = {
    2,
    0x3F,
    {0, 1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18},
    {"Uncategorized", "Device conforms to Headset profile", "Hands-free", "Microphone",
     "Loudspeaker", "Headphones", "Portable Audio", "Car audio", "Set-top box", "HiFi Audio Device",
     "VCR", "Video Camera", "Camcorder", "Video Monitor", "Video Display and Loudspeaker",
     "Video Conferencing", "Gaming/Toy"}};
// Bits 6 and 7 alone; the lower minor bits are not looked at.
const MinorList kPeripheral = {
    6, 0x3, {1, 2, 3}, {"Keyboard", "Pointing device", "Combo keyboard/pointing device"}};
// Bits 4 to 7 with exactly one of them set.
const MinorList kImaging = {4, 0xF, {1, 2, 4, 8}, {"Display", "Camera", "Scanner", "Printer"}};
const MinorList kNoList = {0, 0, {}, {}};

const MinorList& MinorListOf(uint32_t majorNumber) {
    switch (majorNumber) {
    case 0:
    case 31:
        return kNone;
    case 1:
        return kComputer;
    case 2:
        return kPhone;
    case 3:
        return kNetwork;
    case 4:
        return kAudioVideo;
    case 5:
        return kPeripheral;
    case 6:
        return kImaging;
    default:
        return kNoList;
    }
}

} // namespace

const std::vector<std::string>& ServiceItems() {
    static const std::vector<std::string> items = {"Miscellaneous",
                                                   "Positioning (Location identification)",
                                                   "Networking (LAN, Ad hoc, ...)",
                                                   "Rendering (Printing, Speaker, ...) ",
                                                   "Capturing (Scanner, Microphone, ...)",
                                                   "Object Transfer (v-Inbox, ...)",
                                                   "Audio (Speaker, Microphone, ...)",
                                                   "Telephony (Cordless, Modem, ...)",
                                                   "Information (WEB-server, ...)"};
    return items;
}

const std::vector<std::string>& MajorItems() {
    static const std::vector<std::string> items = {
        "Miscellaneous", "Computer",    "Phone",   "LAN /Network Access point",
        "Audio/Video",   "Peripheral ", "Imaging", "Uncategorized"};
    return items;
}

const std::vector<std::string>& MinorItems(uint32_t majorNumber) {
    return MinorListOf(majorNumber).items;
}

int ServiceItem(uint32_t cod) {
    // Bits 16 to 23 as one byte: none or exactly one service bit selects an
    // item; bits 13 to 15 are not shown.
    const uint32_t services = (cod >> 16) & 0xFF;
    if (services == 0) return 0;
    for (int bit = 0; bit < 8; ++bit)
        if (services == (1u << bit)) return bit + 1;
    return -1;
}

int MajorItem(uint32_t cod) {
    const uint32_t number = MajorNumber(cod);
    for (int item = 0; item < int(sizeof kMajorNumbers / sizeof *kMajorNumbers); ++item)
        if (kMajorNumbers[item] == number) return item;
    return -1;
}

int MinorItem(uint32_t cod) {
    const MinorList& list = MinorListOf(MajorNumber(cod));
    const uint32_t field = (cod >> list.shift) & list.mask;
    for (std::size_t item = 0; item < list.values.size(); ++item)
        if (list.values[item] == field) return int(item);
    return -1;
}

uint32_t WithService(uint32_t cod, int item) {
    cod &= kMask;
    if (item < 0 || item >= int(ServiceItems().size())) return cod;
    cod &= ~(0x7FFu << 13);
    return item == 0 ? cod : cod | 1u << (15 + item);
}

uint32_t WithMajor(uint32_t cod, int item) {
    cod &= kMask;
    if (item < 0 || item >= int(sizeof kMajorNumbers / sizeof *kMajorNumbers)) return cod;
    return (cod & ~0x1F00u) | kMajorNumbers[item] << 8;
}

uint32_t WithMinor(uint32_t cod, int item) {
    cod &= kMask;
    const MinorList& list = MinorListOf(MajorNumber(cod));
    if (item < 0 || item >= int(list.values.size())) return cod;
    return (cod & ~0xFFu) | list.values[item] << list.shift;
}

} // namespace ClassOfDevice
