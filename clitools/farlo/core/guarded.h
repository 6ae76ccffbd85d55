// Keeping exceptions inside the library.
#pragma once

#include "api/farlo.h"
#include "core/trace_log.h"

#include <cstdint>
#include <tuple>

namespace farlo {

// Runs an operation and returns its status. If the operation throws anything, logs that
// and returns FARLO_EXCEPTION.
template <class Operation> [[nodiscard]] std::uint32_t guarded(Operation&& operation) noexcept {
    try {
        return operation();
    } catch (...) {
        log(6, L"API_TRY_CATCH_FAILED ");
        return FARLO_EXCEPTION;
    }
}

// The same for an operation that returns yes or no. Returns false if the operation
// throws.
template <class Operation> [[nodiscard]] bool guarded_answer(Operation&& operation) noexcept {
    bool answer = false;
    // The status adds nothing: the answer stays false if the operation throws.
    std::ignore = guarded([&] {
        answer = operation();
        return FARLO_SUCCESS;
    });
    return answer;
}

// The same for an operation without a result. What it did before it threw stays.
template <class Operation> void guarded_attempt(Operation&& operation) noexcept {
    std::ignore = guarded_answer([&] {
        operation();
        return true;
    });
}

// Ends the enclosing guarded operation, which then returns FARLO_EXCEPTION.
[[noreturn]] inline void end_with_exception_status() {
    throw std::uint32_t{FARLO_EXCEPTION};
}

}  // namespace farlo
