// A node's session with the array, over libiscsi. Logs in when it is needed, and again after the
// connection was lost. May be used by several threads; one command is executed at a time.
#pragma once

#include "array/adapter_client.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct iscsi_context;
struct scsi_task;

namespace lab {

struct SessionSettings {
    std::string portal;     // ADDRESS:PORT
    std::string target;     // its name
    std::string initiator;  // the node's name for the array
};

using Deadline = std::chrono::steady_clock::time_point;

class IscsiSession {
  public:
    explicit IscsiSession(SessionSettings settings) : m_settings(std::move(settings)) {}
    ~IscsiSession() { log_out(); }
    IscsiSession(const IscsiSession&) = delete;
    IscsiSession& operator=(const IscsiSession&) = delete;

    // A command that ends with a unit attention is repeated. One whose connection is lost is
    // repeated until the deadline, except reserve_out(): it may have been executed.
    DiskResult list(Deadline deadline, std::vector<AdapterDisk>& disks);
    DiskResult read(Deadline deadline, std::uint32_t lun, std::uint64_t first_block,
                    std::uint32_t blocks, std::vector<std::uint8_t>& data);
    DiskResult write(Deadline deadline, std::uint32_t lun, std::uint64_t first_block,
                     std::vector<std::uint8_t>& data);
    DiskResult flush(Deadline deadline, std::uint32_t lun);
    DiskResult read_keys(Deadline deadline, std::uint32_t lun, std::vector<std::uint8_t>& data);
    DiskResult read_reservation(Deadline deadline, std::uint32_t lun,
                                AdapterReservation& reservation);
    DiskResult reserve_out(Deadline deadline, const AdapterRequest& request);

    // Waits for the command that is being executed.
    void log_out();

  private:
    enum class Repeat { if_lost, never };
    using Send = std::function<scsi_task*(iscsi_context*)>;
    using Receive = std::function<void(scsi_task&)>;

    // Sends a command and passes its task to `receive` if it succeeded.
    DiskResult execute(Deadline deadline, Repeat repeat, const Send& send, const Receive& receive);
    DiskResult inquire(Deadline deadline, std::uint32_t lun, AdapterDisk& disk, bool& is_disk);
    // Returns false if the array cannot be reached until the deadline.
    bool log_in(Deadline deadline);
    bool try_log_in();
    void drop();

    const SessionSettings m_settings;
    std::mutex m_mutex;
    iscsi_context* m_context = nullptr;
    bool m_reported = false;  // that the array cannot be reached
};

}  // namespace lab
