// Records as a test expects them, byte for byte. Bytes that a test does not set are those that the
// buffer held before.
#pragma once

#include "support/guarded_buffer.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace records {

// The fields of a disk's and of a volume's record. A field without a value is not written.
struct Disk {
    std::optional<std::wstring> name;
    std::optional<std::uint32_t> signature;
    std::optional<std::uint32_t> lun;
    std::optional<std::uint32_t> target;
    std::optional<std::uint32_t> port;
};

struct Volume {
    std::optional<std::wstring> device;
    std::optional<std::wstring> letter;
    std::optional<std::wstring> file_system;
    std::optional<std::wstring> label;
    std::optional<std::wstring> mounts;
    std::optional<std::uint32_t> type;
    std::optional<std::int64_t> state;
    std::optional<std::uint64_t> size;
};

// Sizes and offsets in bytes, written by hand from the description of the records.
inline constexpr std::size_t disk_size = 56;
inline constexpr std::size_t volume_size = 1656;
inline constexpr std::size_t drive_letter_offset = 520;
inline constexpr std::size_t mounts_offset = 1110;
inline constexpr std::size_t mounts_size = 522;
inline constexpr std::size_t state_offset = 1640;

// The bytes of a record. They hold the canary of support::GuardedBuffer until they are set.
class Image {
  public:
    explicit Image(std::size_t size) : m_bytes(size, support::GuardedBuffer::canary) {}

    const std::vector<std::uint8_t>& bytes() const { return m_bytes; }

    // The two counts at the start of most records.
    Image& counts(std::uint32_t first, std::uint32_t second) {
        return number(0, first).number(4, second);
    }
    template <class Number> Image& number(std::size_t at, Number value) {
        std::memcpy(&m_bytes.at(at + sizeof value - 1) + 1 - sizeof value, &value, sizeof value);
        return *this;
    }
    // The string with its terminator.
    Image& string(std::size_t at, const std::wstring& string) {
        const std::size_t size = (string.size() + 1) * sizeof(wchar_t);
        std::memcpy(&m_bytes.at(at + size - 1) + 1 - size, string.c_str(), size);
        return *this;
    }
    Image& disk(std::size_t at, const Disk& disk) {
        put(at, disk.name);
        put(at + 32, disk.signature);
        put(at + 36, disk.lun);
        put(at + 40, disk.target);
        put(at + 44, disk.port);
        return *this;
    }
    Image& volume(std::size_t at, const Volume& volume) {
        put(at, volume.device);
        put(at + drive_letter_offset, volume.letter);
        put(at + 526, volume.file_system);
        put(at + 590, volume.label);
        put(at + mounts_offset, volume.mounts);
        put(at + 1632, volume.type);
        put(at + state_offset, volume.state);
        put(at + 1648, volume.size);
        return *this;
    }

  private:
    void put(std::size_t at, const std::optional<std::wstring>& field) {
        if (field) {
            string(at, *field);
        }
    }
    template <class Number> void put(std::size_t at, const std::optional<Number>& field) {
        if (field) {
            number(at, *field);
        }
    }

    std::vector<std::uint8_t> m_bytes;
};

}  // namespace records
