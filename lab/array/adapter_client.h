// A connection to a node's host adapter, for Windows and Linux.
//
// An object may be used by one thread at a time. All calls throw AdapterGone if the adapter
// ends or cannot be reached; the object must then be discarded.
#pragma once

#include "array/adapter_protocol.h"
#include "array/block_device.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

class AdapterGone : public DiskError {
  public:
    using DiskError::DiskError;
};

// How a command to a disk ended.
struct DiskResult {
    AdapterResult result = AdapterResult::done;
    std::uint8_t scsi_status = scsi_good;
    std::uint8_t sense_key = 0;
    std::uint8_t sense_code = 0;
    std::uint8_t sense_qualifier = 0;

    [[nodiscard]] bool good() const {
        return result == AdapterResult::done && scsi_status == scsi_good;
    }
    [[nodiscard]] bool conflict() const {
        return result == AdapterResult::done && scsi_status == scsi_reservation_conflict;
    }
    [[nodiscard]] std::string text() const;
};

// The transfer that failed was refused by the disk or did not reach it.
class DiskFailed : public DiskError {
  public:
    explicit DiskFailed(const DiskResult& result) : DiskError(result.text()), m_result(result) {}
    [[nodiscard]] const DiskResult& result() const { return m_result; }

  private:
    DiskResult m_result;
};

class AdapterClient {
  public:
    explicit AdapterClient(std::uint16_t port);
    ~AdapterClient();
    AdapterClient(const AdapterClient&) = delete;
    AdapterClient& operator=(const AdapterClient&) = delete;

    [[nodiscard]] DiskResult list(std::vector<AdapterDisk>& disks);
    [[nodiscard]] DiskResult read(std::uint32_t lun, std::uint64_t first_block,
                                  std::uint32_t blocks, void* data);
    [[nodiscard]] DiskResult write(std::uint32_t lun, std::uint64_t first_block,
                                   std::uint32_t blocks, const void* data);
    [[nodiscard]] DiskResult flush(std::uint32_t lun);

    [[nodiscard]] DiskResult read_keys(std::uint32_t lun, std::vector<std::uint64_t>& keys);
    [[nodiscard]] DiskResult read_reservation(std::uint32_t lun, AdapterReservation& reservation);
    // `key` is the node's own, `action_key` the one to register or preempt.
    [[nodiscard]] DiskResult reserve_out(std::uint32_t lun, ReserveOut action, std::uint32_t type,
                                         std::uint64_t key, std::uint64_t action_key);

    void set_path(PathAction action, std::uint32_t slow_ms = 0);
    [[nodiscard]] AdapterPath path();

  private:
    DiskResult call(AdapterRequest request, const void* data, std::vector<std::uint8_t>& answer);
    void send_bytes(const void* bytes, std::size_t size);
    void receive_bytes(void* bytes, std::size_t size);

    std::uintptr_t m_socket;
};

// A disk of the array as a block device. Throws DiskFailed and AdapterGone.
class ArrayDisk : public BlockDevice {
  public:
    ArrayDisk(AdapterClient& adapter, const AdapterDisk& disk) : m_adapter(adapter), m_disk(disk) {}

    [[nodiscard]] std::uint64_t block_count() const override { return m_disk.blocks; }
    void read(std::uint64_t first_block, std::uint32_t blocks, void* data) override;
    void write(std::uint64_t first_block, std::uint32_t blocks, const void* data) override;
    void flush() override;

  private:
    AdapterClient& m_adapter;
    AdapterDisk m_disk;
};

}  // namespace lab
