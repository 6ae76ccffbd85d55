// Frames that a correct client does not send.
#include "service/loopback.h"
#include "service/service_fixture.h"
#include "wire/frame.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace {

using namespace support;
using lab::FrameHeader;
using lab::Operation;
using testing::HasSubstr;

using ByteList = std::vector<std::uint8_t>;

FrameHeader header_of(std::size_t length) {
    return {lab::frame_magic, lab::frame_version, 1, 7, static_cast<std::uint32_t>(length)};
}

ByteList frame_of(const FrameHeader& header, const ByteList& body) {
    ByteList frame(sizeof header + body.size());
    std::memcpy(frame.data(), &header, sizeof header);
    std::copy(body.begin(), body.end(), frame.begin() + sizeof header);
    return frame;
}

ByteList question(Operation operation) {
    lab::Writer writer;
    writer.number(static_cast<std::uint32_t>(operation));
    if (operation == Operation::get_objects) {
        writer.text(ZTTYPE_CLUSTER_SERVICE);
    }
    return writer.take();
}

class BadFrames : public ServiceTest {
  protected:
    void SetUp() override {
        start(one_group);
        m_bystander = connect();
    }
    void TearDown() override {
        EXPECT_EQ(connected_of(m_bystander), 1);
        std::vector<opal_objid> groups;
        EXPECT_EQ(list(m_bystander, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
        EXPECT_EQ(groups.size(), 1u);
        release(m_bystander);
        ServiceTest::TearDown();
    }
    // Sends bytes and returns the answers until the service closes the connection.
    ByteList answers_to(const ByteList& bytes, bool hangs_up = false) {
        const SOCKET socket = connect_to(service->port());
        EXPECT_NE(socket, INVALID_SOCKET);
        send_bytes(socket, bytes.data(), bytes.size());
        if (hangs_up) {
            shutdown(socket, SD_SEND);
        }
        ByteList answers = receive_to_end(socket);
        closesocket(socket);
        return answers;
    }

    opal_handle m_bystander = nullptr;
};

TEST_F(BadFrames, EndTheConnectionWithoutAnswer) {
    const ByteList good = question(Operation::get_objects);
    FrameHeader magic = header_of(good.size());
    magic.magic ^= 0x20;
    FrameHeader version = header_of(good.size());
    version.version = lab::frame_version + 1;
    FrameHeader answer = header_of(good.size());
    answer.kind = static_cast<std::uint32_t>(lab::FrameKind::answer);
    FrameHeader nothing = header_of(good.size());
    nothing.kind = 0;
    ByteList longer = good;
    longer.push_back(0);
    ByteList lying = good;
    lying[4] = 0xff;  // the length of the type's name
    const struct {
        const char* what;
        ByteList bytes;
        const char* log;
    } rows[] = {
        {"another magic", frame_of(magic, good), "an invalid header"},
        {"another version", frame_of(version, good), "an invalid header"},
        {"an answer", frame_of(answer, good), "expected a request"},
        {"no kind", frame_of(nothing, good), "an invalid header"},
        {"too long", frame_of(header_of(lab::frame_limit + 1u), {}), "an invalid header"},
        {"no body", frame_of(header_of(0), {}), "the body ends too early"},
        {"no operation", frame_of(header_of(4), question(static_cast<Operation>(0))),
         "an unknown operation"},
        {"no such operation", frame_of(header_of(4), question(static_cast<Operation>(13))),
         "an unknown operation"},
        {"no arguments", frame_of(header_of(4), question(Operation::query)),
         "the body ends too early"},
        {"something left over", frame_of(header_of(longer.size()), longer),
         "bytes after the end of the body"},
        {"a length that lies", frame_of(header_of(lying.size()), lying),
         "a count is larger than the body"},

    };
    unsigned client = 1;  // the bystander
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(answers_to(row.bytes), ByteList{});
        const std::string line =
            "client " + std::to_string(++client) + ": rejected: " + row.log + "\r\n";
        EXPECT_TRUE(eventually([&] { return service->log().find(line) != std::string::npos; }))
            << service->log();
    }
    const std::string http = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
    EXPECT_EQ(answers_to(ByteList(http.begin(), http.end())), ByteList{});
}

TEST_F(BadFrames, AreRejectedAfterEarlierRequestsAreAnswered) {
    const ByteList good = question(Operation::get_objects);
    ByteList bytes = frame_of(header_of(good.size()), good);
    bytes.insert(bytes.end(), 20, 0xee);
    // A header, the status, the flag, one object.
    EXPECT_EQ(answers_to(bytes).size(), sizeof(FrameHeader) + 4 + 4 + 4 + 16);
}

TEST_F(BadFrames, AreRejectedWhenTruncated) {
    const ByteList good = question(Operation::get_objects);
    const ByteList whole = frame_of(header_of(good.size()), good);
    for (const std::size_t size : {1u, 19u, 20u, 24u}) {
        SCOPED_TRACE(size);
        const ByteList part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(answers_to(part, true), ByteList{});
    }
}

TEST_F(BadFrames, DoNoHarmWhenCorrupted) {
    // Requests for every operation, with the arguments of the largest one.
    std::mt19937 random(77);
    const auto below = [&random](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    for (int round = 0; round < 300; ++round) {
        lab::Writer writer;
        writer.number(static_cast<std::uint32_t>(1 + below(12)));
        writer.object(opal_objid{{static_cast<std::uint8_t>(below(256))}});
        writer.guid(zt_volume_manager_interface);
        writer.number(0);
        writer.number(ZTMETHOD_DGOP_IMPORT);
        writer.set(
            {{"dgid", {TYPE_STR, {std::string("g1")}}}, {"numbers", {TYPE_UINT32Z, {1u, 2u, 3u}}}});
        ByteList body = writer.take();
        for (std::size_t faults = below(4); faults != 0; --faults) {
            body[4 + below(body.size() - 4)] = static_cast<std::uint8_t>(below(256));
        }
        body.resize(4 + below(body.size() - 3));
        answers_to(frame_of(header_of(body.size()), body), true);
        ASSERT_TRUE(service->runs()) << "round " << round;
    }
    expect_alive();
}

}  // namespace
