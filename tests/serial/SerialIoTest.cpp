// Reading and writing through an open port: the bytes on the wire and the
// time a read takes under the time-outs.
#include "PtyPair.h"
#include "mSerial.h"

#include <chrono>
#include <gtest/gtest.h>
#include <regex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

class SerialIo : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(pty.ok);
        PortTable::Set({pty.path});
        port.iSetBaudrate(mBaud38400);
        port.databits = mData8;
        port.port = 1;
        port.ReadTimeout = 10;
        port.WriteTimeout = 100;
        ASSERT_EQ(port.Open(), 0) << port.GetLastErrorText();
    }

    std::vector<uint8_t> Read(int32_t count, long* elapsedMs = nullptr) {
        std::vector<uint8_t> buffer(static_cast<size_t>(count) + 16, 0xEE);
        const auto start = Clock::now();
        const int32_t n = port.ReadBuffer(buffer.data(), count);
        if (elapsedMs != nullptr) *elapsedMs = ElapsedMs(start);
        EXPECT_GE(n, 0);
        EXPECT_LE(n, count);
        // Nothing is written past the count asked for.
        for (size_t i = static_cast<size_t>(count); i < buffer.size(); ++i)
            EXPECT_EQ(buffer[i], 0xEE) << "byte " << i << " past the count was written";
        buffer.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return buffer;
    }

    PtyPair pty;
    mSerial port;
};

