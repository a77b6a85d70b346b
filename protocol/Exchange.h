// SPDX-License-Identifier: Apache-2.0
// Internal to the protocol library: the common shape of one command (build the
// frame, send it, receive the answer into the same buffer, check opcode and
// status) and helpers to read fields out of the answer.
#pragma once

#include "Communicator.h"

#include <cstdint>
#include <string>

namespace proto {

// A command frame, built in the buffer that then receives the answer. The buffer
// holds the largest frame a module can send and starts zeroed, so fields of a
// short answer read as the request's bytes or as zero, never outside the buffer.
struct Request {
    uint8_t frame[Communicator::kMaxFrame] = {};
    int32_t size = 2;

    explicit Request(uint8_t opcode) { frame[0] = opcode; }
    uint8_t Opcode() const { return frame[0]; }

    Request& Byte(int32_t value);
    // Low 16 bits, high byte first.
    Request& Word(int32_t value);
    Request& Bytes(const uint8_t* bytes, int32_t count);
};

// Sends the frame as it stands.
void SendRequest(Communicator& c, const Request& request);
// Receives the answer into request.frame: -1 no complete frame, -2 when its
// opcode is not `answerOpcode`, 0 otherwise. The status is not looked at.
int32_t AwaitAnswer(Communicator& c, Request& request, uint8_t answerOpcode);
// Sends, then AwaitAnswer.
int32_t Exchange(Communicator& c, Request& request, uint8_t answerOpcode);
// -3 (status text and lastStatus set) when the status byte is not 1, else 0.
int32_t CheckStatus(Communicator& c, const Request& answer);
// The whole common shape: Exchange, then CheckStatus.
int32_t Command(Communicator& c, Request& request, uint8_t answerOpcode);
inline int32_t Command(Communicator& c, Request& request) {
    return Command(c, request, request.Opcode());
}

// Fields of a received answer. Data start at byte 3.
constexpr int32_t kData = 3;
// Number of data bytes the answer carries (L - 1, at least 0).
int32_t DataLength(const Request& answer);
uint16_t WordAt(const Request& answer, int32_t position);
// The zero-terminated text at the first data byte, ending at the end of the
// received data at the latest; at most maxChars of it are returned.
std::string TextAt(const Request& answer, int32_t maxChars, int32_t* fullLength = nullptr);

} // namespace proto
