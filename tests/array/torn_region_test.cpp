// Kills a node's host adapter while the private region of a disk is written, a thousand times.
#include "array/lab_array.h"
#include "array/private_region.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <random>
#include <thread>

using lab::AdapterClient;
using lab::AdapterDisk;
using lab::ArrayDisk;
using lab::BlockDevice;
using lab::PrivateRegion;
using lab::RegionContents;
using lab_test::Adapter;
using lab_test::Array;

namespace {

constexpr int rounds = 1000;

// Several commands for each copy.
std::string payload_of(int round) {
    return "round " + std::to_string(round) + " " +
           std::string(static_cast<std::size_t>(40000 + round * 37 % 60000),
                       static_cast<char>('a' + round % 26));
}

// Calls a function before the n-th command that changes the disk.
class InterruptedDisk : public BlockDevice {
  public:
    InterruptedDisk(BlockDevice& disk, int commands, std::function<void()> interrupt)
        : m_disk(disk), m_commands_left(commands), m_interrupt(std::move(interrupt)) {}

    [[nodiscard]] std::uint64_t block_count() const override { return m_disk.block_count(); }
    void read(std::uint64_t first, std::uint32_t blocks, void* data) override {
        m_disk.read(first, blocks, data);
    }
    void write(std::uint64_t first, std::uint32_t blocks, const void* data) override {
        count();
        m_disk.write(first, blocks, data);
    }
    void flush() override {
        count();
        m_disk.flush();
    }

  private:
    void count() {
        if (m_commands_left-- == 0) {
            m_interrupt();
        }
    }

    BlockDevice& m_disk;
    int m_commands_left;
    std::function<void()> m_interrupt;
};

AdapterDisk first_disk(AdapterClient& node) {
    std::vector<AdapterDisk> disks;
    if (!node.list(disks).good() || disks.empty()) {
        throw std::runtime_error("the disks cannot be listed");
    }
    return disks.front();
}

// Writes to the volumes' blocks of both disks until a stop is requested. Its adapter may be killed.
class Load {
  public:
    explicit Load(std::uint16_t port) : m_thread([this, port] { run(port); }) {}
    ~Load() {
        m_stop = true;
        m_thread.join();
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

  private:
    void run(std::uint16_t port) {
        const std::vector<std::uint8_t> data(std::size_t{64} * lab::block_size, 'L');
        try {
            AdapterClient node(port);
            for (std::uint32_t i = 0; !m_stop; ++i) {
                static_cast<void>(
                    node.write(1 + i % 2, lab::region_end + i % 1000, 64, data.data()));
            }
        } catch (const lab::AdapterGone&) {
            return;
        }
    }

    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};

// A node whose adapter is killed again and again.
class Victim {
  public:
    explicit Victim(const Array& array) : m_array(array) { start_adapter(); }

    // Kills the adapter before the n-th command of the write. Returns whether the write succeeded,
    // because it has no more commands.
    bool write_and_kill_before(const std::string& payload, int command) {
        const Load load(m_adapter->port());
        InterruptedDisk disk(*m_disk, command, [&] { m_adapter->kill(); });
        return finishes([&] { PrivateRegion(disk).write(payload); });
    }

    // Kills the adapter after that time, in the midst of its work.
    bool write_and_kill_after(const std::string& payload, std::chrono::microseconds time) {
        const Load load(m_adapter->port());
        const std::jthread killer([&] {
            std::this_thread::sleep_for(time);
            m_adapter->kill();
        });
        return finishes([&] { PrivateRegion(*m_disk).write(payload); });
    }

    // Reads the region with a new adapter.
    std::string read() {
        start_adapter();
        m_torn += copies_differ() ? 1 : 0;
        const std::optional<RegionContents> contents = PrivateRegion(*m_disk).read();
        return contents ? contents->payload : "no valid copy";
    }

    // How often the two copies differed.
    [[nodiscard]] int torn() const { return m_torn; }

  private:
    void start_adapter() {
        m_adapter.reset();
        m_adapter = std::make_unique<Adapter>(m_array, "victim");
        m_node = m_adapter->connect();
        m_disk = std::make_unique<ArrayDisk>(*m_node, first_disk(*m_node));
    }

    static bool finishes(const std::function<void()>& work) {
        try {
            work();
            return true;
        } catch (const lab::AdapterGone&) {
            return false;
        }
    }

    bool copies_differ() {
        constexpr std::uint32_t blocks = 256;
        std::vector<std::uint8_t> first(std::size_t{blocks} * lab::block_size);
        std::vector<std::uint8_t> second(first.size());
        m_disk->read(lab::region_copies[0], blocks, first.data());
        m_disk->read(lab::region_copies[1], blocks, second.data());
        return first != second;
    }

    const Array& m_array;
    std::unique_ptr<Adapter> m_adapter;
    std::unique_ptr<AdapterClient> m_node;
    std::unique_ptr<ArrayDisk> m_disk;
    int m_torn = 0;
};

TEST(TornRegion, IsTheOldOrTheNewOneWheneverTheAdapterIsKilled) {
    const Array array;
    const Adapter other(array, "other");
    const Load load(other.port());
    Victim victim(array);
    std::mt19937 random(1);
    std::string current = payload_of(0);
    ASSERT_TRUE(victim.write_and_kill_before(current, 1000));

    int kept_old = 0, became_new = 0, finished = 0;
    for (int round = 1; round <= rounds; ++round) {
        const std::string next = payload_of(round);
        // Every place between two commands in turn, or any time.
        const bool done =
            round % 2 == 0
                ? victim.write_and_kill_before(next, round / 2 % 14)
                : victim.write_and_kill_after(next, std::chrono::microseconds(random() % 20000));
        const std::string after = victim.read();
        ASSERT_TRUE(after == next || (after == current && !done))
            << "round " << round << ": " << after.substr(0, 20);
        kept_old += after == current ? 1 : 0;
        became_new += after == next && !done ? 1 : 0;
        finished += done ? 1 : 0;
        current = after;
    }
    std::printf("old %d, new %d, finished before %d; copies that differed %d\n", kept_old,
                became_new, finished, victim.torn());
    // It was killed at all of the places that matter.
    EXPECT_GT(kept_old, rounds / 10);
    EXPECT_GT(became_new, rounds / 10);
    EXPECT_GT(victim.torn(), rounds / 10);
}

}  // namespace
