// The array over iSCSI as nodes see it through their host adapters.
#include "array/lab_array.h"

#include <gtest/gtest.h>

extern "C" {
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>
}

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <numeric>
#include <thread>

using lab::AdapterClient;
using lab::AdapterDisk;
using lab::AdapterReservation;
using lab::AdapterResult;
using lab::DiskResult;
using lab::ReserveOut;
using lab_test::Adapter;
using lab_test::Array;

namespace {

using Keys = std::vector<std::uint64_t>;
using Blocks = std::vector<std::uint8_t>;
using std::chrono::milliseconds;

constexpr std::uint32_t lun = 1;
constexpr std::uint32_t registrants_only = lab::write_exclusive_registrants_only;
constexpr std::uint64_t key1 = 0x1111;
constexpr std::uint64_t key2 = 0x2222;

Blocks block_of(std::uint8_t byte, std::uint32_t blocks = 1) {
    return Blocks(std::size_t{blocks} * lab::block_size, byte);
}

DiskResult write(AdapterClient& node, std::uint64_t block, std::uint8_t byte) {
    return node.write(lun, block, 1, block_of(byte).data());
}

DiskResult register_key(AdapterClient& node, std::uint64_t key) {
    return node.reserve_out(lun, ReserveOut::register_and_ignore, 0, 0, key);
}

DiskResult reserve(AdapterClient& node, std::uint64_t key) {
    return node.reserve_out(lun, ReserveOut::reserve, registrants_only, key, 0);
}

DiskResult preempt(AdapterClient& node, std::uint64_t key, std::uint64_t victim) {
    return node.reserve_out(lun, ReserveOut::preempt, registrants_only, key, victim);
}

std::uint8_t first_byte(AdapterClient& node, std::uint64_t block) {
    Blocks data = block_of(0);
    EXPECT_EQ(node.read(lun, block, 1, data.data()).text(), DiskResult{}.text());
    return data[0];
}

Keys keys_of(AdapterClient& node) {
    Keys keys;
    EXPECT_TRUE(node.read_keys(lun, keys).good());
    std::sort(keys.begin(), keys.end());
    return keys;
}

AdapterReservation reservation_of(AdapterClient& node) {
    AdapterReservation reservation{};
    EXPECT_TRUE(node.read_reservation(lun, reservation).good());
    return reservation;
}

milliseconds duration(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

// Two nodes at one array.
class TwoNodes : public testing::Test {
  protected:
    Array m_array;
    Adapter m_adapter1{m_array, "n1"};
    Adapter m_adapter2{m_array, "n2"};
    std::unique_ptr<AdapterClient> m_node1 = m_adapter1.connect();
    std::unique_ptr<AdapterClient> m_node2 = m_adapter2.connect();
};

TEST_F(TwoNodes, SeeTheSameDisks) {
    for (AdapterClient* node : {m_node1.get(), m_node2.get()}) {
        std::vector<AdapterDisk> disks;
        ASSERT_TRUE(node->list(disks).good());
        ASSERT_EQ(disks.size(), 2U);
        for (std::uint32_t i = 0; i < disks.size(); ++i) {
            EXPECT_EQ(disks[i].lun, i + 1);
            EXPECT_EQ(disks[i].block_size, 512U);
            EXPECT_EQ(disks[i].blocks, 16U * 1024 * 1024 / 512);
            EXPECT_EQ(disks[i].serial, "disk" + std::to_string(i + 1));
        }
    }
}

TEST_F(TwoNodes, ReadWhatTheOtherHasWritten) {
    Blocks data(std::size_t{2048} * lab::block_size);
    std::iota(data.begin(), data.end(), std::uint8_t{3});
    ASSERT_TRUE(m_node1->write(2, 7, 2048, data.data()).good());
    Blocks read(data.size());
    ASSERT_TRUE(m_node2->read(2, 7, 2048, read.data()).good());
    EXPECT_EQ(read, data);
    EXPECT_EQ(first_byte(*m_node2, 7), 0) << "the other disk is another one";
}

TEST_F(TwoNodes, KeepWhatWasFlushedWhenTheArrayIsKilled) {
    ASSERT_TRUE(write(*m_node1, 9, 'x').good());
    ASSERT_TRUE(m_node1->flush(lun).good());
    m_array.stop();
    m_array.start();
    EXPECT_EQ(first_byte(*m_node1, 9), 'x');
    EXPECT_EQ(first_byte(*m_node2, 9), 'x');
}

TEST_F(TwoNodes, GetTheDisksErrorForABlockBeyondItsEnd) {
    const DiskResult result = write(*m_node1, 16 * 2048, 'x');
    EXPECT_EQ(result.result, AdapterResult::done);
    EXPECT_EQ(result.text(), "SCSI status 0x02, sense 5/21/00");
}

TEST_F(TwoNodes, RegisterKeys) {
    EXPECT_EQ(keys_of(*m_node1), Keys{});
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(register_key(*m_node2, key2).good());
    EXPECT_EQ(keys_of(*m_node1), (Keys{key1, key2}));
    ASSERT_TRUE(m_node1->reserve_out(lun, ReserveOut::register_key, 0, key1, 0).good());
    EXPECT_EQ(keys_of(*m_node2), Keys{key2});
}

TEST_F(TwoNodes, CannotReserveWithoutAKey) {
    EXPECT_TRUE(reserve(*m_node1, key1).conflict());
    ASSERT_TRUE(register_key(*m_node2, key2).good());
    EXPECT_TRUE(reserve(*m_node1, key2).conflict());
    EXPECT_EQ(reservation_of(*m_node1).held, 0U);
}

TEST_F(TwoNodes, WriteOnlyIfRegisteredWhileOneHoldsTheReservation) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    const AdapterReservation reservation = reservation_of(*m_node2);
    EXPECT_EQ(reservation.held, 1U);
    EXPECT_EQ(reservation.key, key1);
    EXPECT_EQ(reservation.type, registrants_only);

    EXPECT_TRUE(write(*m_node1, 0, '1').good());
    EXPECT_TRUE(write(*m_node2, 0, '2').conflict());
    EXPECT_EQ(first_byte(*m_node2, 0), '1') << "reading is allowed, and nothing was written";

    ASSERT_TRUE(register_key(*m_node2, key2).good());
    EXPECT_TRUE(write(*m_node2, 0, '2').good());
    EXPECT_EQ(first_byte(*m_node1, 0), '2');
}

TEST_F(TwoNodes, RefuseTheWriteOfAPreemptedNode) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(register_key(*m_node2, key2).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    ASSERT_TRUE(write(*m_node1, 0, '1').good());

    ASSERT_TRUE(preempt(*m_node2, key2, key1).good());
    const DiskResult result = write(*m_node1, 0, 'x');
    EXPECT_EQ(result.result, AdapterResult::done);
    EXPECT_EQ(result.scsi_status, 0x18);
    EXPECT_EQ(first_byte(*m_node1, 0), '1');
    EXPECT_TRUE(write(*m_node2, 0, '2').good());

    // The loser can learn it: its key is gone, and the winner's holds the reservation.
    EXPECT_EQ(keys_of(*m_node1), Keys{key2});
    EXPECT_EQ(reservation_of(*m_node1).key, key2);
    EXPECT_TRUE(preempt(*m_node1, key1, key2).conflict());
}

TEST_F(TwoNodes, WriteFreelyAgainAfterReleaseAndClear) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    ASSERT_TRUE(m_node1->reserve_out(lun, ReserveOut::release, registrants_only, key1, 0).good());
    EXPECT_TRUE(write(*m_node2, 0, '2').good());
    EXPECT_EQ(keys_of(*m_node2), Keys{key1});