TEST_F(SerialIo, WrittenBytesArriveUnchanged) {
    // Every byte value, including those a cooked line would eat or change
    // (CR, LF, XON, XOFF, interrupt, end of file).
    std::vector<uint8_t> all(256);
    for (int i = 0; i < 256; ++i)
        all[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
    EXPECT_EQ(port.WriteBuffer(all.data(), 256), 256);
    EXPECT_EQ(pty.Receive(256), all);
    EXPECT_TRUE(std::regex_match(port.GetLastErrorText(),
                                 std::regex("SetCommState failed with error -?[0-9]+\\.\n")))
        << port.GetLastErrorText();
    EXPECT_EQ(port.GetLastError(), 0);

    EXPECT_EQ(port.WriteBuffer(all.data(), 0), 0);
    EXPECT_TRUE(pty.Receive(1, 50).empty());
}

TEST_F(SerialIo, ReceivedBytesArriveUnchanged) {
    std::vector<uint8_t> all(256);
    for (int i = 0; i < 256; ++i)
        all[static_cast<size_t>(255 - i)] = static_cast<uint8_t>(i);
    ASSERT_TRUE(pty.Send(all));
    ASSERT_TRUE(pty.WaitBuffered(256));
    port.ReadTimeout = 0;
    std::vector<uint8_t> got;
    for (int tries = 0; tries < 10 && got.size() < all.size(); ++tries) {
        const auto part = Read(static_cast<int32_t>(all.size() - got.size()));
        got.insert(got.end(), part.begin(), part.end());
    }
    EXPECT_EQ(got, all);
}

TEST_F(SerialIo, ReadWithNothingArrivingReturnsZeroAfterTheTimeout) {
    long ms = 0;
    EXPECT_TRUE(Read(8, &ms).empty());
    EXPECT_GE(ms, 9);
    EXPECT_LT(ms, 200);

    port.ReadTimeout = 100;
    EXPECT_TRUE(Read(8, &ms).empty());
    EXPECT_GE(ms, 95);
    EXPECT_LT(ms, 400);

    // A negative time-out does not wait at all.
    port.ReadTimeout = -5;
    EXPECT_TRUE(Read(8, &ms).empty());
    EXPECT_LT(ms, 100);
}

TEST_F(SerialIo, ZeroTimeoutReturnsAtOnceWithWhatIsBuffered) {
    port.ReadTimeout = 0;
    long ms = 0;
    EXPECT_TRUE(Read(8, &ms).empty());
    EXPECT_LT(ms, 50);

    ASSERT_TRUE(pty.Send({0x81, 0x03, 0x01, 0x02, 0x03}));
    ASSERT_TRUE(pty.WaitBuffered(5));
    EXPECT_EQ(Read(64, &ms), (std::vector<uint8_t>{0x81, 0x03, 0x01, 0x02, 0x03}));
    EXPECT_LT(ms, 50);
}

TEST_F(SerialIo, ReadEndsShortlyAfterTheLastByteOfABurst) {
    port.ReadTimeout = 1000;
    ASSERT_TRUE(pty.Send({0x1C, 0x05, 0x01, 'a', 'b', 'c', 'd'}));
    long ms = 0;
    EXPECT_EQ(Read(257, &ms), (std::vector<uint8_t>{0x1C, 0x05, 0x01, 'a', 'b', 'c', 'd'}));
    EXPECT_LT(ms, 300); // about 10 ms after the burst, far from the 1000 ms
}

TEST_F(SerialIo, ReadReturnsAsSoonAsCountBytesAreThere) {
    port.ReadTimeout = 1000;
    ASSERT_TRUE(pty.Send({1, 2, 3, 4, 5, 6, 7, 8}));
    ASSERT_TRUE(pty.WaitBuffered(8));
    long ms = 0;
    EXPECT_EQ(Read(3, &ms), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_LT(ms, 100);
    EXPECT_EQ(Read(5, &ms), (std::vector<uint8_t>{4, 5, 6, 7, 8}));
    EXPECT_LT(ms, 100);
}

TEST_F(SerialIo, ReadWaitsForTheFirstByteUpToTheTimeout) {
    port.ReadTimeout = 2000;
    std::thread farEnd([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        pty.Send({0x42, 0x01, 0x01});
    });
    long ms = 0;
    const auto got = Read(16, &ms);
    farEnd.join();
    EXPECT_EQ(got, (std::vector<uint8_t>{0x42, 0x01, 0x01}));
    EXPECT_GE(ms, 50);
    EXPECT_LT(ms, 1000);
}

TEST_F(SerialIo, PauseLongerThanTheIntervalSplitsTheRead) {
    port.ReadTimeout = 2000;
    std::thread farEnd([this] {
        pty.Send({'a', 'b'});
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        pty.Send({'c', 'd'});
    });
    long ms = 0;
    const auto first = Read(16, &ms);
    EXPECT_LT(ms, 250);
    const auto second = Read(16);
    farEnd.join();
    EXPECT_EQ(first, (std::vector<uint8_t>{'a', 'b'}));
    EXPECT_EQ(second, (std::vector<uint8_t>{'c', 'd'}));
}

TEST_F(SerialIo, WriteToALineThatTakesNothingGivesUpAtTheTimeout) {
    // Nobody reads the far end: the line's buffers fill and the write stops
    // after WriteTimeout with what was taken.
    std::vector<uint8_t> big(1 << 20, 0x55);
    const auto start = Clock::now();
    const int32_t n = port.WriteBuffer(big.data(), static_cast<int32_t>(big.size()));
    const long ms = ElapsedMs(start);
    EXPECT_GT(n, 0);
    EXPECT_LT(n, static_cast<int32_t>(big.size()));
    EXPECT_GE(ms, 90);
    EXPECT_LT(ms, 1000);
}

TEST_F(SerialIo, FarEndHangingUpEndsReadsAndFailsWrites) {
    port.ReadTimeout = 2000;
    pty.CloseMaster();
    long ms = 0;
    EXPECT_TRUE(Read(8, &ms).empty());
    EXPECT_LT(ms, 1000);

    port.WriteBuffer(reinterpret_cast<const uint8_t*>("x"), 1); // text of a success, if any
    const std::string before = port.GetLastErrorText();
    const uint8_t frame[2] = {0x50, 0x00};
    EXPECT_EQ(port.WriteBuffer(frame, 2), -1);
    EXPECT_EQ(port.GetLastErrorText(), before);
}

} // namespace
