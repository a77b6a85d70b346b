// SPDX-License-Identifier: Apache-2.0
#include "Exchange.h"

#include <algorithm>

namespace proto {

Request& Request::Byte(int32_t value) {
    if (size < Communicator::kMaxFrame) {
        frame[size++] = static_cast<uint8_t>(value & 0xFF);
        frame[1] = static_cast<uint8_t>(size - 2);
    }
    return *this;
}

Request& Request::Word(int32_t value) {
    const auto word = static_cast<uint16_t>(value & 0xFFFF);
    return Byte(word >> 8).Byte(word & 0xFF);
}

Request& Request::Bytes(const uint8_t* bytes, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        Byte(bytes ? bytes[i] : 0);
    return *this;
}

void SendRequest(Communicator& c, const Request& request) {
    c.Send(request.frame, request.size);
}

int32_t AwaitAnswer(Communicator& c, Request& request, uint8_t answerOpcode) {
    if (c.Receive(request.frame, Communicator::kMaxFrame) != 1) return -1;
    if (request.frame[0] != answerOpcode) return -2;
    return 0;
}

int32_t Exchange(Communicator& c, Request& request, uint8_t answerOpcode) {
    SendRequest(c, request);
    return AwaitAnswer(c, request, answerOpcode);
}

int32_t CheckStatus(Communicator& c, const Request& answer) {
    const uint8_t status = answer.frame[2];
    if (status == 1) return 0;
    c.SetStatusText(status);
    c.lastStatus = status;
    return -3;
}

int32_t Command(Communicator& c, Request& request, uint8_t answerOpcode) {
    const int32_t result = Exchange(c, request, answerOpcode);
    return result != 0 ? result : CheckStatus(c, request);
}

int32_t DataLength(const Request& answer) {
    return std::max(0, answer.frame[1] - 1);
}

uint16_t WordAt(const Request& answer, int32_t position) {
    if (position < 0 || position + 1 >= Communicator::kMaxFrame) return 0;
    return static_cast<uint16_t>(answer.frame[position] << 8 | answer.frame[position + 1]);
}

std::string TextAt(const Request& answer, int32_t maxChars, int32_t* fullLength) {
    const uint8_t* text = answer.frame + kData;
    const int32_t available = std::min(DataLength(answer), Communicator::kMaxFrame - kData);
    int32_t length = 0;
    while (length < available && text[length] != 0)
        ++length;
    if (fullLength) *fullLength = length;
    return std::string(reinterpret_cast<const char*>(text),
                       static_cast<size_t>(std::min(length, std::max(0, maxChars))));
}

} // namespace proto
