#include "ztbus3/function.h"

#include "ztbus3/lab_bus.h"

#include <atomic>

namespace lab {
namespace {

std::atomic<std::uint64_t> counts[static_cast<std::size_t>(Function::count)];

}  // namespace

void count_call(Function function) {
    counts[static_cast<std::size_t>(function)].fetch_add(1, std::memory_order_relaxed);
}

}  // namespace lab

using namespace lab;

uint64_t LabCallCount(const char* function) {
    const std::optional<Function> found =
        function != nullptr ? function_named(function) : std::nullopt;
    return found ? counts[static_cast<std::size_t>(*found)].load() : 0;
}
