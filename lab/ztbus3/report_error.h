// The error line of lab-only functions.
#pragma once

#include <cstdio>
#include <exception>

namespace lab {

// Runs `work`; 0 and an empty line, or 1 and what was thrown.
template <class Work> int reporting(char* error, std::size_t capacity, Work&& work) {
    const auto tell = [&](const char* text) {
        if (error != nullptr && capacity != 0) {
            std::snprintf(error, capacity, "%s", text);
        }
    };
    try {
        work();
        tell("");
        return 0;
    } catch (const std::exception& failure) {
        tell(failure.what());
        return 1;
    }
}

}  // namespace lab
