// SPDX-License-Identifier: Apache-2.0
// Communicator: the only speaker of the module's command protocol. It frames a
// command, sends it through mSerial, collects the response frame with a
// time-out, and turns the outcome and the module's status byte into texts.
//
// Results of every command operation:
//   0 success, -1 no complete response in time, -2 response opcode differs,
//   -3 module status other than 1 (kept in lastStatus / statusText),
//   -4 argument out of range (nothing sent).
// CheckConnection and CancelInquiry return 1 for success.
#pragma once

#include "Trace.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

class mSerial;

class Communicator {
  public:
    // Largest frame a module can send: opcode, length, 255 bytes.
    static constexpr int kMaxFrame = 257;
    static constexpr int kStoreSlots = 5;
    // Event frames (inquiry 0x60, pairing 0x65) held for the polls at most; beyond
    // that the oldest is dropped.
    static constexpr int kMaxQueuedEvents = 64;

    Communicator();

    // Sees every frame sent and every frame, partial frame or dropped byte
    // received, as it happens. Empty: nothing is traced and nothing costs time.
    TraceObserver observer;
    // The observer every Communicator constructed from now on starts with (a
    // program's --trace); set it before the first one is made.
    static void SetDefaultObserver(TraceObserver observer);

    // The text of a module status (17 "Connection complete", ...), or nullptr
    // for a status the table does not have (1, success, included).
    static const char* StatusTextOf(int32_t status);

    int32_t lastStatus = 0;
    std::string statusText;
    mSerial* serialPort = nullptr; // not owned
    int32_t reserved = -1;

    // Search and pairing state; undefined until the first StartInquiry / StartPairing.
    int32_t foundCount = 0;
    // Five 6-byte address slots followed directly by five 32-byte name slots.
    uint8_t resultStore[kStoreSlots * 6 + kStoreSlots * 32] = {};
    // The remote device's 24-bit Class of Device beside each stored result: stored
    // at slot k and taken from slot k - 1, as the addresses; 0 when the event had
    // no class bytes.
    uint32_t resultClasses[kStoreSlots] = {};
    int32_t searchState = 0;
    int32_t pairingState = 0;

    // When set, Receive asks the port for exactly the bytes the frame still
    // lacks, so it returns as the last byte arrives instead of waiting out the
    // port's quiet time. Bytes after the frame then stay for the next read.
    bool frameByFrame = false;

    // Lets the user interface process its pending messages; called by PollReceive
    // before every clock reading. May be empty.
    std::function<void()> pump;

    void SetSerialPort(mSerial* port) { serialPort = port; }

    // Frame exchange. Bytes that follow a complete frame in the same port read
    // are kept and open the next Receive or PollReceive; Send starts every command
    // afresh: complete event frames among the kept bytes are queued for the polls,
    // the start of an event frame stays to be completed, the rest is dropped.
    void Send(const uint8_t* frame, int32_t count);
    // One response frame into buffer (which must hold kMaxFrame bytes);
    // 1 when complete, -1 after more than 60 hundredths of a second. Event frames
    // that arrive meanwhile are queued for the polls and the wait goes on.
    int32_t Receive(uint8_t* buffer, int32_t expected);
    // Any one frame, pumping messages, with a time-out of more than 5 hundredths;
    // a frame begun by then is awaited to its end within the time-out of Receive.
    int32_t PollReceive(uint8_t* buffer, int32_t expected);
    void SetStatusText(int32_t status);
    std::string GetErrorText(int32_t result) const;
    // Probe 0x01 0x04 0xFF 0x00 0x55 0xAA: 1 when answered with opcode 0x01, -1, -2.
    int32_t CheckConnection();

