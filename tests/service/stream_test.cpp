// Frames over a socket.
#include "service/loopback.h"
#include "wire/stream.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace lab;
using namespace support;

class Streams : public testing::Test {
  protected:
    void SetUp() override {
        const SocketPair pair = connected_pair();
        m_raw = pair.one;
        m_stream = std::make_unique<Stream>(pair.other);
    }
    void TearDown() override {
        if (m_raw != INVALID_SOCKET) {
            closesocket(m_raw);
        }
    }
    void send_header(std::uint32_t magic, std::uint32_t version, std::uint32_t kind,
                     std::uint32_t length) {
        const FrameHeader header{magic, version, kind, 1, length};
        send_bytes(m_raw, &header, sizeof header);
    }
    void hang_up() {
        closesocket(m_raw);
        m_raw = INVALID_SOCKET;
    }

    SOCKET m_raw = INVALID_SOCKET;
    std::unique_ptr<Stream> m_stream;
    Frame m_frame;
};

TEST_F(Streams, CarriesFramesOfAnySize) {
    Stream other(m_raw);
    m_raw = INVALID_SOCKET;
    for (const std::size_t size : {0u, 1u, 65535u, 65536u, 65537u, 200'000u}) {
        std::vector<std::uint8_t> body(size);
        for (std::size_t i = 0; i < size; ++i) {
            body[i] = static_cast<std::uint8_t>(i * 7);
        }
        ASSERT_TRUE(other.send(FrameKind::answer, static_cast<std::uint32_t>(size), body));
        ASSERT_TRUE(m_stream->receive(m_frame));
        EXPECT_EQ(m_frame.kind, FrameKind::answer);
        EXPECT_EQ(m_frame.number, size);
        EXPECT_EQ(m_frame.body, body);
    }
}

TEST_F(Streams, RejectsInvalidHeaders) {
    const struct {
        std::uint32_t magic, version, kind, length;
    } rows[] = {
        {frame_magic ^ 1, frame_version, 1, 0},
        {frame_magic, frame_version + 1, 1, 0},
        {frame_magic, 0, 1, 0},
        {frame_magic, frame_version, 0, 0},
        {frame_magic, frame_version, 5, 0},
        {frame_magic, frame_version, 1, frame_limit + 1},
        {frame_magic, frame_version, 1, ~0u},
    };
    for (const auto& row : rows) {
        send_header(row.magic, row.version, row.kind, row.length);
        EXPECT_THROW(m_stream->receive(m_frame), Malformed);
    }
}

TEST_F(Streams, DoesNotAllocateForHeaderAlone) {
    send_header(frame_magic, frame_version, 1, frame_limit);
    hang_up();
    EXPECT_FALSE(m_stream->receive(m_frame));
    EXPECT_LE(m_frame.body.capacity(), 128u * 1024);
}

TEST_F(Streams, ReceiveFailsInTheMiddleOfAFrame) {
    const FrameHeader header{frame_magic, frame_version, 1, 1, 8};
    send_bytes(m_raw, &header, sizeof header);
    send_bytes(m_raw, "1234", 4);
    hang_up();
    EXPECT_FALSE(m_stream->receive(m_frame));
}

TEST_F(Streams, ReceiveFailsInTheMiddleOfAHeader) {
    send_bytes(m_raw, &frame_magic, sizeof frame_magic);
    hang_up();
    EXPECT_FALSE(m_stream->receive(m_frame));
}

TEST_F(Streams, RejectsBodiesBeyondTheLimit) {
    EXPECT_THROW(m_stream->send(FrameKind::answer, 1, std::vector<std::uint8_t>(frame_limit + 1)),
                 Malformed);
}

// Each thread sends bodies that repeat one byte value, so that mixed frames are detected.
constexpr int senders = 4;
constexpr int frames_each = 50;
DWORD WINAPI send_frames(void* argument) {
    static LONG next = 0;
    const auto value = static_cast<std::uint8_t>(InterlockedIncrement(&next));
    for (int i = 0; i < frames_each; ++i) {
        if (!static_cast<Stream*>(argument)->send(FrameKind::alert, value,
                                                  std::vector<std::uint8_t>(10'000, value))) {
            return 1;
        }
    }
    return 0;
}

TEST_F(Streams, DoesNotMixFramesOfSeveralThreads) {
    Stream other(m_raw);
    m_raw = INVALID_SOCKET;
    HANDLE threads[senders];
    for (HANDLE& thread : threads) {
        thread = CreateThread(nullptr, 0, send_frames, &other, 0, nullptr);
        ASSERT_NE(thread, nullptr);
    }
    for (int i = 0; i < senders * frames_each; ++i) {
        ASSERT_TRUE(m_stream->receive(m_frame));
        ASSERT_EQ(m_frame.body,
                  std::vector<std::uint8_t>(10'000, static_cast<std::uint8_t>(m_frame.number)));
    }
    for (const HANDLE thread : threads) {
        EXPECT_EQ(WaitForSingleObject(thread, 10'000), WAIT_OBJECT_0);
        CloseHandle(thread);
    }
}

}  // namespace
