// The error line of lab-only functions.
#pragma once

#include <cstdio>
#include <exception>

namespace lab {

// Runs `work`. Returns 0 and an empty line, or 1 and the exception's message.
template <class Work> int reporting(char* error, std::size_t capacity, Work&& work) {
    const auto report = [&](const char* text) {
        if (error != nullptr && capacity != 0) {
            std::snprintf(error, capacity, "%s", text);
        }
    };
    try {
        work();
        report("");
        return 0;
    } catch (const std::exception& failure) {
        report(failure.what());
        return 1;
    }
}

}  // namespace lab