    // Configuration commands. Texts are returned as std::string (8-bit bytes).
    int32_t GetDeviceMode(uint8_t& mode);                                 // 0x12
    int32_t SetDeviceMode(int32_t mode);                                  // 0x13
    int32_t GetSerialSettings(uint8_t settings[5]);                       // 0x14
    int32_t SetSerialSettings(int32_t rate, int32_t flow, int32_t parity, //
                              int32_t dataBits, int32_t stopBits);        // 0x15
    int32_t GetConnectAddress(uint8_t address[6]);                        // 0x16
    int32_t SetConnectAddress(const uint8_t address[6]);                  // 0x17
    int32_t GetAcceptedAddress(uint8_t address[6]);                       // 0x18
    int32_t SetAcceptedAddress(const uint8_t address[6]);                 // 0x19
    // name: at most 32 characters; fullLength: length of the whole text sent.
    int32_t GetDeviceName(std::string& name, int32_t& fullLength);         // 0x1C
    int32_t SetDeviceName(const uint8_t* name, int32_t length);            // 0x1D
    int32_t GetServiceName(std::string& name, int32_t& fullLength);        // 0x1E
    int32_t SetServiceName(const uint8_t* name, int32_t length);           // 0x1F
    int32_t GetModuleInfo(uint8_t info[12]);                               // 0x40
    int32_t GetArticleNumber(std::string& article);                        // 0x41
    int32_t GetLocalAddress(uint8_t address[6]);                           // 0x42
    int32_t NotifyClose();                                                 // 0x50
    int32_t GetPairedDevice(uint8_t address[6]);                           // 0x62
    int32_t GetSecurityFlags(uint8_t flags[3]);                            // 0x66
    int32_t SetSecurityFlags(int32_t a, int32_t b, int32_t c);             // 0x67
    int32_t GetPasskey(std::string& passkey);                              // 0x68
    int32_t SetPasskey(const uint8_t* passkey, int32_t length);            // 0x69
    int32_t GetPerformanceMode(uint8_t& mode);                             // 0xC0
    int32_t SetPerformanceMode(int32_t mode);                              // 0xC1
    int32_t GetLinkTimeout(uint16_t& value);                               // 0xC2
    int32_t SetLinkTimeout(int32_t value);                                 // 0xC3
    int32_t GetInquiryScan(uint16_t& interval, uint16_t& window);          // 0xC4
    int32_t SetInquiryScan(int32_t interval, int32_t window);              // 0xC5
    int32_t GetPageScan(uint16_t& interval, uint16_t& window);             // 0xC6
    int32_t SetPageScan(int32_t interval, int32_t window);                 // 0xC7
    int32_t GetSniffSettings(uint16_t& maxInterval, uint16_t& minInterval, //
                             uint16_t& attempt, uint16_t& timeout);        // 0xC8
    int32_t SetSniffSettings(int32_t maxInterval, int32_t minInterval,     //
                             int32_t attempt, int32_t timeout);            // 0xC9
    int32_t GetParkSettings(uint16_t& maxInterval, uint16_t& minInterval); // 0xCA
    int32_t SetParkSettings(int32_t maxInterval, int32_t minInterval);     // 0xCB
    int32_t GetClassOfDevice(uint8_t cod[4]);                              // 0xCC
    int32_t SetClassOfDevice(const uint8_t cod[4]);                        // 0xCD
    int32_t GetMaxTxPower(int16_t& value);                                 // 0xD2
    int32_t SetMaxTxPower(int32_t& value);     // 0xD3, value := what the module took
    int32_t GetDefaultTxPower(int16_t& value); // 0xD4
    int32_t SetDefaultTxPower(int32_t& value); // 0xD5, value := what the module took
    int32_t GetSerialEmulation(uint8_t& type); // 0xD6
    int32_t SetSerialEmulation(int32_t type);  // 0xD7
    int32_t GetUserBaudrate(uint8_t& enabled, uint16_t& value);          // 0xD8
    int32_t SetUserBaudrate(int32_t enabled, int32_t value);             // 0xD9
    int32_t GetQualityOfService(uint8_t& mode, uint8_t latency[4]);      // 0xDA
    int32_t SetQualityOfService(int32_t mode, const uint8_t latency[4]); // 0xDB
    int32_t GetScoSettings(uint8_t& enabled, uint16_t& packetType);      // 0xF0
    int32_t SetScoSettings(int32_t enabled, int32_t packetType);         // 0xF1
    int32_t GetCodecOutputGainMax(uint16_t& value);                      // 0xF2
    int32_t GetCodecOutputGain(uint16_t& value);                         // 0xF3
    int32_t SetCodecOutputGain(int32_t value);                           // 0xF4
    int32_t GetCodecInputGainMax(uint16_t& value);                       // 0xF5
    int32_t GetCodecInputGain(uint16_t& value);                          // 0xF6
    int32_t SetCodecInputGain(int32_t value);                            // 0xF7

    // Search and pairing.
    int32_t StartInquiry(int32_t duration, const uint8_t classFilter[4], bool flag); // 0x60
    int32_t CancelInquiry();                                                         // 0x80
    int32_t StartPairing(int32_t remoteInitiates, const uint8_t address[6], const uint8_t* passkey,
                         uint32_t passkeyLength); // 0x63 / 0x64
    int32_t PollInquiry();
    // Returns the results still waiting after the take, or -1 when none was waiting.
    int32_t TakeInquiryResult(uint8_t address[6], uint8_t name[32]);
    // The same, also giving the class of the device (0 when the module sent none).
    int32_t TakeInquiryResult(uint8_t address[6], uint8_t name[32], uint32_t* classOfDevice);
    int32_t PollPairingStatus();

  protected:
    // Hundredths field (0..99) of the current second of the wall clock.
    virtual int32_t Hundredths() const;

  private:
    void Trace(TraceEvent::Direction direction, TraceEvent::Kind kind, const uint8_t* bytes,
               int32_t count, bool queued = false, bool fromKept = false) const;
    // One frame into buffer: the kept bytes first, then the port. An answer
    // (Receive) queues the event frames it meets; a poll takes any frame.
    int32_t Collect(uint8_t* buffer, bool answer);
    void Keep(const uint8_t* bytes, int32_t count);
    // What Send does with the kept bytes before a command goes out.
    void SettleKept();
    void QueueEvent(const uint8_t* frame, int32_t size);
    void DropQueuedEvents(uint8_t opcode);
    // The oldest queued event, or else one PollReceive; true with a frame.
    bool NextEvent(uint8_t frame[kMaxFrame]);

    uint8_t kept[kMaxFrame] = {};
    int32_t keptCount = 0;
    std::deque<std::vector<uint8_t>> queuedEvents;
    bool cancelSinceStart = false; // a CancelInquiry was sent since the last StartInquiry
};