    ASSERT_TRUE(reserve(*m_node1, key1).good());
    ASSERT_TRUE(m_node1->reserve_out(lun, ReserveOut::clear, 0, key1, 0).good());
    EXPECT_TRUE(write(*m_node2, 0, '3').good());
    EXPECT_EQ(keys_of(*m_node2), Keys{});
    EXPECT_EQ(reservation_of(*m_node2).held, 0U);
}

TEST_F(TwoNodes, ReserveEachDiskAlone) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    EXPECT_TRUE(write(*m_node2, 0, '2').conflict());
    EXPECT_TRUE(m_node2->write(2, 0, 1, block_of('2').data()).good());
}

TEST_F(TwoNodes, LoseTheirReservationsWhenTheArrayIsKilled) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    m_array.stop();
    m_array.start();
    EXPECT_EQ(keys_of(*m_node1), Keys{});
    EXPECT_EQ(reservation_of(*m_node2).held, 0U);
}

TEST_F(TwoNodes, FailWhileTheirPathIsCut) {
    const Adapter adapter(m_array, "n3", 1000);
    const std::unique_ptr<AdapterClient> node = adapter.connect();
    ASSERT_TRUE(write(*m_node1, 0, '1').good());
    EXPECT_EQ(adapter.control({"cut"}), "cut\n");
    const milliseconds taken = duration([&] {
        const DiskResult result = write(*node, 0, 'x');
        EXPECT_EQ(result.result, AdapterResult::path_lost);
        EXPECT_EQ(result.text(), "the path to the array is lost");
    });
    EXPECT_GE(taken.count(), 1000) << "it waits for the path";
    Keys keys;
    EXPECT_EQ(node->read_keys(lun, keys).result, AdapterResult::path_lost);
    std::vector<AdapterDisk> disks;
    EXPECT_EQ(node->list(disks).result, AdapterResult::path_lost);

    EXPECT_EQ(first_byte(*m_node2, 0), '1') << "the other node's path is not cut";
}

