// Counts of what clients hold.
#pragma once

#include <atomic>
#include <cstdint>

namespace lab {

struct Live {
    std::atomic<std::uint32_t> property_sets{0};
    std::atomic<std::uint32_t> properties{0};
    std::atomic<std::uint32_t> blocks{0};
    std::atomic<std::uint32_t> connections{0};
};

inline Live live;

}  // namespace lab