TEST_F(TwoNodes, ContinueWhenTheirPathIsRestored) {
    EXPECT_EQ(m_adapter1.control({"cut"}), "cut\n");
    EXPECT_EQ(m_adapter1.control({}), "cut\n");
    EXPECT_EQ(m_adapter1.control({"restore"}), "joined\n");
    EXPECT_TRUE(write(*m_node1, 0, '1').good());
}

TEST_F(TwoNodes, ContinueWhenTheirPathIsRestoredInTime) {
    m_node1->set_path(lab::PathAction::cut);
    std::future<DiskResult> writing =
        std::async(std::launch::async, [&] { return write(*m_node1, 0, '1'); });
    EXPECT_EQ(writing.wait_for(milliseconds(300)), std::future_status::timeout);
    EXPECT_EQ(first_byte(*m_node2, 0), 0);
    EXPECT_EQ(m_adapter1.control({"restore"}), "joined\n");
    EXPECT_TRUE(writing.get().good());
    EXPECT_EQ(first_byte(*m_node2, 0), '1');
}

TEST_F(TwoNodes, KeepTheirReservationWhileTheirPathIsCut) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    m_node1->set_path(lab::PathAction::cut);
    EXPECT_TRUE(write(*m_node2, 0, '2').conflict());
    m_node2->set_path(lab::PathAction::restore);
    EXPECT_EQ(reservation_of(*m_node2).key, key1);
    ASSERT_TRUE(m_adapter1.control({"restore"}) == "joined\n");
    EXPECT_TRUE(write(*m_node1, 0, '1').good());
}

TEST_F(TwoNodes, WaitWhileTheirPathIsSlow) {
    EXPECT_EQ(m_adapter1.control({"slow", "1500"}), "slow 1500\n");
    EXPECT_GE(duration([&] { EXPECT_TRUE(write(*m_node1, 0, '1').good()); }).count(), 1500);
    EXPECT_GE(duration([&] { first_byte(*m_node1, 0); }).count(), 1500);
    EXPECT_LT(duration([&] { first_byte(*m_node2, 0); }).count(), 1500);
    EXPECT_EQ(m_adapter1.control({}), "slow 1500\n");
    EXPECT_EQ(m_adapter1.control({"restore"}), "joined\n");
    EXPECT_LT(duration([&] { first_byte(*m_node1, 0); }).count(), 1500);
}

TEST_F(TwoNodes, LoseTheConnectionAfterAMalformedRequest) {
    // A read without blocks.
    EXPECT_EQ(m_node1->read(lun, 0, 0, nullptr).result, AdapterResult::invalid);
    Blocks data = block_of(0);
    EXPECT_THROW(static_cast<void>(m_node1->read(lun, 0, 1, data.data())), lab::AdapterGone);
    EXPECT_EQ(first_byte(*m_adapter1.connect(), 0), 0) << "other connections are not concerned";
}

TEST_F(TwoNodes, SurviveTheirAdapter) {
    ASSERT_TRUE(write(*m_node1, 0, '1').good());
    m_adapter1.kill();
    Blocks data = block_of(0);
    EXPECT_THROW(static_cast<void>(m_node1->read(lun, 0, 1, data.data())), lab::AdapterGone);
    EXPECT_THROW(static_cast<void>(m_adapter1.connect()), lab::AdapterGone);
    EXPECT_EQ(first_byte(*Adapter(m_array, "n1").connect(), 0), '1');
}

TEST_F(TwoNodes, AreFencedByTheKeysOfADeadNode) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    m_adapter1.kill();
    EXPECT_EQ(keys_of(*m_node2), Keys{key1});
    EXPECT_TRUE(write(*m_node2, 0, '2').conflict());
    ASSERT_TRUE(register_key(*m_node2, key2).good());
    ASSERT_TRUE(preempt(*m_node2, key2, key1).good());
    EXPECT_EQ(keys_of(*m_node2), Keys{key2});
    EXPECT_TRUE(write(*m_node2, 0, '2').good());
}

// The array knows a session, not a node: the key of the session before is a stranger's.
TEST_F(TwoNodes, MustRegisterAgainWithANewSession) {
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(reserve(*m_node1, key1).good());
    m_adapter1.terminate();
    const Adapter again(m_array, "n1");
    const std::unique_ptr<AdapterClient> node1 = again.connect();
    EXPECT_EQ(keys_of(*node1), Keys{key1});
    EXPECT_TRUE(write(*node1, 0, '1').conflict());

    ASSERT_TRUE(register_key(*node1, key1).good());
    EXPECT_TRUE(write(*node1, 0, '1').good());
    EXPECT_TRUE(reserve(*node1, key1).conflict()) << "the old session holds the reservation";
    ASSERT_TRUE(preempt(*node1, key1, key1).good());
    EXPECT_EQ(keys_of(*m_node2), Keys{key1});
    EXPECT_EQ(reservation_of(*m_node2).key, key1);
    EXPECT_TRUE(write(*node1, 0, '1').good());
}

// A session of libiscsi's own, which reports unit attentions.
class RawSession {
  public:
    RawSession(const Array& array, const char* node) {
        const std::string name = "iqn.2026-11.farlo.lab:node-" + std::string(node);
        m_context = iscsi_create_context(name.c_str());
        iscsi_set_targetname(m_context, "iqn.2026-11.farlo.lab:array");
        iscsi_set_session_type(m_context, ISCSI_SESSION_NORMAL);
        if (iscsi_full_connect_sync(m_context, array.portal().c_str(), -1) != 0) {
            throw std::runtime_error(iscsi_get_error(m_context));
        }
    }
    ~RawSession() { iscsi_destroy_context(m_context); }
    RawSession(const RawSession&) = delete;
    RawSession& operator=(const RawSession&) = delete;

    bool ends_with_unit_attention() {
        scsi_task* task = iscsi_testunitready_sync(m_context, static_cast<int>(lun));
        const bool result = task->status == SCSI_STATUS_CHECK_CONDITION &&
                            task->sense.key == SCSI_SENSE_UNIT_ATTENTION;
        scsi_free_scsi_task(task);
        return result;
    }
    void register_key(std::uint64_t key) {
        scsi_persistent_reserve_out_basic parameters{};
        parameters.service_action_reservation_key = key;
        scsi_free_scsi_task(iscsi_persistent_reserve_out_sync(
            m_context, static_cast<int>(lun),
            SCSI_PERSISTENT_RESERVE_REGISTER_AND_IGNORE_EXISTING_KEY,
            SCSI_PERSISTENT_RESERVE_SCOPE_LU, 0, &parameters));
    }

  private:
    iscsi_context* m_context;
};

TEST_F(TwoNodes, DoNotSeeUnitAttentions) {
    RawSession raw(m_array, "n3");
    // After the login.
    EXPECT_TRUE(raw.ends_with_unit_attention());
    EXPECT_FALSE(raw.ends_with_unit_attention());
    EXPECT_EQ(first_byte(*m_node1, 0), 0);

    // After another node has removed all keys.
    raw.register_key(3);
    ASSERT_TRUE(register_key(*m_node1, key1).good());
    ASSERT_TRUE(register_key(*m_node2, key2).good());
    ASSERT_TRUE(m_node2->reserve_out(lun, ReserveOut::clear, 0, key2, 0).good());
    EXPECT_TRUE(raw.ends_with_unit_attention());
    EXPECT_EQ(first_byte(*m_node1, 0), 0);
}

TEST(Array, LetsOnlyItsNodesIn) {
    Array array(1, {"n1"});
    Adapter adapter1(array, "n1");
    EXPECT_EQ(first_byte(*adapter1.connect(), 0), 0);

    Adapter adapter2(array, "n2", 500);
    Blocks data = block_of(0);
    EXPECT_EQ(adapter2.connect()->read(lun, 0, 1, data.data()).result, AdapterResult::path_lost);
    array.allow("n2");
    EXPECT_EQ(first_byte(*adapter2.connect(), 0), 0);
}

TEST(Array, CanBeStartedAfterItsAdapters) {
    Array array;
    array.stop();
    Adapter adapter(array, "n1", 200);
    const std::unique_ptr<AdapterClient> node = adapter.connect();
    EXPECT_EQ(write(*node, 0, '1').result, AdapterResult::path_lost);
    array.start();
    EXPECT_TRUE(write(*node, 0, '1').good());
}

TEST(Array, SaysWhyItDoesNotStart) {
    Array array;
    std::string output;
    EXPECT_EQ(lab_test::run_program({LAB_ARRAY_SCRIPT, "start", array.folder()}, &output), 1);
    EXPECT_EQ(output.rfind("array: it runs already, as process ", 0), 0U) << output;
    output.clear();
    EXPECT_EQ(lab_test::run_program(
                  {LAB_ARRAY_SCRIPT, "start", array.folder() / "other", "--portal", array.portal()},
                  &output),
              1);
    EXPECT_EQ(output, "array: another program listens at " + array.portal() + "\n");
}

}  // namespace
